// A growing array of plain values on the C allocator: running out of memory is a return
// value, and growing by half keeps the reserve small.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <type_traits>

namespace qom {

template <typename T>
class Array {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  Array() = default;
  Array(const Array &) = delete;
  Array &operator=(const Array &) = delete;
  ~Array() { std::free(data_); }

  T *data() { return data_; }
  const T *data() const { return data_; }
  size_t size() const { return size_; }
  size_t capacity() const { return capacity_; }
  bool empty() const { return size_ == 0; }
  T &operator[](size_t i) { return data_[i]; }
  const T &operator[](size_t i) const { return data_[i]; }
  T &back() { return data_[size_ - 1]; }
  T *begin() { return data_; }
  T *end() { return data_ + size_; }
  const T *begin() const { return data_; }
  const T *end() const { return data_ + size_; }

  void clear() { size_ = 0; }
  void truncate(size_t size) { size_ = size; }

  // Gives all memory back.
  void release() {
    std::free(data_);
    data_ = nullptr;
    size_ = capacity_ = 0;
  }

  bool push(const T &value) {
    if (size_ == capacity_ && !allocate(capacity_ + capacity_ / 2 + 16)) return false;
    data_[size_++] = value;
    return true;
  }

  // Makes room for so many elements in all.
  bool reserve(size_t size) { return size <= capacity_ || allocate(size); }

  // Makes the array `size` long; new elements are uninitialised.
  bool resize(size_t size) {
    if (!reserve(size)) return false;
    size_ = size;
    return true;
  }

  // Gives the reserve back; keeping it when that fails does no harm.
  void shrink() {
    if (size_ > 0 && size_ < capacity_) allocate(size_);
  }

 private:
  bool allocate(size_t capacity) {
    const size_t bytes = capacity * sizeof(T);  // NOLINT(bugprone-sizeof-expression): a pointer's
    void *grown = std::realloc(static_cast<void *>(data_), bytes);
    if (!grown) return false;
    data_ = static_cast<T *>(grown);
    capacity_ = capacity;
    return true;
  }

  T *data_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

}  // namespace qom
