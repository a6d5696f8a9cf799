/*
 * widget/version.h - what this build calls itself.
 */
#ifndef QOMTCL_WIDGET_VERSION_H
#define QOMTCL_WIDGET_VERSION_H

/* "qom::view VERSION built MONTH DAY YEAR HH:MM:SS on HOST"; constant. */
const char *version_text();

#endif /* QOMTCL_WIDGET_VERSION_H */
