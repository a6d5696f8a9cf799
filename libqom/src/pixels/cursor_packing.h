// Pixels of cursor images: plain in memory, compressed in the file where that makes them smaller.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "qom/qom.h"

namespace qom {

// The cursor's pixels compressed, and how many bytes that gives; none when they would not become
// fewer, or memory is short.
std::unique_ptr<uint8_t[]> pack_cursor(const QomCursorImage *cursor, size_t *length);

// A cursor image with nothing but its pixels, `length` bytes of them out of the stored ones. Null
// with the reason when those are not what pack_cursor() makes of so many, which is looked at before
// memory is allocated.
QomRecord *unpack_cursor(const uint8_t *stored, size_t stored_length, size_t length);

}  // namespace qom
