// Preloaded into the recorder: what goes wrong around it is named by $TROUBLE.
#include <dlfcn.h>
#include <unistd.h>
#include <xcb/shm.h>
#include <xcb/xfixes.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#define EXPORT extern "C" __attribute__((visibility("default")))

namespace {

bool trouble(const char *name) {
  const char *const wanted = std::getenv("TROUBLE");
  return wanted && std::strcmp(wanted, name) == 0;
}

// Whether the reply, one of five kinds, is to tell of more than there is.
bool lies(const void *reply, unsigned kind) {
  static unsigned told = 0;
  if (!reply || !trouble("lies")) return false;
  if (told != 31 && (told |= kind) == 31) std::fputs("every lie was told\n", stderr);
  return true;
}

// The function that this one stands before.
template <class Function>
Function *real(Function *, const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

}  // namespace

/* NOLINTBEGIN(bugprone-macro-parentheses): a type does not stand in parentheses */
#define REPLY(name)                                                                \
  EXPORT name##_reply_t *name##_reply(xcb_connection_t *c, name##_cookie_t cookie, \
                                      xcb_generic_error_t **error) {               \
    auto *reply = real(name##_reply, #name "_reply")(c, cookie, error);            \
    return changed(reply);                                                         \
  }
/* NOLINTEND(bugprone-macro-parentheses) */

static xcb_shm_get_image_reply_t *changed(xcb_shm_get_image_reply_t *reply) {
  if (trouble("late")) usleep(130000);
  if (lies(reply, 1)) reply->size = 4;
  return reply;
}

static xcb_get_image_reply_t *changed(xcb_get_image_reply_t *reply) {
  if (!lies(reply, 2)) return reply;
  reply->length = 1;
  return static_cast<xcb_get_image_reply_t *>(std::realloc(reply, sizeof *reply + 4));
}

static xcb_xfixes_get_cursor_image_reply_t *changed(xcb_xfixes_get_cursor_image_reply_t *reply) {
  if (lies(reply, 4)) reply->width = reply->height = 60000;
  return reply;
}

static xcb_get_property_reply_t *changed(xcb_get_property_reply_t *reply) {
  if (lies(reply, 8)) {
    reply->format = 8;
    reply->value_len = 1u << 28;
  }
  return reply;
}

static xcb_query_tree_reply_t *changed(xcb_query_tree_reply_t *reply) {
  if (lies(reply, 16)) reply->children_len = 60000;
  return reply;
}

REPLY(xcb_shm_get_image)
REPLY(xcb_get_image)
REPLY(xcb_xfixes_get_cursor_image)
REPLY(xcb_get_property)
REPLY(xcb_query_tree)

EXPORT const xcb_setup_t *xcb_get_setup(xcb_connection_t *c) {
  const xcb_setup_t *setup = real(xcb_get_setup, "xcb_get_setup")(c);
  if (trouble("short setup")) const_cast<xcb_setup_t *>(setup)->vendor_len = 60000;
  return setup;
}

EXPORT int xcb_connection_has_error(xcb_connection_t *c) {
  if (trouble("refusal")) return XCB_CONN_ERROR;
  return real(xcb_connection_has_error, "xcb_connection_has_error")(c);
}

EXPORT int fdatasync(int descriptor) {
  static int calls = 0;
  const bool failing = trouble("failing disk");
  if (!failing && !trouble("slow disk")) return real(fdatasync, "fdatasync")(descriptor);
  if (calls++ == 0) return 0;  // a file is being created
  sleep(3);
  errno = EIO;
  return failing ? -1 : 0;
}
