// A picture in memory, packed, sharing with the one before it.
//
// A picture is cut into tiles. A tile of one colour is that colour; any other is compressed, and a
// tile that did not change since the previous picture is shared with it. What unpacks is bit for
// bit what was packed.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qom {

/* Pixels as they lie in an X image; the memory is the caller's. */
struct PictureRows {
  uint8_t *data;
  int width; /* pixels, at least 1 */
  int height;
  size_t stride;       /* bytes from a row to the next */
  int bytes_per_pixel; /* 1, 2 or 4 */
};

/* Opaque; held by one owner, its tiles by every picture that shares them. */
struct PackedPicture;

/*
 * Packs a picture. `previous_rows` are the unpacked pixels of `previous`; tiles that are
 * equal in both are shared. Both may be none, and do not count when the geometry differs.
 * None when memory is short.
 */
PackedPicture *picture_pack(const PictureRows &rows, const PackedPicture *previous,
                            const PictureRows *previous_rows);

/* Writes the pixels; `rows` has the geometry that was packed. False when it has not, or
   when memory for unpacking is short; then the pixels are undefined. */
bool picture_unpack(const PackedPicture *picture, const PictureRows &rows);

/* Releases a picture and the tiles that no other shares; none is ignored. Returns the bytes
   that became free. */
size_t picture_release(PackedPicture *picture);

/* Bytes of memory that packing this picture took beyond what it shares with the one before
   it. Of all pictures, less what releasing some of them gave back, they add up to what the
   others hold. */
size_t picture_own_bytes(const PackedPicture *picture);

}  // namespace qom
