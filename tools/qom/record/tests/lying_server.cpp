#include "lying_server.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <stdexcept>

namespace {

// Calls bind() or connect() where clients look for a server first: an abstract name, which needs no
// file.
template <class Call>
bool use_address(Call call, int socket, const std::string &display) {
  sockaddr_un name{AF_UNIX, {}};
  const std::string path = "/tmp/.X11-unix/X" + display.substr(1);
  path.copy(name.sun_path + 1, sizeof name.sun_path - 1);
  const size_t length = offsetof(sockaddr_un, sun_path) + 1 + path.size();
  return call(socket, reinterpret_cast<sockaddr *>(&name), static_cast<socklen_t>(length)) == 0;
}

bool send_all(int socket, const forge::Bytes &bytes) {
  return send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
         static_cast<ssize_t>(bytes.size());
}

bool receive(int socket, forge::Bytes &bytes) {
  uint8_t buffer[65536];
  const ssize_t count = recv(socket, buffer, sizeof buffer, 0);
  if (count > 0) bytes.insert(bytes.end(), buffer, buffer + count);
  return count > 0;
}

forge::Bytes take(forge::Bytes &bytes, size_t count) {
  const auto end = bytes.begin() + static_cast<ptrdiff_t>(count);
  const forge::Bytes taken(bytes.begin(), end);
  bytes.erase(bytes.begin(), end);
  return taken;
}

}  // namespace

LyingServer::LyingServer(const std::string &display, std::function<void(Answer &)> lie)
    : lie_(std::move(lie)),
      listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)),
      server_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)),
      requests_(65536) {
  static int count = 0;
  name_ = ":" + std::to_string(1000000 + getpid() * 10 + count++ % 10);
  if (!use_address(bind, listener_, name_) || listen(listener_, 1) != 0 ||
      !use_address(connect, server_, display)) {
    throw std::runtime_error("no way to stand before " + display);
  }
  thread_ = std::thread([this] { run(); });
}

LyingServer::~LyingServer() {
  released_ = true;
  thread_.join();
  for (const int descriptor : {listener_, server_, client_}) close(descriptor);
}

void LyingServer::run() {
  while (client_ < 0 && !released_) {
    client_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  for (bool goes_on = client_ >= 0 && introduce(); goes_on && !released_;) {
    pollfd sources[] = {{client_, POLLIN, 0}, {silent_ ? -1 : server_, POLLIN, 0}};
    poll(sources, 2, 20);
    if (sources[0].revents) goes_on = pass_on_requests();
    if (sources[1].revents) goes_on = goes_on && pass_on_answers();
  }
  shutdown(client_, SHUT_RDWR);
}

// The conversation begins with a request and an answer that have forms of their own.
bool LyingServer::introduce() {
  if (!receive(client_, asked_) || !send_all(server_, take(asked_, asked_.size()))) return false;
  size_t size = 8;
  while (answers_.size() < size) {
    if (!receive(server_, answers_)) return false;
    if (answers_.size() >= 8) size = 8 + size_t{4} * forge::get<uint16_t>(answers_, 6);
  }
  return pass_on_answer({}, size, false);
}

bool LyingServer::pass_on_requests() {
  const size_t known = asked_.size();
  if (!receive(client_, asked_)) return false;
  if (!send_all(server_, {asked_.begin() + static_cast<ptrdiff_t>(known), asked_.end()})) {
    return false;
  }
  while (asked_.size() >= 4) {
    const size_t size = size_t{4} * forge::get<uint16_t>(asked_, 2);
    if (asked_.size() < size) break;
    requests_[++sequence_] = {asked_[0], asked_[1]};
    take(asked_, size);
  }
  return true;
}

bool LyingServer::pass_on_answers() {
  if (!receive(server_, answers_)) return false;
  while (answers_.size() >= 32 && !silent_) {
    const bool is_reply = answers_[0] == 1;
    const bool is_long_event = (answers_[0] & 0x7f) == 35;
    size_t size = 32;
    if (is_reply || is_long_event) size += size_t{4} * forge::get<uint32_t>(answers_, 4);
    if (answers_.size() < size) break;
    if (!pass_on_answer(requests_[forge::get<uint16_t>(answers_, 2)], size, !is_reply))
      return false;
  }
  return true;
}

bool LyingServer::pass_on_answer(Request request, size_t size, bool truly) {
  Answer answer{request, take(answers_, size)};
  if (!truly) lie_(answer);
  silent_ = answer.last;
  return send_all(client_, answer.bytes);
}
