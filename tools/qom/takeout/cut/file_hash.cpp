#include "file_hash.h"

#include <fcntl.h>
#include <nettle/sha2.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace qomtool {
namespace {

constexpr size_t kPiece = size_t{1} << 20;  // bytes

// Reads `length` bytes or tells why not.
std::string read_whole(int file, uint64_t position, uint8_t *bytes, size_t length) {
  while (length > 0) {
    const ssize_t count = pread(file, bytes, length, static_cast<off_t>(position));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::strerror(errno);
    if (count == 0) return "it has become shorter";
    position += static_cast<uint64_t>(count);
    bytes += count;
    length -= static_cast<size_t>(count);
  }
  return "";
}

}  // namespace

FileHash::FileHash(const std::string &path, uint64_t length)
    : file_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)), length_(length), piece_(kPiece) {
  if (!file_) error_ = std::strerror(errno);
  thread_ = std::thread([this] { run(); });
}

FileHash::~FileHash() {
  unwanted_ = true;
  if (thread_.joinable()) thread_.join();
}

void FileHash::run() {
  sha256_ctx context;
  sha256_init(&context);
  while (error_.empty() && done_ < length_ && !unwanted_) {
    const size_t count = std::min<uint64_t>(kPiece, length_ - done_);
    error_ = read_whole(file_.number(), done_, piece_.data(), count);
    sha256_update(&context, count, piece_.data());
    done_ += count;
  }
  sha256_digest(&context, value_.size(), value_.data());
  finished_ = true;
}

bool FileHash::wait_a_moment() const {
  for (int i = 0; i < 50 && !finished_; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return finished_;
}

std::optional<FileHash::Value> FileHash::value(std::string *why) {
  if (thread_.joinable()) thread_.join();
  if (error_.empty()) return value_;
  *why = error_;
  return std::nullopt;
}

}  // namespace qomtool
