// Bytes that do not change any more and that several hold.
#pragma once

#include <cstddef>

namespace qom {

struct SharedBytes {
  size_t holders;
  size_t size; /* bytes of what follows the structure */

  const char *data() const { return reinterpret_cast<const char *>(this + 1); }
};

/* Those bytes, held once more: by `like` (none allowed) when it has the same ones, else a
   copy. Given back with shared_bytes_release(). None when memory is short. */
SharedBytes *shared_bytes_hold(const void *data, size_t size, SharedBytes *like);

/* Gives them back; none is ignored. Returns the bytes of memory that became free, 0 while
   others hold them. */
size_t shared_bytes_release(SharedBytes *bytes);

/* Bytes of memory that they take for the first of their holders; 0 for none and while there
   are several holders. */
size_t shared_bytes_own(const SharedBytes *bytes);

}  // namespace qom
