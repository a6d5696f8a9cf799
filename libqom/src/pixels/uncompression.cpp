// Images and image blocks uncompressed, at once or part by part.
#include <cerrno>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "base/error.h"
#include "base/records.h"
#include "pixels/band_unpacking.h"
#include "pixels/codec.h"
#include "pixels/lossy_form.h"
#include "pixels/packing.h"
#include "pixels/pixel_format.h"
#include "pixels/unpacking.h"
#include "qom/writer.h"

struct QomUncompression {
  explicit QomUncompression(const qom::Destination &all) : destination(all) {}

  qom::RecordPtr<QomRecord> record;  // of the pixels
  qom::Destination destination;      // all of them
  std::unique_ptr<uint8_t[]> packed;
  size_t packed_length = 0;  // bytes; 0: they are not packed
  qom::PackedForm form = qom::PackedForm::kinds;
  std::optional<qom::Decompression> decompression;  // none: done
  std::optional<qom::Unpacking> unpacking;          // none: not begun
  std::optional<qom::BandUnpacking> bands;          // instead, with that form
  std::optional<qom::StillsUnpacking> stills;       // what is left when the exact pixels are there
};

namespace qom {
namespace {

// Whether pixels are packed with it, those of images alone with that of bands.
bool is_packed(uint8_t codec) {
  return codec == codec_zstd_packed || codec == codec_zstd_strips || codec == codec_zstd_bands;
}

PackedForm form_of(uint8_t codec) {
  return codec == codec_zstd_bands    ? PackedForm::bands
         : codec == codec_zstd_strips ? PackedForm::strips
                                      : PackedForm::kinds;
}

// Compressed pixels of a record, behind their codec byte.
struct Stored {
  uint8_t codec;
  const uint8_t *bytes;
  size_t length;
  size_t decompressed = 0;  // bytes they decompress to, once check() has looked

  // Whether they say that they give `raw_length` bytes of pixels, or with the codec of packed ones
  // something that may give them; looked at before memory for them is allocated.
  bool check(size_t raw_length) {
    decompressed = raw_length;
    if (!is_packed(codec)) return check_compressed(bytes, length, raw_length);
    decompressed = stated_length(bytes, length, most_packed(raw_length));
    if (decompressed == 0) return false;
    return raw_length <= most_unpacked(form_of(codec), decompressed) ||
           QOM_REFUSE(false, "packed pixels that cannot give %zu bytes", raw_length);
  }
};

template <typename Compressed>
Stored stored_pixels(const Compressed *compressed) {
  return {compressed->data[0], compressed->data + 1, compressed->compressed_length - size_t{1}};
}

// A record for `length` bytes of pixels; the caller fills in the rest.
template <typename Record>
RecordPtr<Record> pixel_record(uint8_t type, uint64_t timestamp, size_t length) {
  RecordPtr<Record> record(reinterpret_cast<Record *>(allocate_record(type, timestamp, length)));
  if (!record) return nullptr;
  record->length = static_cast<uint32_t>(length);
  record->data = record_data(record.get());
  return record;
}

using UncompressionPtr = std::unique_ptr<QomUncompression>;

UncompressionPtr out_of_memory() {
  errno = ENOMEM;
  set_error("out of memory for packed pixels");
  return nullptr;
}

// Begins with what check() has looked at, to be restored from `raw` on in the record. `row_bytes`
// is needed by the codec of left differences.
template <typename Record>
UncompressionPtr begin(const Stored &stored, RecordPtr<Record> record, uint8_t *raw,
                       size_t row_bytes, const Destination &destination) {
  UncompressionPtr begun(new (std::nothrow) QomUncompression(destination));
  if (!begun) return out_of_memory();
  uint8_t codec = stored.codec;
  if (is_packed(codec)) {
    begun->form = form_of(codec);
    begun->packed.reset(new (std::nothrow) uint8_t[stored.decompressed]);
    begun->packed_length = stored.decompressed;
    raw = begun->packed.get();
    codec = codec_zstd;
    if (!raw) return out_of_memory();
  }
  begun->decompression.emplace(codec, stored.bytes, stored.length, raw, stored.decompressed,
                               row_bytes);
  begun->record.reset(reinterpret_cast<QomRecord *>(record.release()));
  return begun;
}

// The same where there are no exact pixels.
template <typename Record>
UncompressionPtr begin_without(RecordPtr<Record> record) {
  UncompressionPtr begun(new (std::nothrow) QomUncompression(Destination(nullptr, 0)));
  if (!begun) return out_of_memory();
  begun->record.reset(reinterpret_cast<QomRecord *>(record.release()));
  return begun;
}

// Takes lossy pixels apart: `stored` becomes their exact ones. Others have no parts.
bool take_apart(Stored *stored, LossyForm *form, size_t raw_length, unsigned width,
                unsigned height) {
  if (stored->codec != codec_lossy) return true;
  if (!form->open(stored->bytes, stored->length, raw_length, width, height)) return false;
  *stored = {form->exact_codec(), form->exact(), form->exact_length()};
  return true;
}

UncompressionPtr begin_image(const QomCompressedImage *compressed) {
  if (!compressed || !compressed->data || compressed->compressed_length < 2)
    return QOM_INVALID(nullptr, "no compressed image");
  Stored stored = stored_pixels(compressed);
  const uint64_t length = image_bytes(compressed->width, compressed->height,
                                      compressed->pixel_format, compressed->scanline_pad);
  const bool wide = pixel_format_bytes_per_pixel(compressed->pixel_format) == 4;
  const bool is_known = stored.codec == codec_zstd ||
                        (wide && (stored.codec == codec_zstd_left || is_packed(stored.codec) ||
                                  stored.codec == codec_lossy));
  if (length == 0 || length != compressed->length || !is_known)
    return QOM_REFUSE(nullptr, "a compressed image whose sizes or codec are not allowed");
  LossyForm form;
  if (!take_apart(&stored, &form, length, compressed->width, compressed->height)) return nullptr;
  if (form.count() > 0 && form.format() != compressed->pixel_format)
    return QOM_REFUSE(nullptr, "lossy pixels of another format than their image");
  if (!stored.check(length)) return nullptr;
  auto image = pixel_record<QomImage>(QOM_IMAGE, compressed->timestamp, length);
  if (!image) return nullptr;
  image->width = compressed->width;
  image->height = compressed->height;
  image->x = compressed->x;
  image->y = compressed->y;
  image->pixel_format = compressed->pixel_format;
  image->scanline_pad = compressed->scanline_pad;
  image->bytes_per_line = static_cast<uint32_t>(length / compressed->height);
  uint8_t *pixels = image->data;
  const Destination destination(pixels, image->width, image->height);
  const size_t row_bytes = image->bytes_per_line;
  UncompressionPtr begun = begin(stored, std::move(image), pixels, row_bytes, destination);
  if (begun && form.count() > 0) begun->stills.emplace(form, pixels, row_bytes);
  return begun;
}

UncompressionPtr begin_blocks(const QomCompressedImageBlocks *compressed) {
  if (!compressed || !compressed->data || compressed->compressed_length < 2)
    return QOM_INVALID(nullptr, "no compressed image blocks");
  Stored stored = stored_pixels(compressed);
  if ((stored.codec != codec_zstd && !is_packed(stored.codec) && stored.codec != codec_lossy) ||
      compressed->length > QOM_MAX_DATA)
    return QOM_REFUSE(nullptr, "compressed image blocks whose size or codec is not allowed");
  LossyForm form;
  if (!take_apart(&stored, &form, compressed->length, 0, 0)) return nullptr;
  const size_t exact_length = compressed->length - form.still_bytes();
  const bool has_exact = form.count() == 0 || exact_length > 0;
  if (has_exact && !stored.check(exact_length)) return nullptr;
  auto blocks =
      pixel_record<QomImageBlocks>(QOM_IMAGE_BLOCKS, compressed->timestamp, compressed->length);
  if (!blocks) return nullptr;
  uint8_t *pixels = blocks->data;
  uint8_t *exact = pixels + form.still_bytes();
  UncompressionPtr begun =
      has_exact ? begin(stored, std::move(blocks), exact, 0, Destination(exact, exact_length))
                : begin_without(std::move(blocks));
  if (begun && form.count() > 0) begun->stills.emplace(form, pixels, 0);
  return begun;
}

// Those of the exact pixels.
Progress go_on_exactly(QomUncompression *begun, size_t bytes) {
  if (begun->decompression) {
    const Progress progress = begun->decompression->go_on(bytes);
    if (progress != Progress::done) return progress;
    begun->decompression.reset();
    if (begun->packed_length == 0) return progress;
    if (begun->form == PackedForm::bands) {
      const auto *image = reinterpret_cast<const QomImage *>(begun->record.get());
      begun->bands.emplace(begun->packed.get(), begun->packed_length, image->data, image->width,
                           image->height);
    } else {
      begun->unpacking.emplace(begun->form, begun->packed.get(), begun->packed_length,
                               begun->destination);
    }
  }
  const size_t pixels = bytes / sizeof(uint32_t);
  Progress progress = Progress::done;
  if (begun->bands) progress = begun->bands->go_on(pixels);
  if (begun->unpacking) progress = begun->unpacking->go_on(pixels);
  if (progress != Progress::done) return progress;
  begun->bands.reset();
  begun->unpacking.reset();
  return progress;
}

Progress go_on(QomUncompression *begun, size_t bytes) {
  const Progress progress = go_on_exactly(begun, bytes);
  if (progress != Progress::done || !begun->stills) return progress;
  return begun->stills->go_on(bytes);
}

// The pixels, without a pause.
template <typename Record>
Record *whole(const UncompressionPtr &begun) {
  return begun && go_on(begun.get(), SIZE_MAX) == Progress::done
             ? reinterpret_cast<Record *>(begun->record.release())
             : nullptr;
}

}  // namespace
}  // namespace qom

using namespace qom;

extern "C" {

QomImage *qom_image_uncompress(const QomCompressedImage *compressed) {
  return whole<QomImage>(begin_image(compressed));
}

QomImageBlocks *qom_image_blocks_uncompress(const QomCompressedImageBlocks *compressed) {
  return whole<QomImageBlocks>(begin_blocks(compressed));
}

QomUncompression *qom_uncompression_begin(const void *compressed) {
  const auto *record = static_cast<const QomRecord *>(compressed);
  if (record && record->type == QOM_COMPRESSED_IMAGE)
    return begin_image(static_cast<const QomCompressedImage *>(compressed)).release();
  if (record && record->type == QOM_COMPRESSED_IMAGE_BLOCKS)
    return begin_blocks(static_cast<const QomCompressedImageBlocks *>(compressed)).release();
  return QOM_INVALID(nullptr, "a record without compressed pixels");
}

int qom_uncompression_go_on(QomUncompression *uncompression, size_t bytes, QomRecord **pixels) {
  const Progress progress = go_on(uncompression, bytes);
  if (progress == Progress::paused) return 0;
  if (progress == Progress::failed) return -1;
  *pixels = uncompression->record.release();
  return 1;
}

void qom_uncompression_end(QomUncompression *uncompression) {
  delete uncompression;
}

}  // extern "C"
