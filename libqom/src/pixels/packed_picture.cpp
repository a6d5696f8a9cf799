#include "pixels/packed_picture.h"

#include <lz4.h>
#include <zstd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "pixels/left_differences.h"

namespace qom {
namespace {

/* Large enough to compress well, small enough that a change touches few of them; a tile of
   32-bit pixels fits into the second-level cache, through which it is unpacked. */
constexpr int kTileWidth = 256;
constexpr int kTileHeight = 128;
constexpr size_t kMaxTileBytes = size_t{kTileWidth} * kTileHeight * 4;

/* zstd packs text and plain areas best and unpacks them fast. Where it does not shrink a tile
   to a 16th, the content is like a photograph: then differences of neighbours are tried, and
   LZ4, which unpacks several times faster, when it costs little more room. */
constexpr size_t kTextLike = 16;
constexpr int kTextLevel = -1; /* leaves single bytes as they are, which unpacks faster */
constexpr int kPhotoLevel = 1;

/* The differences take longest. A picture beyond this goes without them, so that packing it
   stays below a second whatever it shows. */
constexpr size_t kLargePicture = size_t{64} << 20; /* bytes */

enum class Form : uint8_t { colour, zstd, zstd_left, lz4, plain };

struct Tile {
  uint32_t references;
  uint32_t bytes; /* of what follows the structure */
  Form form;
  uint8_t *data() { return reinterpret_cast<uint8_t *>(this + 1); }
};

struct Free {
  void operator()(void *memory) const { free(memory); }
};
struct FreeContext {
  void operator()(ZSTD_CCtx *context) const { ZSTD_freeCCtx(context); }
  void operator()(ZSTD_DCtx *context) const { ZSTD_freeDCtx(context); }
};
using Bytes = std::unique_ptr<uint8_t[]>;

Bytes bytes_new(size_t size) {
  return Bytes(new (std::nothrow) uint8_t[size]);
}

/* Where a tile lies in a picture. */
struct TilePlace {
  size_t offset;    /* bytes from the first pixel */
  size_t row_bytes; /* of the tile */
  int height;

  size_t bytes() const { return row_bytes * static_cast<size_t>(height); }
};

int tiles_across(int width) {
  return (width + kTileWidth - 1) / kTileWidth;
}
int tiles_down(int height) {
  return (height + kTileHeight - 1) / kTileHeight;
}

TilePlace tile_place(const PictureRows &rows, int column, int row) {
  const int x = column * kTileWidth;
  const int y = row * kTileHeight;
  const auto pixel = static_cast<size_t>(rows.bytes_per_pixel);
  return {static_cast<size_t>(y) * rows.stride + static_cast<size_t>(x) * pixel,
          static_cast<size_t>(std::min(kTileWidth, rows.width - x)) * pixel,
          std::min(kTileHeight, rows.height - y)};
}

/* Calls visit(first byte of a row of the tile, number of the row). */
template <typename Visit>
void each_row(const PictureRows &rows, const TilePlace &place, Visit visit) {
  for (int y = 0; y < place.height; ++y)
    visit(rows.data + place.offset + static_cast<size_t>(y) * rows.stride, static_cast<size_t>(y));
}

bool tile_is_equal(const PictureRows &a, const PictureRows &b, const TilePlace &place) {
  for (int y = 0; y < place.height; ++y) {
    const size_t at = place.offset + static_cast<size_t>(y) * a.stride;
    if (memcmp(a.data + at, b.data + at, place.row_bytes) != 0) return false;
  }
  return true;
}

/* Equal to itself moved by one pixel: one colour throughout. */
bool is_one_colour(const uint8_t *pixels, size_t bytes, size_t pixel) {
  return memcmp(pixels, pixels + pixel, bytes - pixel) == 0;
}

Tile *tile_new(Form form, const void *data, size_t bytes) {
  auto *tile = static_cast<Tile *>(malloc(sizeof(Tile) + bytes));
  if (!tile) return nullptr;
  *tile = {1, static_cast<uint32_t>(bytes), form};
  memcpy(tile->data(), data, bytes);
  return tile;
}

constexpr size_t kAllocator = 16; /* bytes that an allocation takes beside what is asked for */

size_t tile_size(const Tile *tile) {
  return sizeof(Tile) + tile->bytes + kAllocator;
}

size_t tile_release(Tile *tile) {
  if (!tile || --tile->references > 0) return 0;
  const size_t size = tile_size(tile);
  free(tile);
  return size;
}

/* Packs tiles one after the other, with memory that is made once. */
class Packer {
 public:
  bool setup(const PictureRows &rows) {
    large_ = rows.stride * static_cast<size_t>(rows.height) > kLargePicture;
    room_ = std::max(ZSTD_compressBound(kMaxTileBytes),
                     static_cast<size_t>(LZ4_compressBound(int{kMaxTileBytes})));
    raw_ = bytes_new(kMaxTileBytes);
    differences_ = bytes_new(kMaxTileBytes);
    zstd_ = bytes_new(room_);
    zstd_left_ = bytes_new(room_);
    lz4_ = bytes_new(room_);
    context_.reset(ZSTD_createCCtx());
    return raw_ && differences_ && zstd_ && zstd_left_ && lz4_ && context_;
  }

  Tile *pack(const PictureRows &rows, const TilePlace &place) {
    each_row(rows, place, [&](const uint8_t *row, size_t y) {
      memcpy(raw_.get() + y * place.row_bytes, row, place.row_bytes);
    });
    const auto pixel = static_cast<size_t>(rows.bytes_per_pixel);
    if (is_one_colour(raw_.get(), place.bytes(), pixel))
      return tile_new(Form::colour, raw_.get(), pixel);
    return compress(place, pixel);
  }

 private:
  /* Compressed bytes of one form; none when it failed. */
  struct Candidate {
    Form form;
    size_t bytes;
    const uint8_t *data;
  };

  Tile *compress(const TilePlace &place, size_t pixel) {
    const size_t bytes = place.bytes();
    Candidate best = {Form::plain, bytes, raw_.get()};
    const auto consider = [&](Form form, size_t packed, const Bytes &room, size_t worth) {
      if (packed > 0 && packed < worth) best = {form, packed, room.get()};
    };
    consider(Form::zstd, zstd(raw_, bytes, kTextLevel, zstd_), zstd_, best.bytes);
    if (best.bytes < bytes / kTextLike) return tile_new(best.form, best.data, best.bytes);
    if (pixel == 4 && !large_) {
      to_left_differences(raw_.get(), differences_.get(), bytes, place.row_bytes);
      consider(Form::zstd_left, zstd(differences_, bytes, kPhotoLevel, zstd_left_), zstd_left_,
               best.bytes);
    }
    consider(Form::lz4, lz4(raw_, bytes, lz4_), lz4_, best.bytes + best.bytes / 4);
    return tile_new(best.form, best.data, best.bytes);
  }

  size_t zstd(const Bytes &raw, size_t bytes, int level, const Bytes &packed) {
    const size_t length =
        ZSTD_compressCCtx(context_.get(), packed.get(), room_, raw.get(), bytes, level);
    return ZSTD_isError(length) ? 0 : length;
  }

  size_t lz4(const Bytes &raw, size_t bytes, const Bytes &packed) {
    const int length = LZ4_compress_default(reinterpret_cast<const char *>(raw.get()),
                                            reinterpret_cast<char *>(packed.get()),
                                            static_cast<int>(bytes), static_cast<int>(room_));
    return length > 0 ? static_cast<size_t>(length) : 0;
  }

  bool large_ = false;
  size_t room_ = 0; /* bytes of each of the three packed forms */
  Bytes raw_;
  Bytes differences_;
  Bytes zstd_;
  Bytes zstd_left_;
  Bytes lz4_;
  std::unique_ptr<ZSTD_CCtx, FreeContext> context_;
};

class Unpacker {
 public:
  bool setup() {
    raw_ = bytes_new(kMaxTileBytes);
    context_.reset(ZSTD_createDCtx());
    return raw_ && context_;
  }

  bool unpack(Tile *tile, const PictureRows &rows, const TilePlace &place) {
    if (tile->form == Form::colour) {
      fill(tile->data(), rows, place);
      return true;
    }
    const uint8_t *pixels = pixels_of(tile, place);
    if (!pixels) return false;
    each_row(rows, place, [&](uint8_t *row, size_t y) {
      memcpy(row, pixels + y * place.row_bytes, place.row_bytes);
    });
    return true;
  }

 private:
  static void fill(const uint8_t *colour, const PictureRows &rows, const TilePlace &place) {
    const auto pixel = static_cast<size_t>(rows.bytes_per_pixel);
    uint8_t *first = rows.data + place.offset;
    for (size_t i = 0; i < place.row_bytes; i += pixel) memcpy(first + i, colour, pixel);
    each_row(rows, place, [&](uint8_t *row, size_t y) {
      if (y > 0) memcpy(row, first, place.row_bytes);
    });
  }

  const uint8_t *pixels_of(Tile *tile, const TilePlace &place) {
    switch (tile->form) {
      case Form::zstd:
        return unpack_zstd(tile, place.bytes()) ? raw_.get() : nullptr;
      case Form::zstd_left:
        if (!unpack_zstd(tile, place.bytes())) return nullptr;
        for (int y = 0; y < place.height; ++y)
          undo_left_differences(raw_.get() + static_cast<size_t>(y) * place.row_bytes,
                                place.row_bytes);
        return raw_.get();
      case Form::lz4:
        return unpack_lz4(tile, static_cast<int>(place.bytes())) ? raw_.get() : nullptr;
      default:
        return tile->data();
    }
  }

  bool unpack_zstd(Tile *tile, size_t bytes) {
    return ZSTD_decompressDCtx(context_.get(), raw_.get(), bytes, tile->data(), tile->bytes) ==
           bytes;
  }

  bool unpack_lz4(Tile *tile, int bytes) {
    return LZ4_decompress_safe(reinterpret_cast<const char *>(tile->data()),
                               reinterpret_cast<char *>(raw_.get()), static_cast<int>(tile->bytes),
                               bytes) == bytes;
  }

  Bytes raw_;
  std::unique_ptr<ZSTD_DCtx, FreeContext> context_;
};

}  // namespace

struct PackedPicture {
  int width;
  int height;
  int bytes_per_pixel;
  size_t own_bytes;
  size_t tile_count;

  Tile **tiles() { return reinterpret_cast<Tile **>(this + 1); }
  Tile *const *tiles() const { return reinterpret_cast<Tile *const *>(this + 1); }

  static size_t size_with(size_t tiles) {
    // NOLINTNEXTLINE(bugprone-sizeof-expression): pointers are what follows
    return sizeof(PackedPicture) + tiles * sizeof(Tile *);
  }
  size_t size() const { return size_with(tile_count); }

  bool fits(const PictureRows &rows) const {
    return width == rows.width && height == rows.height && bytes_per_pixel == rows.bytes_per_pixel;
  }
};

namespace {

struct ReleasePicture {
  void operator()(PackedPicture *picture) const { picture_release(picture); }
};
using PictureHandle = std::unique_ptr<PackedPicture, ReleasePicture>;

/* With room for its tiles, all none. */
PictureHandle picture_new(const PictureRows &rows) {
  const size_t count =
      static_cast<size_t>(tiles_across(rows.width)) * static_cast<size_t>(tiles_down(rows.height));
  const size_t bytes = PackedPicture::size_with(count);
  PictureHandle picture(static_cast<PackedPicture *>(calloc(1, bytes)));
  if (picture) *picture = {rows.width, rows.height, rows.bytes_per_pixel, bytes, count};
  return picture;
}

/* Calls visit(number of the tile, its place) until it returns false. */
template <typename Visit>
bool each_tile(const PictureRows &rows, Visit visit) {
  const int across = tiles_across(rows.width);
  const int down = tiles_down(rows.height);
  for (int row = 0; row < down; ++row)
    for (int column = 0; column < across; ++column)
      if (!visit(static_cast<size_t>(row) * across + column, tile_place(rows, column, row)))
        return false;
  return true;
}

}  // namespace

PackedPicture *picture_pack(const PictureRows &rows, const PackedPicture *previous,
                            const PictureRows *previous_rows) {
  PictureHandle picture = picture_new(rows);
  Packer packer;
  if (!picture || !packer.setup(rows)) return nullptr;
  const bool share = previous && previous_rows && previous->fits(rows) &&
                     previous->fits(*previous_rows) && previous_rows->stride == rows.stride;
  const bool packed = each_tile(rows, [&](size_t i, const TilePlace &place) {
    Tile *&tile = picture->tiles()[i];
    if (share && tile_is_equal(rows, *previous_rows, place)) {
      tile = previous->tiles()[i];
      ++tile->references;
      return true;
    }
    tile = packer.pack(rows, place);
    if (tile) picture->own_bytes += tile_size(tile);
    return tile != nullptr;
  });
  return packed ? picture.release() : nullptr;
}

bool picture_unpack(const PackedPicture *picture, const PictureRows &rows) {
  Unpacker unpacker;
  if (!picture->fits(rows) || !unpacker.setup()) return false;
  return each_tile(rows, [&](size_t i, const TilePlace &place) {
    return unpacker.unpack(picture->tiles()[i], rows, place);
  });
}

size_t picture_release(PackedPicture *picture) {
  if (!picture) return 0;
  size_t freed = picture->size();
  for (size_t i = 0; i < picture->tile_count; ++i) freed += tile_release(picture->tiles()[i]);
  free(picture);
  return freed;
}

size_t picture_own_bytes(const PackedPicture *picture) {
  return picture->own_bytes;
}

}  // namespace qom
