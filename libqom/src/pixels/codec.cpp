#include "pixels/codec.h"

#include <pthread.h>
#define ZSTD_STATIC_LINKING_ONLY  // for numbers of parameters alone
#include <zstd.h>
#include <zstd_errors.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "base/error.h"
#include "pixels/left_differences.h"

namespace qom {
namespace {

// Levels of zstd. Text in plain pixels shrinks by a quarter more at level 5 than at 3 and decodes
// as fast, see bench/codec_bench. Of residuals, level 1 makes a hundredth less than this one and
// takes half as long again.
int level_of(Effort effort) {
  switch (effort) {
    case Effort::residuals:
      return -20;
    case Effort::thorough:
      return 5;
    case Effort::bands:
      return 11;
    default:
      return 3;
  }
}

// What zstd asks for first of a frame, in bytes.
constexpr size_t least_of_frame = 5;

// Kinds of bytes are kept apart where there are so many of one that statistics of their own pay.
// It also keeps what is stored below compress_bound().
constexpr size_t least_apart = 1024;

// A context for each thread, since making one costs more than decompressing a small rectangle.
// Not thread_local: registering a destructor there ends the process when memory is short.
template <typename Context, Context *(*create)(), size_t (*release)(Context *)>
class PerThread {
 public:
  PerThread() : good_(pthread_key_create(&key_, destroy) == 0) {}
  ~PerThread() {
    if (!good_) return;
    destroy(pthread_getspecific(key_));
    pthread_key_delete(key_);
  }

  PerThread(const PerThread &) = delete;
  PerThread &operator=(const PerThread &) = delete;

  // Null when memory is short.
  Context *get() {
    if (!good_) return nullptr;
    if (void *known = pthread_getspecific(key_)) return static_cast<Context *>(known);
    Context *made = create();
    if (made && pthread_setspecific(key_, made) == 0) return made;
    release(made);
    return nullptr;
  }

 private:
  static void destroy(void *context) { release(static_cast<Context *>(context)); }

  pthread_key_t key_;
  bool good_;
};

ZSTD_DCtx *decompressor() {
  static PerThread<ZSTD_DCtx, ZSTD_createDCtx, ZSTD_freeDCtx> contexts;
  return contexts.get();
}

ZSTD_CCtx *compressor() {
  static PerThread<ZSTD_CCtx, ZSTD_createCCtx, ZSTD_freeCCtx> contexts;
  return contexts.get();
}

// Ends a block of zstd, and with it the statistics of its bytes, at every seam.
size_t compress_apart(ZSTD_CCtx *context, int level, const uint8_t *raw, size_t raw_length,
                      std::span<const size_t> seams, uint8_t *stored, size_t room) {
  ZSTD_CCtx_reset(context, ZSTD_reset_session_and_parameters);
  ZSTD_CCtx_setParameter(context, ZSTD_c_compressionLevel, level);
  ZSTD_CCtx_setParameter(context, ZSTD_c_literalCompressionMode, ZSTD_ps_enable);
  ZSTD_CCtx_setPledgedSrcSize(context, raw_length);
  ZSTD_outBuffer output{stored, room, 0};
  ZSTD_inBuffer input{raw, 0, 0};
  size_t left = 0;
  for (const size_t seam : seams) {
    if (seam - input.pos < least_apart || raw_length - seam < least_apart) continue;
    input.size = seam;
    left = ZSTD_compressStream2(context, &output, &input, ZSTD_e_flush);
    if (ZSTD_isError(left)) return left;
  }
  input.size = raw_length;
  left = ZSTD_compressStream2(context, &output, &input, ZSTD_e_end);
  if (left == 0) return output.pos;
  return ZSTD_isError(left) ? left : static_cast<size_t>(-ZSTD_error_dstSize_tooSmall);
}

bool out_of_memory() {
  errno = ENOMEM;
  set_error("out of memory for decompression");
  return false;
}

bool cannot_decompress(size_t result) {
  if (ZSTD_getErrorCode(result) == ZSTD_error_memory_allocation) return out_of_memory();
  return QOM_REFUSE(false, "cannot decompress: %s", ZSTD_getErrorName(result));
}

// What is left to do when `length` bytes have come instead of `raw_length`.
bool finish(uint8_t codec, uint8_t *raw, size_t raw_length, size_t row_bytes, size_t length) {
  if (length != raw_length)
    return QOM_REFUSE(false, "compressed pixels that give %zu bytes instead of %zu", length,
                      raw_length);
  if (codec == codec_zstd_left)
    for (size_t row = 0; row < raw_length; row += row_bytes)
      undo_left_differences(raw + row, row_bytes);
  return true;
}

}  // namespace

bool check_compressed(const uint8_t *stored, size_t stored_length, size_t raw_length) {
  if (ZSTD_getFrameContentSize(stored, stored_length) != raw_length)
    return QOM_REFUSE(false, "compressed pixels that do not state the size they should have");
  if (ZSTD_findFrameCompressedSize(stored, stored_length) != stored_length)
    return QOM_REFUSE(false, "compressed pixels that are cut off or have bytes behind them");
  return true;
}

size_t stated_length(const uint8_t *stored, size_t stored_length, size_t most) {
  size_t all = 0;
  for (const uint8_t *const end = stored + stored_length; stored != end;) {
    const auto left = static_cast<size_t>(end - stored);
    const unsigned long long length = ZSTD_getFrameContentSize(stored, left);
    if (length == 0 || length > most - all)  // the codes for failures are larger than any size
      return QOM_REFUSE(0, "packed pixels that do not state a size they could have");
    const size_t frame = ZSTD_findFrameCompressedSize(stored, left);
    if (ZSTD_isError(frame))
      return QOM_REFUSE(0, "compressed pixels that are cut off or have bytes behind them");
    all += length;
    stored += frame;
  }
  return all;
}

bool decompress(uint8_t codec, const uint8_t *stored, size_t stored_length, uint8_t *raw,
                size_t raw_length, size_t row_bytes) {
  ZSTD_DCtx *context = decompressor();
  if (!context) return out_of_memory();
  const size_t length = ZSTD_decompressDCtx(context, raw, raw_length, stored, stored_length);
  if (ZSTD_isError(length)) return cannot_decompress(length);
  return finish(codec, raw, raw_length, row_bytes, length);
}

Decompression::Decompression(uint8_t codec, const uint8_t *stored, size_t stored_length,
                             uint8_t *raw, size_t raw_length, size_t row_bytes)
    : codec_(codec),
      stored_(stored),
      stored_length_(stored_length),
      raw_(raw),
      raw_length_(raw_length),
      row_bytes_(row_bytes) {}

Decompression::~Decompression() {
  ZSTD_freeDCtx(context_);
}

Progress Decompression::go_on(size_t bytes) {
  if (!context_ && bytes >= raw_length_)
    return decompress(codec_, stored_, stored_length_, raw_, raw_length_, row_bytes_)
               ? Progress::done
               : Progress::failed;
  if (!(context_ || start()) || !stream(bytes)) return Progress::failed;
  if (wanted_ > 0) return Progress::paused;
  return finish(codec_, raw_, raw_length_, row_bytes_, there_) ? Progress::done : Progress::failed;
}

// A context of its own, since others go on between the parts. What is there already serves zstd as
// the window, however large; there is no other copy of it.
bool Decompression::start() {
  context_ = ZSTD_createDCtx();
  if (!context_) return out_of_memory();
  wanted_ = ZSTD_initDStream(context_);
  const int largest = ZSTD_dParam_getBounds(ZSTD_d_windowLogMax).upperBound;
  for (const size_t result :
       {wanted_, ZSTD_DCtx_setParameter(context_, ZSTD_d_windowLogMax, largest),
        ZSTD_DCtx_setParameter(context_, ZSTD_d_stableOutBuffer, 1)})
    if (ZSTD_isError(result)) return cannot_decompress(result);
  return true;
}

// Gives zstd as little at a time as it asks for, a block: what it has it decompresses at once.
bool Decompression::stream(size_t bytes) {
  ZSTD_outBuffer output{raw_, raw_length_, there_};
  ZSTD_inBuffer input{stored_, 0, taken_};
  do {
    input.size = std::min(stored_length_, input.pos + wanted_);
    wanted_ = ZSTD_decompressStream(context_, &output, &input);
    if (ZSTD_isError(wanted_)) return cannot_decompress(wanted_);
    if (wanted_ > 0 && input.pos == stored_length_)
      return QOM_REFUSE(false, "compressed pixels that are cut off");
    if (wanted_ == 0 && input.pos < stored_length_) wanted_ = least_of_frame;
  } while (wanted_ > 0 && output.pos - there_ < bytes);
  taken_ = input.pos;
  there_ = output.pos;
  return true;
}

size_t compress_bound(size_t raw_length) {
  return ZSTD_compressBound(raw_length);
}

size_t compress(const uint8_t *raw, size_t raw_length, uint8_t *stored, size_t room, Effort effort,
                std::span<const size_t> seams) {
  ZSTD_CCtx *context = compressor();
  if (!context) {
    errno = ENOMEM;
    set_error("out of memory for compression");
    return 0;
  }
  const int level = level_of(effort);
  const size_t length = seams.empty()
                            ? ZSTD_compressCCtx(context, stored, room, raw, raw_length, level)
                            : compress_apart(context, level, raw, raw_length, seams, stored, room);
  if (!ZSTD_isError(length)) return length;
  errno = ENOMEM;
  set_error("cannot compress: %s", ZSTD_getErrorName(length));
  return 0;
}

}  // namespace qom
