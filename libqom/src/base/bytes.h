// Little-endian numbers in bytes: a bounded cursor to read them and one to write them.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace qom {

// Index entries, block heads and pixels are used as they lie in the file.
static_assert(std::endian::native == std::endian::little);

// The number or pixel at any place in memory.
template <typename T>
T load(const uint8_t *at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

// Reads from [data, data + length). Running past the end gives zeros and makes ok() false
// for good, so that a parser looks once, at its end.
class ByteReader {
 public:
  ByteReader(const uint8_t *data, size_t length) : data_(data), left_(length) {}

  template <typename T>
  T get() {
    T value{};
    if (const uint8_t *bytes = take(sizeof(T))) std::memcpy(&value, bytes, sizeof(T));
    return value;
  }

  // The next `length` bytes, or null when there are not as many.
  const uint8_t *take(size_t length) {
    if (length > left_) {
      ok_ = false;
      left_ = 0;
      return nullptr;
    }
    const uint8_t *bytes = data_;
    data_ += length;
    left_ -= length;
    return bytes;
  }

  bool ok() const { return ok_; }
  size_t left() const { return left_; }
  const uint8_t *next() const { return data_; }

 private:
  const uint8_t *data_;
  size_t left_;
  bool ok_ = true;
};

// Writes into a buffer that the caller has made large enough.
class ByteWriter {
 public:
  explicit ByteWriter(uint8_t *data) : start_(data), data_(data) {}

  template <typename T>
  ByteWriter &put(T value) {
    std::memcpy(data_, &value, sizeof(T));
    data_ += sizeof(T);
    return *this;
  }

  ByteWriter &put_bytes(const void *bytes, size_t length) {
    if (length > 0) std::memcpy(data_, bytes, length);
    data_ += length;
    return *this;
  }

  size_t length() const { return static_cast<size_t>(data_ - start_); }

 private:
  uint8_t *start_;
  uint8_t *data_;
};

}  // namespace qom
