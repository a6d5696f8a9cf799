#include "lying_server.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <stdexcept>

namespace {

// Where clients look for a server first: an abstract name, which needs no file.
sockaddr_un address(const std::string &display, socklen_t &length) {
  sockaddr_un name{AF_UNIX, {}};
  const std::string path = "/tmp/.X11-unix/X" + display.substr(1);
  path.copy(name.sun_path + 1, sizeof name.sun_path - 1);
  length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + path.size());
  return name;
}

template <class Integer>
size_t number(const std::vector<uint8_t> &bytes, size_t at) {
  Integer value;
  std::memcpy(&value, bytes.data() + at, sizeof value);
  return value;
}

// The length at this place, of something that fills whole words.
size_t padded(const std::vector<uint8_t> &bytes, size_t at) {
  return (number<uint16_t>(bytes, at) + 3) / 4 * 4;
}

bool send_all(int socket, const std::vector<uint8_t> &bytes) {
  for (size_t sent = 0; sent < bytes.size();) {
    const ssize_t done = send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (done <= 0) return false;
    sent += static_cast<size_t>(done);
  }
  return true;
}

bool receive(int socket, std::vector<uint8_t> &bytes) {
  uint8_t buffer[65536];
  const ssize_t count = recv(socket, buffer, sizeof buffer, 0);
  if (count > 0) bytes.insert(bytes.end(), buffer, buffer + count);
  return count > 0;
}

void drop(std::vector<uint8_t> &bytes, size_t count) {
  bytes.erase(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(count));
}

}  // namespace

LyingServer::LyingServer(const std::string &display, std::function<void(Answer &)> lie)
    : lie_(std::move(lie)),
      listener_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)),
      server_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)),
      requests_(65536) {
  static int count = 0;
  name_ = ":" + std::to_string(1000000 + getpid() * 10 + count++ % 10);
  socklen_t own_length = 0;
  const sockaddr_un own = address(name_, own_length);
  socklen_t length = 0;
  const sockaddr_un real = address(display, length);
  if (bind(listener_, reinterpret_cast<const sockaddr *>(&own), own_length) != 0 ||
      listen(listener_, 1) != 0 || pipe2(released_, O_CLOEXEC) != 0 ||
      connect(server_, reinterpret_cast<const sockaddr *>(&real), length) != 0) {
    throw std::runtime_error("no way to stand before " + display);
  }
  thread_ = std::thread([this] { run(); });
}

LyingServer::~LyingServer() {
  close(released_[1]);
  thread_.join();
  for (const int descriptor : {listener_, server_, client_, released_[0]}) close(descriptor);
}

void LyingServer::run() {
  for (;;) {
    pollfd sources[] = {{released_[0], POLLIN, 0},
                        {client_ < 0 ? listener_ : client_, POLLIN, 0},
                        {silent_ || client_ < 0 ? -1 : server_, POLLIN, 0}};
    poll(sources, 3, -1);
    if (sources[0].revents) return;
    if (client_ < 0) {
      client_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      continue;
    }
    if (sources[1].revents && !pass_on_requests()) break;
    if (sources[2].revents && !pass_on_answers()) break;
  }
  shutdown(client_, SHUT_RDWR);
}

bool LyingServer::pass_on_requests() {
  std::vector<uint8_t> bytes;
  if (!receive(client_, bytes) || !send_all(server_, bytes)) return false;
  asked_.insert(asked_.end(), bytes.begin(), bytes.end());
  while (asked_.size() >= 12 || (introduced_ && asked_.size() >= 4)) {
    size_t size = 4 * number<uint16_t>(asked_, 2);
    if (!introduced_) size = 12 + padded(asked_, 6) + padded(asked_, 8);
    if (asked_.size() < size) break;
    if (introduced_) requests_[++sequence_] = {asked_[0], asked_[1]};
    introduced_ = true;
    drop(asked_, size);
  }
  return true;
}

bool LyingServer::pass_on_answers() {
  if (!receive(server_, answers_)) return false;
  std::vector<uint8_t> &bytes = answers_;
  while (bytes.size() >= (described_ ? 32 : 8) && !silent_) {
    const bool long_event = (bytes[0] & 0x7f) == 35;
    size_t size = described_ ? 32 : 8 + 4 * number<uint16_t>(bytes, 6);
    if (described_ && (bytes[0] == 1 || long_event)) size += 4 * number<uint32_t>(bytes, 4);
    if (bytes.size() < size) break;
    Answer answer{described_ ? requests_[number<uint16_t>(bytes, 2)] : Request{},
                  {bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(size)}};
    if (!described_ || bytes[0] == 1) lie_(answer);
    described_ = true;
    silent_ = answer.last;
    drop(bytes, size);
    if (!send_all(client_, answer.bytes)) return false;
  }
  return true;
}
