// Why an X server could not be connected to: XCB gives no more than one code for all of it.
#ifndef QOM_RECORD_CONNECT_FAILURE_H
#define QOM_RECORD_CONNECT_FAILURE_H

#include <string>

namespace qom::record {

// After xcb_connect() failed with XCB_CONN_ERROR: looks whether anything answers at the display of
// this name, for a second at most, and tells in words whether the server is missing or lets nobody
// in.
std::string connect_failure(const std::string &display);

}  // namespace qom::record

#endif
