#include "display/connection.h"

#include <sys/socket.h>

namespace {

constexpr int kSendBuffer = 1 << 20; /* bytes; more makes nothing faster */

}  // namespace

bool connection_is_local(Display *display) {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  const int found =
      getpeername(ConnectionNumber(display), reinterpret_cast<sockaddr *>(&address), &length);
  return found == 0 && address.ss_family == AF_UNIX;
}

void connection_prepare(Display *display) {
  int size = 0;
  socklen_t length = sizeof size;
  const int socket = ConnectionNumber(display);
  if (getsockopt(socket, SOL_SOCKET, SO_SNDBUF, &size, &length) != 0 || size >= kSendBuffer) return;
  setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof kSendBuffer);
}
