#include "base/shared_bytes.h"

#include <cstdlib>
#include <cstring>

namespace qom {

SharedBytes *shared_bytes_hold(const void *data, size_t size, SharedBytes *like) {
  if (like && like->size == size && memcmp(like->data(), data, size) == 0) {
    ++like->holders;
    return like;
  }
  auto *bytes = static_cast<SharedBytes *>(malloc(sizeof(SharedBytes) + size));
  if (!bytes) return nullptr;
  *bytes = {1, size};
  memcpy(bytes + 1, data, size);
  return bytes;
}

size_t shared_bytes_release(SharedBytes *bytes) {
  if (!bytes) return 0;
  const size_t own = shared_bytes_own(bytes);
  if (--bytes->holders == 0) free(bytes);
  return own;
}

size_t shared_bytes_own(const SharedBytes *bytes) {
  return bytes && bytes->holders == 1 ? sizeof(SharedBytes) + bytes->size : 0;
}

}  // namespace qom
