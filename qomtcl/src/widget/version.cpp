#include "widget/version.h"

const char *version_text() {
  return "qom::view " QOMVIEW_VERSION " built " __DATE__ " " __TIME__ " on " QOMVIEW_BUILD_HOST;
}
