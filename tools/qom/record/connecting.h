// Connects to an X server that may not answer.
#ifndef QOM_RECORD_CONNECTING_H
#define QOM_RECORD_CONNECTING_H

#include <xcb/xcb.h>

#include <string>

#include "end_watch.h"

namespace qom::record {

// As xcb_connect(): the caller disconnects what is returned, which may be a connection in an error
// state. Throws RecordError when the recording is to end before the server has answered.
xcb_connection_t *connect_to(const std::string &display, int &screen_number, const EndWatch &ends);

}  // namespace qom::record

#endif
