#include "memory_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz {

const char *memory_file(const uint8_t *data, size_t size) {
  static const int fd = memfd_create("recording", MFD_CLOEXEC);
  static const std::string name = "/proc/self/fd/" + std::to_string(fd);
  require(ftruncate(fd, 0) == 0 && pwrite(fd, data, size, 0) == static_cast<ssize_t>(size),
          "the input can be put into memory");
  return name.c_str();
}

void broken(const char *promise) {
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

}  // namespace fuzz
