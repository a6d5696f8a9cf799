// Compression of pixels: zstd, and zstd over the differences of neighbouring pixels.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "pixels/progress.h"

struct ZSTD_DCtx_s;

namespace qom {

// How the pixels of a record are stored; docs/format.md describes each.
inline constexpr uint8_t codec_stored = 0;
inline constexpr uint8_t codec_zstd = 1;
inline constexpr uint8_t codec_zstd_left = 2;
inline constexpr uint8_t codec_zstd_packed = 3;
inline constexpr uint8_t codec_lossy = 5;  // pixels/lossy_form.h

// Decompresses `stored` into exactly `raw_length` bytes at `raw`. The row length (bytes) is
// needed by the codec of left differences. False with the reason when the stored bytes are not
// one whole frame of that size.
bool decompress(uint8_t codec, const uint8_t *stored, size_t stored_length, uint8_t *raw,
                size_t raw_length, size_t row_bytes);

// The same part by part.
class Decompression {
 public:
  // Both `stored` and `raw` must outlive the object.
  Decompression(uint8_t codec, const uint8_t *stored, size_t stored_length, uint8_t *raw,
                size_t raw_length, size_t row_bytes);
  ~Decompression();
  Decompression(const Decompression &) = delete;
  Decompression &operator=(const Decompression &) = delete;

  // Goes on until about so many bytes more are there. Not to be called again once it has not
  // paused.
  Progress go_on(size_t bytes);

 private:
  bool start();
  bool stream(size_t bytes);

  uint8_t codec_;
  const uint8_t *stored_;
  size_t stored_length_;
  uint8_t *raw_;
  size_t raw_length_;
  size_t row_bytes_;
  ZSTD_DCtx_s *context_ = nullptr;  // none: not begun
  size_t wanted_ = 0;               // stored bytes, that zstd asks for next; 0: none any more
  size_t taken_ = 0;                // stored bytes that it has had
  size_t there_ = 0;                // raw bytes
};

// Whether the stored bytes say that they decompress to `raw_length` bytes and use all of
// `stored_length`; looked at before memory for them is allocated.
bool check_compressed(const uint8_t *stored, size_t stored_length, size_t raw_length);

// The number of bytes that the stored bytes say they decompress to, when that is at most `most`
// and all of `stored_length` is used; 0 with the reason otherwise.
size_t stated_length(const uint8_t *stored, size_t stored_length, size_t most);

// Room that compress() may need, in bytes.
size_t compress_bound(size_t raw_length);

// How hard compress() tries.
enum class Effort { quick, usual, thorough };

// Compresses into `stored` (room for compress_bound() bytes); 0 with the reason on failure. At the
// seams (positions in `raw`, rising) bytes of another kind begin.
size_t compress(const uint8_t *raw, size_t raw_length, uint8_t *stored, size_t room, Effort effort,
                std::span<const size_t> seams = {});

// Whether left differences compress rows of 32-bit pixels clearly better, judged by a sample.
bool left_differences_pay(const uint8_t *raw, size_t length, size_t row_bytes);

}  // namespace qom
