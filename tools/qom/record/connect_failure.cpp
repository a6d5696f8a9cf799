#include "connect_failure.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace qom::record {
namespace {

constexpr int patience = 1000;  // milliseconds
constexpr int first_port = 6000;

// Returns 0 when something answers at the address, otherwise the error.
int try_address(const sockaddr *address, socklen_t length) {
  const int socket = ::socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (socket < 0) return errno;
  int error = connect(socket, address, length) == 0 ? 0 : errno;
  pollfd wait{socket, POLLOUT, 0};
  if (error == EINPROGRESS || error == EAGAIN) {
    socklen_t size = sizeof error;
    if (poll(&wait, 1, patience) != 1)
      error = ETIMEDOUT;
    else if (error == EINPROGRESS)
      getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size);
  }
  close(socket);
  return error;
}

// The socket in the file system; abstract, its name begins with a zero byte instead.
int try_local(const std::string &path, bool abstract) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const size_t begin = abstract ? 1 : 0;
  if (path.size() + begin >= sizeof address.sun_path) return ENAMETOOLONG;
  std::memcpy(address.sun_path + begin, path.data(), path.size());
  const size_t length = offsetof(sockaddr_un, sun_path) + begin + path.size() + (abstract ? 0 : 1);
  return try_address(reinterpret_cast<sockaddr *>(&address), static_cast<socklen_t>(length));
}

int try_host(const char *host, int number) {
  addrinfo wanted{};
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo *found = nullptr;
  const std::string port = std::to_string(first_port + number);
  if (getaddrinfo(host, port.c_str(), &wanted, &found) != 0) return EHOSTUNREACH;
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, freeaddrinfo);
  int error = EHOSTUNREACH;
  for (const addrinfo *one = found; one && error != 0; one = one->ai_next)
    error = try_address(one->ai_addr, one->ai_addrlen);
  return error;
}

int try_display(const std::string &display) {
  char *parsed = nullptr;
  int number = 0;
  if (!xcb_parse_display(display.c_str(), &parsed, &number, nullptr)) return ENOENT;
  const std::unique_ptr<char, decltype(&std::free)> host(parsed, std::free);
  const bool local = !*parsed || std::strcmp(parsed, "unix") == 0;
  if (!local) return parsed[0] == '/' ? try_local(parsed, false) : try_host(parsed, number);
  const std::string path = "/tmp/.X11-unix/X" + std::to_string(number);
  return try_local(path, true) == 0 ? 0 : try_local(path, false);
}

}  // namespace

std::string connect_failure(const std::string &display) {
  const int error = try_display(display);
  if (error == 0)
    return "an X server is there, but it does not let this user in: its cookie is missing or wrong "
           "($XAUTHORITY, ~/.Xauthority), or it has too many clients";
  char text[128];
  return std::string("no X server answers there (") + strerror_r(error, text, sizeof text) + ')';
}

}  // namespace qom::record
