// An open file of the operating system.
#pragma once

#include <unistd.h>

namespace qomtool {

// Closed at the end.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}  // negative for none
  ~Descriptor() { reset(); }
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;

  explicit operator bool() const { return number_ >= 0; }
  int number() const { return number_; }
  void reset(int number = -1) {
    if (number_ >= 0) close(number_);
    number_ = number;
  }

 private:
  int number_ = -1;
};

}  // namespace qomtool
