#include "file/payload.h"

#include <cerrno>
#include <cstring>

#include "base/bytes.h"
#include "base/error.h"
#include "base/records.h"
#include "pixels/cursor_packing.h"
#include "pixels/pixel_format.h"

namespace qom {
namespace {

// What a payload consists of: fixed fields, then the rest; compressed pixels carry their codec
// in front in memory and in the frame's head in the file.
struct Shape {
  uint32_t fixed;
  uint32_t prefix;  // bytes in memory before the rest
  bool rest;        // pixels, blocks, texts or a header follow
};

constexpr Shape no_payload = {0, 0, false};
constexpr Shape text_payload = {0, 0, true};
constexpr uint32_t geometry_bytes = 12;
constexpr uint32_t cursor_geometry_bytes = 16;

Shape shape_of(uint8_t type) {
  switch (type) {
    case QOM_IMAGE:
      return {geometry_bytes, 0, true};
    case QOM_COMPRESSED_IMAGE:
      return {geometry_bytes, 1, true};
    case QOM_CURSOR_IMAGE:
      return {cursor_geometry_bytes, 0, true};
    case QOM_CURSOR_POSITION:
    case QOM_SCREEN_CHANGE:
      return {4, 0, false};
    case QOM_IMAGE_BLOCKS:
    case QOM_COPY_AREA:
      return {0, 0, true};
    case QOM_COMPRESSED_IMAGE_BLOCKS:
      return {0, 1, true};
    case QOM_HEADER:
    case QOM_LAST_INPUT:
      return text_payload;
    default:
      return is_footer_type(type) ? text_payload : no_payload;
  }
}

bool has_pixels(uint8_t type) {
  return type == QOM_IMAGE || type == QOM_COMPRESSED_IMAGE || type == QOM_CURSOR_IMAGE ||
         type == QOM_IMAGE_BLOCKS || type == QOM_COMPRESSED_IMAGE_BLOCKS;
}

bool check_codec(uint8_t type, uint8_t codec) {
  switch (type) {
    case QOM_COMPRESSED_IMAGE:
      return (codec >= codec_zstd && codec <= codec_zstd_packed) || codec == codec_lossy;
    case QOM_COMPRESSED_IMAGE_BLOCKS:
      return codec == codec_zstd || codec == codec_zstd_packed || codec == codec_lossy;
    case QOM_CURSOR_IMAGE:
      return codec == codec_stored || codec == codec_zstd;
    default:
      return codec == codec_stored;
  }
}

bool refuse_text(const char *reason) {
  set_error("%s", reason);
  return false;
}

// --- to the file -----------------------------------------------------------------------------

void add_part(EncodedPayload *payload, const void *data, size_t length) {
  if (length == 0) return;
  payload->parts[payload->part_count++] = {const_cast<void *>(data), length};
  payload->length += static_cast<uint32_t>(length);
}

// Bytes of the scratch memory, as a part of their own.
ByteWriter add_scratch(EncodedPayload *payload, uint8_t length) {
  uint8_t *bytes = payload->scratch + payload->scratch_used;
  payload->scratch_used = static_cast<uint8_t>(payload->scratch_used + length);
  add_part(payload, bytes, length);
  return ByteWriter(bytes);
}

bool add_text(EncodedPayload *payload, const char *text) {
  const size_t length = text ? std::strlen(text) : 0;
  if (length > QOM_MAX_TEXT) {
    set_error("a text of %zu bytes is longer than %u", length, QOM_MAX_TEXT);
    return false;
  }
  add_scratch(payload, 4).put(text ? static_cast<uint32_t>(length) : absent_text);
  add_part(payload, text, length);
  return true;
}

bool check_image(uint16_t width, uint16_t height, PixelFormat pixel_format, uint8_t scanline_pad,
                 uint32_t length, const ImageFormat &format) {
  if (pixel_format != format.pixel_format || scanline_pad != format.scanline_pad) {
    set_error("an image of format %s with padding %u in a recording of %s with padding %u",
              pixel_format_string(pixel_format), scanline_pad,
              pixel_format_string(format.pixel_format), format.scanline_pad);
    return false;
  }
  const uint64_t needed = image_bytes(width, height, pixel_format, scanline_pad);
  if (needed == 0) {
    set_error("an image of %ux%u pixels is not allowed", width, height);
    return false;
  }
  if (needed != length) {
    set_error("an image of %ux%u pixels with %u bytes instead of %llu", width, height, length,
              static_cast<unsigned long long>(needed));
    return false;
  }
  return true;
}

template <typename Image>
void add_geometry(EncodedPayload *payload, const Image *image) {
  add_scratch(payload, geometry_bytes)
      .put(image->width)
      .put(image->height)
      .put(image->x)
      .put(image->y)
      .put(static_cast<uint8_t>(image->pixel_format))
      .put(image->scanline_pad)
      .put(uint16_t{0});
}

bool encode_image(const QomImage *image, const ImageFormat &format, EncodedPayload *payload) {
  if (!check_image(image->width, image->height, image->pixel_format, image->scanline_pad,
                   image->length, format))
    return false;
  if (image->length / image->height != image->bytes_per_line)
    return refuse_text("an image whose bytes per line are not those of its width");
  if (!image->data) return refuse_text("an image without pixels");
  add_geometry(payload, image);
  add_part(payload, image->data, image->length);
  payload->raw_length = image->length;
  return true;
}

// Compressed bytes begin with their codec in memory; in the file it stands in the frame's head.
bool encode_compressed(uint8_t type, const uint8_t *data, uint32_t compressed_length,
                       uint32_t length, EncodedPayload *payload) {
  if (!data || compressed_length < 2 || !check_codec(type, data[0]))
    return refuse_text("compressed bytes of no known codec");
  payload->codec = data[0];
  payload->raw_length = length;
  add_part(payload, data + 1, compressed_length - 1);
  return true;
}

bool encode_compressed_image(const QomCompressedImage *image, const ImageFormat &format,
                             EncodedPayload *payload) {
  if (!check_image(image->width, image->height, image->pixel_format, image->scanline_pad,
                   image->length, format))
    return false;
  if (image->compressed_length > max_payload_bytes - geometry_bytes)
    return refuse_text("too many compressed bytes");
  add_geometry(payload, image);
  return encode_compressed(QOM_COMPRESSED_IMAGE, image->data, image->compressed_length,
                           image->length, payload);
}

bool check_cursor(const QomCursorImage *cursor) {
  if (cursor->width == 0 || cursor->width > QOM_MAX_CURSOR_SIDE || cursor->height == 0 ||
      cursor->height > QOM_MAX_CURSOR_SIDE) {
    set_error("a cursor of %ux%u pixels is not allowed", cursor->width, cursor->height);
    return false;
  }
  if (cursor->xhot > cursor->width || cursor->yhot > cursor->height)
    return refuse_text("a cursor whose hot spot lies outside of it");
  if (cursor->length != uint32_t{cursor->width} * cursor->height * 4)
    return refuse_text("a cursor whose pixels are not those of its size");
  return true;
}

bool encode_cursor(const QomCursorImage *cursor, EncodedPayload *payload) {
  if (!check_cursor(cursor)) return false;
  if (!cursor->data) return refuse_text("a cursor without pixels");
  add_scratch(payload, cursor_geometry_bytes)
      .put(cursor->width)
      .put(cursor->height)
      .put(cursor->x)
      .put(cursor->y)
      .put(cursor->xhot)
      .put(cursor->yhot)
      .put(cursor->cursor_serial);
  size_t packed_length = 0;
  payload->packed = pack_cursor(cursor, &packed_length);
  if (payload->packed) {
    payload->codec = codec_zstd;
    add_part(payload, payload->packed.get(), packed_length);
  } else {
    add_part(payload, cursor->data, cursor->length);
  }
  payload->raw_length = cursor->length;
  return true;
}

bool encode_blocks(const QomImageBlocks *blocks, const ImageFormat &format,
                   EncodedPayload *payload) {
  if (blocks->length > QOM_MAX_DATA) return refuse_text("too many bytes of image blocks");
  if (blocks->length > 0 && !blocks->data) return refuse_text("image blocks without pixels");
  QomHeader header = {};
  header.pixel_format = format.pixel_format;
  header.scanline_pad = format.scanline_pad;
  QomImage image;
  size_t offset = 0;
  int step;
  while ((step = qom_image_blocks_next(blocks, &header, &offset, &image)) == 1) continue;
  if (step < 0) return false;
  add_part(payload, blocks->data, blocks->length);
  payload->raw_length = blocks->length;
  return true;
}

bool encode_compressed_blocks(const QomCompressedImageBlocks *blocks, EncodedPayload *payload) {
  if (blocks->length > QOM_MAX_DATA || blocks->compressed_length > max_payload_bytes)
    return refuse_text("too many bytes of image blocks");
  return encode_compressed(QOM_COMPRESSED_IMAGE_BLOCKS, blocks->data, blocks->compressed_length,
                           blocks->length, payload);
}

// All targets together; 0 with the reason when a copy breaks a rule.
uint32_t copied_bytes(const QomCopy *copies, uint32_t count, const ImageFormat &format) {
  uint64_t pixels = 0;
  if (count == 0 || count > QOM_MAX_COPIES)
    return QOM_REFUSE(0, "%u areas to copy, not 1 to %u", count, QOM_MAX_COPIES);
  for (uint32_t i = 0; i < count; ++i) {
    const QomCopy &copy = copies[i];
    if (copy.width == 0 || copy.width > QOM_MAX_SIDE || copy.height == 0 ||
        copy.height > QOM_MAX_SIDE)
      return QOM_REFUSE(0, "an area of %ux%u pixels to copy is not allowed", copy.width,
                        copy.height);
    pixels += uint64_t{copy.width} * copy.height;
  }
  const uint64_t bytes = pixels * pixel_format_bytes_per_pixel(format.pixel_format);
  if (bytes > QOM_MAX_DATA) return QOM_REFUSE(0, "too many bytes of pixels to copy");
  return static_cast<uint32_t>(bytes);
}

bool encode_copies(const QomCopyArea *area, const ImageFormat &format, EncodedPayload *payload) {
  if (!area->copies) return refuse_text("no areas to copy");
  payload->raw_length = copied_bytes(area->copies, area->count, format);
  if (payload->raw_length == 0) return false;
  add_part(payload, area->copies, area->count * sizeof(QomCopy));
  return true;
}

// --- from the file ---------------------------------------------------------------------------

// Cuts texts out of the bytes behind a record, in place. A text's terminator falls on the
// length of the next one, which has been read by then, or on the spare byte at the end.
class TextCutter {
 public:
  TextCutter(uint8_t *bytes, size_t length) : cursor_(bytes, length) {}

  bool cut(char **field) {
    const uint32_t length = cursor_.get<uint32_t>();
    terminate();
    *field = nullptr;
    if (!cursor_.ok()) return refuse_text("a text that is cut off");
    if (length == absent_text) return true;
    if (length > QOM_MAX_TEXT) return refuse_text("a text that is too long");
    const uint8_t *bytes = cursor_.take(length);
    if (!bytes) return refuse_text("a text that is longer than its record");
    if (length > 0 && std::memchr(bytes, 0, length)) return refuse_text("a text with a zero byte");
    *field = reinterpret_cast<char *>(const_cast<uint8_t *>(bytes));
    end_ = const_cast<uint8_t *>(bytes) + length;
    return true;
  }

  void terminate() {
    if (end_) *end_ = 0;
    end_ = nullptr;
  }

  size_t left() const { return cursor_.left(); }

 private:
  ByteReader cursor_;
  uint8_t *end_ = nullptr;
};

bool decode_texts(char **first, char **second, uint8_t *bytes, size_t length) {
  TextCutter texts(bytes, length);
  if (!texts.cut(first)) return false;
  if (second && !texts.cut(second)) return false;
  if (texts.left() > 0) return refuse_text("bytes behind the last text");
  texts.terminate();
  return true;
}

template <typename Image>
bool decode_geometry(Image *image, const uint8_t *fixed, const FrameHead &head,
                     const ImageFormat &format) {
  ByteReader cursor(fixed, geometry_bytes);
  image->width = cursor.get<uint16_t>();
  image->height = cursor.get<uint16_t>();
  image->x = cursor.get<int16_t>();
  image->y = cursor.get<int16_t>();
  image->pixel_format = to_pixel_format(cursor.get<uint8_t>());
  image->scanline_pad = cursor.get<uint8_t>();
  image->length = head.raw_length;
  return check_image(image->width, image->height, image->pixel_format, image->scanline_pad,
                     image->length, format);
}

}  // namespace

bool encode_header(const QomHeader *header, uint8_t version, EncodedPayload *payload) {
  add_scratch(payload, header_fixed_bytes)
      .put(header->timestamp)
      .put(header->depth)
      .put(header->scanline_pad)
      .put(static_cast<uint8_t>(header->pixel_format))
      .put(header->min_keycode)
      .put(header->max_keycode)
      .put(version)
      .put(header->palette_size)
      .put(header->width)
      .put(header->height);
  if (header->palette_size > 0 && !header->palette) return refuse_text("a palette without entries");
  add_part(payload, header->palette, header->palette_size * sizeof(RgbValue));
  return add_text(payload, header->user) && add_text(payload, header->tfn);
}

bool encode_payload(const void *record, const ImageFormat &format, EncodedPayload *payload) {
  const uint8_t type = static_cast<const QomRecord *>(record)->type;
  switch (type) {
    case QOM_DONE:
    case QOM_DEBUG:
      return true;
    case QOM_HEADER: {
      auto header = static_cast<const QomHeader *>(record);
      return check_header(header) && encode_header(header, header->version, payload);
    }
    case QOM_IMAGE:
      return encode_image(static_cast<const QomImage *>(record), format, payload);
    case QOM_COMPRESSED_IMAGE:
      return encode_compressed_image(static_cast<const QomCompressedImage *>(record), format,
                                     payload);
    case QOM_CURSOR_IMAGE:
      return encode_cursor(static_cast<const QomCursorImage *>(record), payload);
    case QOM_CURSOR_POSITION: {
      auto position = static_cast<const QomCursorPosition *>(record);
      add_scratch(payload, 4).put(position->x).put(position->y);
      return true;
    }
    case QOM_SCREEN_CHANGE: {
      auto change = static_cast<const QomScreenChange *>(record);
      add_scratch(payload, 4).put(change->width).put(change->height);
      return true;
    }
    case QOM_LAST_INPUT: {
      auto input = static_cast<const QomLastInput *>(record);
      return add_text(payload, input->user) && add_text(payload, input->tfn);
    }
    case QOM_IMAGE_BLOCKS:
      return encode_blocks(static_cast<const QomImageBlocks *>(record), format, payload);
    case QOM_COMPRESSED_IMAGE_BLOCKS:
      return encode_compressed_blocks(static_cast<const QomCompressedImageBlocks *>(record),
                                      payload);
    case QOM_COPY_AREA:
      return encode_copies(static_cast<const QomCopyArea *>(record), format, payload);
    default:
      if (is_footer_type(type))
        return add_text(payload, static_cast<const QomFooterItem *>(record)->item);
      set_error("no record type %u", type);
      return false;
  }
}

uint32_t payload_fixed_bytes(uint8_t type) {
  return shape_of(type).fixed;
}

bool check_record_head(const FrameHead &head) {
  const Shape shape = shape_of(head.type);
  if (!check_codec(head.type, head.codec)) return refuse_text("a codec that is not known");
  if (head.timestamp > QOM_MAX_TIME) return refuse_text("a time that is too large");
  if (head.stored_length < shape.fixed || (!shape.rest && head.stored_length > shape.fixed) ||
      head.stored_length > max_payload_bytes)
    return refuse_text("a length that does not fit the type of the record");
  if (head.raw_length > (has_pixels(head.type) || head.type == QOM_COPY_AREA ? QOM_MAX_DATA : 0))
    return refuse_text("more bytes of pixels than are allowed");
  if (has_pixels(head.type) && shape.prefix == 0 && head.codec == codec_stored &&
      head.stored_length - shape.fixed != head.raw_length)
    return refuse_text("stored pixels whose lengths disagree");
  return true;
}

QomRecord *record_for_payload(const FrameHead &head, uint8_t **rest, size_t *rest_length) {
  const Shape shape = shape_of(head.type);
  *rest_length = head.stored_length - shape.fixed;
  QomRecord *record = allocate_record(head.type, head.timestamp, shape.prefix + *rest_length);
  if (!record) return nullptr;
  *rest = record_data(record) + shape.prefix;
  return record;
}

void set_codec(QomRecord *record, const FrameHead &head) {
  if (shape_of(head.type).prefix > 0) record_data(record)[0] = head.codec;
}

bool decode_cursor_geometry(QomCursorImage *cursor, const FrameHead &head, const uint8_t *fixed) {
  ByteReader bytes(fixed, cursor_geometry_bytes);
  cursor->width = bytes.get<uint16_t>();
  cursor->height = bytes.get<uint16_t>();
  cursor->x = bytes.get<int16_t>();
  cursor->y = bytes.get<int16_t>();
  cursor->xhot = bytes.get<uint16_t>();
  cursor->yhot = bytes.get<uint16_t>();
  cursor->cursor_serial = bytes.get<uint32_t>();
  cursor->length = head.raw_length;
  return check_cursor(cursor);
}

namespace {

// The copies lie in the file as they do in memory.
bool decode_copies(QomCopyArea *area, const FrameHead &head, const ImageFormat &format,
                   uint8_t *data) {
  if (head.stored_length % sizeof(QomCopy) != 0) return refuse_text("an area that is cut off");
  area->count = static_cast<uint32_t>(head.stored_length / sizeof(QomCopy));
  area->copies = reinterpret_cast<QomCopy *>(data);
  const uint32_t bytes = copied_bytes(area->copies, area->count, format);
  if (bytes == 0) return false;
  return bytes == head.raw_length || refuse_text("areas to copy whose bytes are not those told");
}

// The types whose payload is pixels.
bool decode_pixels(QomRecord *record, const FrameHead &head, const uint8_t *fixed,
                   const ImageFormat &format, uint8_t *data, uint32_t data_length) {
  switch (head.type) {
    case QOM_IMAGE: {
      auto image = reinterpret_cast<QomImage *>(record);
      if (!decode_geometry(image, fixed, head, format)) return false;
      image->bytes_per_line = image->height > 0 ? image->length / image->height : 0;
      image->data = data;
      return true;
    }
    case QOM_COMPRESSED_IMAGE: {
      auto image = reinterpret_cast<QomCompressedImage *>(record);
      image->compressed_length = data_length;
      image->data = data;
      return decode_geometry(image, fixed, head, format);
    }
    case QOM_IMAGE_BLOCKS: {
      auto blocks = reinterpret_cast<QomImageBlocks *>(record);
      blocks->length = head.raw_length;
      blocks->data = data;
      return true;
    }
    case QOM_COMPRESSED_IMAGE_BLOCKS: {
      auto blocks = reinterpret_cast<QomCompressedImageBlocks *>(record);
      blocks->length = head.raw_length;
      blocks->compressed_length = data_length;
      blocks->data = data;
      return true;
    }
    default:
      reinterpret_cast<QomCursorImage *>(record)->data = data;
      return decode_cursor_geometry(reinterpret_cast<QomCursorImage *>(record), head, fixed);
  }
}

}  // namespace

bool decode_payload(QomRecord *record, const FrameHead &head, const uint8_t *fixed,
                    const ImageFormat &format) {
  const Shape shape = shape_of(head.type);
  uint8_t *data = record_data(record);
  const uint32_t data_length = shape.prefix + head.stored_length - shape.fixed;
  switch (head.type) {
    case QOM_HEADER: {
      auto header = reinterpret_cast<QomHeader *>(record);
      return decode_header(header, data_length) && check_header(header);
    }
    case QOM_IMAGE:
    case QOM_COMPRESSED_IMAGE:
    case QOM_IMAGE_BLOCKS:
    case QOM_COMPRESSED_IMAGE_BLOCKS:
    case QOM_CURSOR_IMAGE:
      return decode_pixels(record, head, fixed, format, data, data_length);
    case QOM_CURSOR_POSITION: {
      auto position = reinterpret_cast<QomCursorPosition *>(record);
      ByteReader cursor(fixed, shape.fixed);
      position->x = cursor.get<int16_t>();
      position->y = cursor.get<int16_t>();
      return true;
    }
    case QOM_SCREEN_CHANGE: {
      auto change = reinterpret_cast<QomScreenChange *>(record);
      ByteReader cursor(fixed, shape.fixed);
      change->width = cursor.get<uint16_t>();
      change->height = cursor.get<uint16_t>();
      return true;
    }
    case QOM_LAST_INPUT: {
      auto input = reinterpret_cast<QomLastInput *>(record);
      return decode_texts(&input->user, &input->tfn, data, data_length);
    }
    case QOM_COPY_AREA:
      return decode_copies(reinterpret_cast<QomCopyArea *>(record), head, format, data);
    default:
      if (!is_footer_type(head.type)) return true;
      return decode_texts(&reinterpret_cast<QomFooterItem *>(record)->item, nullptr, data,
                          data_length);
  }
}

bool decode_header(QomHeader *header, size_t length) {
  uint8_t *data = record_data(header);
  ByteReader cursor(data, length);
  const uint64_t timestamp = cursor.get<uint64_t>();
  header->depth = cursor.get<uint8_t>();
  header->scanline_pad = cursor.get<uint8_t>();
  header->pixel_format = to_pixel_format(cursor.get<uint8_t>());
  header->min_keycode = cursor.get<uint8_t>();
  header->max_keycode = cursor.get<uint8_t>();
  header->version = cursor.get<uint8_t>();
  header->palette_size = cursor.get<uint16_t>();
  header->width = cursor.get<uint16_t>();
  header->height = cursor.get<uint16_t>();
  const uint8_t *palette = cursor.take(header->palette_size * sizeof(RgbValue));
  if (!cursor.ok()) return refuse_text("a header that is cut off");
  header->timestamp = timestamp;
  if (header->palette_size > 0)
    header->palette = reinterpret_cast<RgbValue *>(const_cast<uint8_t *>(palette));
  const size_t used = header_fixed_bytes + header->palette_size * sizeof(RgbValue);
  TextCutter texts(data + used, length - used);
  if (!texts.cut(&header->user) || !texts.cut(&header->tfn)) return false;
  texts.terminate();
  return true;
}

bool check_header(const QomHeader *header) {
  const size_t bytes = pixel_format_bytes_per_pixel(header->pixel_format);
  if (bytes == 0) return refuse_text("an unknown pixel format");
  if (header->depth == 0 || header->depth > bytes * 8) {
    set_error("a depth of %u bits for %s", header->depth,
              pixel_format_string(header->pixel_format));
    return false;
  }
  if (!is_scanline_pad(header->scanline_pad)) {
    set_error("a scanline padding of %u bits (0, 8, 16 or 32 are allowed)", header->scanline_pad);
    return false;
  }
  if (image_bytes(header->width, header->height, header->pixel_format, header->scanline_pad) == 0) {
    set_error("a screen of %ux%u pixels is not allowed", header->width, header->height);
    return false;
  }
  if (header->timestamp > QOM_MAX_TIME) return refuse_text("a start time that is too large");
  return true;
}

}  // namespace qom
