/*
 * display/connection.h - the connection to the X server.
 */
#ifndef QOMTCL_DISPLAY_CONNECTION_H
#define QOMTCL_DISPLAY_CONNECTION_H

#include <X11/Xlib.h>

/* True when the server is a process of this machine; a forwarded connection comes over TCP
   and has its server elsewhere. */
bool connection_is_local(Display *display);

/* Makes room for a large part of a picture in the socket, so that sending one does not wait
   for the server at every few rows. Where the system refuses, things stay as they are. */
void connection_prepare(Display *display);

#endif /* QOMTCL_DISPLAY_CONNECTION_H */
