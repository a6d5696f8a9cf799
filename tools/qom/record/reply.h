// Replies of the X server, checked before anybody reads them.
#ifndef QOM_RECORD_REPLY_H
#define QOM_RECORD_REPLY_H

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <type_traits>

namespace qom::record {

struct FreeDeleter {
  void operator()(void *memory) const { std::free(memory); }
};

// Replies and events of XCB come from malloc.
template <class T>
using XOwned = std::unique_ptr<T, FreeDeleter>;

// Bytes behind the fixed part of a reply that really came, whatever its fields say.
template <class Reply>
uint64_t bytes_behind(const Reply &reply) {
  static_assert(sizeof(Reply) == 32);
  return uint64_t{4} * reply.length;
}

// Whether everything that the fields tell of came along. Images are for the reader to judge, who
// knows the size that was asked for.
template <class Reply>
bool is_whole(const Reply &) {
  return true;
}
bool is_whole(const xcb_get_property_reply_t &property);
bool is_whole(const xcb_query_tree_reply_t &tree);
bool is_whole(const xcb_xfixes_get_cursor_image_reply_t &image);
bool is_whole(const xcb_setup_t &setup);

// Waits for a reply; none when the server answered with an error or with less than it says, or is
// gone. Example: reply<xcb_get_geometry_reply>(connection, cookie).
template <auto reply_function, class Cookie>
auto reply(xcb_connection_t *connection, Cookie cookie) {
  using Result = std::remove_pointer_t<decltype(reply_function(connection, cookie, nullptr))>;
  XOwned<Result> result(reply_function(connection, cookie, nullptr));
  if (result && !is_whole(*result)) result.reset();
  return result;
}

}  // namespace qom::record

#endif
