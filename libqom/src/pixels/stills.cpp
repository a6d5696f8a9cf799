#include "pixels/stills.h"

#include <cerrno>

#include "base/error.h"

#if QOM_HAS_STILLS

#include <algorithm>
#include <csetjmp>
#include <cstdio>  // before jpeglib.h, which needs it
#include <cstring>
#include <new>

#include <jpeglib.h>

#include <jerror.h>  // which needs it

#include "base/bytes.h"

// The codec reports failures by a jump out of its calls. Functions that call setjmp() hold nothing
// that has to be destroyed.

namespace qom {
namespace {

constexpr size_t rows_at_once = 16;
constexpr uint8_t baseline = 0xC0;
constexpr size_t still_growth = size_t{64} << 10;  // bytes

struct Failures {
  jpeg_error_mgr manager;
  jmp_buf back;
};

[[noreturn]] void fail(j_common_ptr codec) {
  auto *failures = reinterpret_cast<Failures *>(codec->err);
  char reason[JMSG_LENGTH_MAX];
  codec->err->format_message(codec, reason);
  errno = codec->err->msg_code == JERR_OUT_OF_MEMORY ? ENOMEM : 0;
  set_error("a still: %s", reason);
  longjmp(failures->back, 1);
}

// What a decoder only warns of would not be the same pixels everywhere.
void note(j_common_ptr codec, int level) {
  if (level < 0) fail(codec);
}

void be_silent(j_common_ptr) {}

jpeg_error_mgr *setup(Failures *failures) {
  jpeg_std_error(&failures->manager);
  failures->manager.error_exit = fail;
  failures->manager.emit_message = note;
  failures->manager.output_message = be_silent;
  return &failures->manager;
}

// The order of a pixel's bytes in memory.
J_COLOR_SPACE order_of(PixelFormat format) {
  switch (format) {
    case xRGB8888:
      return JCS_EXT_BGRX;
    case xBGR8888:
      return JCS_EXT_RGBX;
    case RGBx8888:
      return JCS_EXT_XBGR;
    default:
      return JCS_EXT_XRGB;
  }
}

uint32_t colour_bits(PixelFormat format) {
  return format == xRGB8888 || format == xBGR8888 ? 0x00FFFFFF : 0xFFFFFF00;
}

// --- into a still ----------------------------------------------------------------------------

struct Sink {
  jpeg_destination_mgr manager;
  Array<uint8_t> *bytes;
};

void give_room(j_compress_ptr codec, size_t used) {
  auto *sink = reinterpret_cast<Sink *>(codec->dest);
  if (!sink->bytes->resize(used + still_growth)) {
    errno = ENOMEM;
    set_error("out of memory for a still");
    longjmp(reinterpret_cast<Failures *>(codec->err)->back, 1);
  }
  sink->manager.next_output_byte = sink->bytes->data() + used;
  sink->manager.free_in_buffer = still_growth;
}

void start_sink(j_compress_ptr codec) {
  give_room(codec, reinterpret_cast<Sink *>(codec->dest)->bytes->size());
}

boolean enlarge_sink(j_compress_ptr codec) {
  give_room(codec, reinterpret_cast<Sink *>(codec->dest)->bytes->size());
  return TRUE;
}

void end_sink(j_compress_ptr codec) {
  auto *sink = reinterpret_cast<Sink *>(codec->dest);
  sink->bytes->truncate(sink->bytes->size() - sink->manager.free_in_buffer);
}

struct Encoder {
  jpeg_compress_struct codec;
  Failures failures;
  Sink sink;
};

bool encode(Encoder *encoder, const uint8_t *pixels, size_t stride) {
  jpeg_compress_struct &codec = encoder->codec;
  if (setjmp(encoder->failures.back)) return false;
  jpeg_start_compress(&codec, TRUE);
  while (codec.next_scanline < codec.image_height) {
    JSAMPROW rows[rows_at_once];
    const size_t left = codec.image_height - codec.next_scanline;
    const size_t count = std::min(left, rows_at_once);
    for (size_t i = 0; i < count; ++i)
      rows[i] = const_cast<uint8_t *>(pixels + (codec.next_scanline + i) * stride);
    jpeg_write_scanlines(&codec, rows, static_cast<JDIMENSION>(count));
  }
  jpeg_finish_compress(&codec);
  return true;
}

bool prepare(Encoder *encoder, unsigned width, unsigned height, PixelFormat format, int quality) {
  jpeg_compress_struct &codec = encoder->codec;
  if (setjmp(encoder->failures.back)) return false;
  jpeg_create_compress(&codec);
  encoder->sink.manager.init_destination = start_sink;
  encoder->sink.manager.empty_output_buffer = enlarge_sink;
  encoder->sink.manager.term_destination = end_sink;
  codec.dest = &encoder->sink.manager;
  codec.image_width = width;
  codec.image_height = height;
  codec.input_components = 4;
  codec.in_color_space = order_of(format);
  jpeg_set_defaults(&codec);
  jpeg_set_quality(&codec, quality, TRUE);
  codec.dct_method = JDCT_ISLOW;
  codec.optimize_coding = TRUE;
  codec.write_JFIF_header = FALSE;
  return true;
}

// --- out of a still --------------------------------------------------------------------------

void start_source(j_decompress_ptr) {}

// There is nothing behind the bytes that were given.
boolean refill_source(j_decompress_ptr codec) {
  set_error("a still that is cut off");
  errno = 0;
  longjmp(reinterpret_cast<Failures *>(codec->err)->back, 1);
}

void skip_source(j_decompress_ptr codec, long count) {
  if (count <= 0) return;
  if (static_cast<size_t>(count) > codec->src->bytes_in_buffer) refill_source(codec);
  codec->src->next_input_byte += count;
  codec->src->bytes_in_buffer -= static_cast<size_t>(count);
}

bool is_sampling_allowed(const jpeg_decompress_struct &codec) {
  const jpeg_component_info *parts = codec.comp_info;
  const int side = parts[0].h_samp_factor;
  if ((side != 1 && side != 2) || parts[0].v_samp_factor != side) return false;
  for (int i = 1; i < 3; ++i)
    if (parts[i].h_samp_factor != 1 || parts[i].v_samp_factor != 1) return false;
  return true;
}

// The marker that says of what kind a still is; 0 when there is none.
uint8_t kind_of(const uint8_t *still, size_t length) {
  ByteReader bytes(still, length);
  bytes.get<uint16_t>();  // the mark of its begin
  while (bytes.left() > 0) {
    if (bytes.get<uint8_t>() != 0xFF) return 0;
    const auto marker = bytes.get<uint8_t>();
    const bool is_table = marker == 0xC4 || marker == 0xC8 || marker == 0xCC;
    if (marker >= 0xC0 && marker <= 0xCF && !is_table) return marker;
    const unsigned high = bytes.get<uint8_t>();
    const unsigned size = high << 8 | bytes.get<uint8_t>();
    if (size < 2 || !bytes.take(size - 2)) return 0;
  }
  return 0;
}

// Whether a still is of the one kind that every decoder gives the same pixels for, and which takes
// no more memory than a few rows.
bool is_allowed(j_decompress_ptr codec) {
  return codec->data_precision == 8 && codec->num_components == 3 &&
         codec->jpeg_color_space == JCS_YCbCr && !jpeg_has_multiple_scans(codec) &&
         is_sampling_allowed(*codec);
}

}  // namespace

struct Still::Decoder {
  jpeg_decompress_struct codec;
  Failures failures;
  jpeg_source_mgr source;
  uint32_t colours;

  bool start(const uint8_t *still, size_t length, unsigned width, unsigned height,
             PixelFormat format) {
    if (setjmp(failures.back)) return false;
    jpeg_create_decompress(&codec);
    source.init_source = start_source;
    source.fill_input_buffer = refill_source;
    source.skip_input_data = skip_source;
    source.resync_to_restart = jpeg_resync_to_restart;
    source.term_source = start_source;
    source.next_input_byte = still;
    source.bytes_in_buffer = length;
    codec.src = &source;
    jpeg_read_header(&codec, TRUE);
    if (codec.image_width != width || codec.image_height != height)
      return QOM_REFUSE(false, "a still of %ux%u pixels for %ux%u", codec.image_width,
                        codec.image_height, width, height);
    if (!is_allowed(&codec)) return QOM_REFUSE(false, "a still of a kind that is not allowed");
    codec.out_color_space = order_of(format);
    codec.dct_method = JDCT_ISLOW;
    codec.do_fancy_upsampling = FALSE;
    codec.do_block_smoothing = FALSE;
    colours = colour_bits(format);
    jpeg_start_decompress(&codec);
    return true;
  }

  // Up to rows_at_once of them.
  bool read(size_t count, uint8_t *pixels, size_t stride) {
    if (setjmp(failures.back)) return false;
    JSAMPROW rows[rows_at_once];
    for (size_t i = 0; i < count; ++i) rows[i] = pixels + i * stride;
    for (JDIMENSION done = 0; done < count;)
      done += jpeg_read_scanlines(&codec, rows + done, static_cast<JDIMENSION>(count) - done);
    return true;
  }

  // The codec does not say what it leaves in bytes that carry no colour.
  void clear_unused(uint8_t *row) const {
    for (size_t x = 0; x < codec.image_width; ++x) {
      const uint32_t pixel = load<uint32_t>(row + 4 * x) & colours;
      std::memcpy(row + 4 * x, &pixel, sizeof pixel);
    }
  }

  bool end() {
    if (setjmp(failures.back)) return false;
    jpeg_finish_decompress(&codec);
    return source.bytes_in_buffer == 0 || QOM_REFUSE(false, "bytes behind the end of a still");
  }
};

bool can_still() {
  return true;
}

bool pack_still(const uint8_t *pixels, size_t stride, unsigned width, unsigned height,
                PixelFormat format, int quality, Array<uint8_t> *still) {
  Encoder encoder;
  std::memset(&encoder, 0, sizeof encoder);
  encoder.codec.err = setup(&encoder.failures);
  encoder.sink.bytes = still;
  const bool packed =
      prepare(&encoder, width, height, format, quality) && encode(&encoder, pixels, stride);
  jpeg_destroy_compress(&encoder.codec);
  return packed;
}

bool Still::open(const uint8_t *still, size_t length, unsigned width, unsigned height,
                 PixelFormat format) {
  close();
  if (kind_of(still, length) != baseline)
    return QOM_REFUSE(false, "a still of a kind that is not allowed");
  decoder_ = new (std::nothrow) Decoder();
  if (!decoder_) {
    errno = ENOMEM;
    set_error("out of memory for a still");
    return false;
  }
  decoder_->codec.err = setup(&decoder_->failures);
  return decoder_->start(still, length, width, height, format);
}

bool Still::restore(size_t rows, uint8_t *pixels, size_t stride) {
  while (rows > 0) {
    const size_t count = std::min(rows, rows_at_once);
    if (!decoder_->read(count, pixels, stride)) return false;
    for (size_t i = 0; i < count; ++i) decoder_->clear_unused(pixels + i * stride);
    rows -= count;
    pixels += count * stride;
  }
  return true;
}

bool Still::finish() {
  return decoder_->end();
}

void Still::close() {
  if (decoder_) jpeg_destroy_decompress(&decoder_->codec);
  delete decoder_;
  decoder_ = nullptr;
}

}  // namespace qom

#else

namespace qom {
namespace {

bool without() {
  return QOM_REFUSE(false, "lossy pixels, and this library was built without their codec");
}

}  // namespace

bool can_still() {
  return false;
}

bool pack_still(const uint8_t *, size_t, unsigned, unsigned, PixelFormat, int, Array<uint8_t> *) {
  return without();
}

bool Still::open(const uint8_t *, size_t, unsigned, unsigned, PixelFormat) {
  return without();
}

bool Still::restore(size_t, uint8_t *, size_t) {
  return without();
}

bool Still::finish() {
  return without();
}

void Still::close() {}

}  // namespace qom

#endif
