/* qomtest::record: recordings made to measure. */

#include <qom/writer.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "handles.h"
#include "support.h"

namespace {

/* As wide as the field that it is assigned to. */
struct Number {
  Tcl_WideInt value = 0;
  template <class Type>
  operator Type() const {
    return static_cast<Type>(value);
  }
};

/* The words of one Tcl list as numbers or texts; numbers that are none count as 0. */
class Words {
 public:
  Words(int count, Tcl_Obj *const objects[]) : words_(objects, objects + count) {}
  explicit Words(Tcl_Obj *list) {
    Tcl_Obj **objects = nullptr;
    int count = 0;
    if (Tcl_ListObjGetElements(nullptr, list, &count, &objects) == TCL_OK)
      words_.assign(objects, objects + count);
  }
  size_t size() const { return words_.size(); }
  Tcl_Obj *at(size_t i) const { return words_.at(i); }
  char *text(size_t i) const { return i < size() ? Tcl_GetString(words_[i]) : nullptr; }
  Number operator[](size_t i) const {
    Number number;
    Tcl_GetWideIntFromObj(nullptr, words_.at(i), &number.value);
    return number;
  }

 private:
  std::vector<Tcl_Obj *> words_;
};

/* Pixel x, y of a picture drawn from a seed: cells of a few pixels, so that scaling shows. */
uint32_t pattern_pixel(uint32_t seed, uint32_t x, uint32_t y) {
  uint32_t noise = seed * 2654435761u + x / 5 * 40503u + y / 3 * 65599u;
  noise ^= noise >> 13;
  noise *= 2246822519u;
  return noise ^ (noise >> 16);
}

/* A quarter transparent, a quarter opaque, the rest in between; colours times alpha. */
uint32_t cursor_pixel(uint32_t noise) {
  const uint32_t kind = noise >> 24 & 3;
  const uint32_t alpha = kind == 0 ? 0 : kind == 1 ? 255 : noise >> 24;
  uint32_t pixel = alpha << 24;
  for (unsigned shift = 0; shift < 24; shift += 8)
    pixel |= (noise >> shift & 255) * alpha / 255 << shift;
  return pixel;
}

class Recording {
 public:
  Recording(const char *path, const QomHeader &header)
      : header_(header), writer_(qom_writer_create(path, &header)) {}
  ~Recording() { qom_writer_close(writer_); }
  bool good() const { return writer_ != nullptr; }

  bool add(Tcl_Obj *list) {
    const Words words(list);
    if (words.size() == 0) return false;
    const std::string kind = words.text(0);
    if (kind == "at") {
      time_ = header_.timestamp + static_cast<uint64_t>(words[1]);
      return true;
    }
    if (kind == "image" || kind == "plain" || kind == "garbage") return image(kind, words);
    if (kind == "blocks") return blocks(words, 1, 0);
    if (kind == "overrun") return blocks(words, 2, words[1]);
    if (kind == "screen")
      return append(QomScreenChange{QOM_SCREEN_CHANGE, time_, words[1], words[2]});
    if (kind == "cursor") return cursor(words);
    if (kind == "position")
      return append(QomCursorPosition{QOM_CURSOR_POSITION, time_, words[1], words[2]});
    if (kind == "input")
      return append(QomLastInput{QOM_LAST_INPUT, time_, words.text(1), words.text(2)});
    if (kind == "done") return append(QomRecord{QOM_DONE, time_});
    if (kind == "begin") return qom_writer_begin_checkpoint(writer_) == 0;
    if (kind == "end") return qom_writer_end_checkpoint(writer_) == 0;
    return footer(kind, words.text(1));
  }

 private:
  template <class Record>
  bool append(const Record &record) {
    return qom_writer_append(writer_, &record) == 0;
  }

  /* The rectangle that five words describe, without its pixels. */
  QomImage rectangle(const Words &words, size_t first) const {
    QomImage image{QOM_IMAGE,
                   time_,
                   words[first + 2],
                   words[first + 3],
                   words[first],
                   words[first + 1],
                   header_.pixel_format,
                   header_.scanline_pad,
                   0,
                   0,
                   nullptr};
    const size_t bits = 8 * pixel_format_bytes_per_pixel(header_.pixel_format);
    image.bytes_per_line =
        stride_in_bytes(image.width, static_cast<uint8_t>(bits), header_.scanline_pad);
    image.length = image.bytes_per_line * image.height;
    return image;
  }

  static void add_pixels(const QomImage &image, uint32_t seed, std::vector<uint8_t> *data) {
    const size_t bytes = pixel_format_bytes_per_pixel(image.pixel_format);
    const size_t first = data->size();
    data->resize(first + image.length);
    for (uint32_t y = 0; y < image.height; ++y)
      for (uint32_t x = 0; x < image.width; ++x) {
        const uint32_t pixel = pattern_pixel(seed, x, y);
        memcpy(&(*data)[first + size_t{y} * image.bytes_per_line + x * bytes], &pixel, bytes);
      }
  }

  bool image(const std::string &kind, const Words &words) {
    QomImage image = rectangle(words, 1);
    std::vector<uint8_t> data;
    add_pixels(image, words[5], &data);
    image.data = data.data();
    if (kind == "plain") return append(image);
    const RecordHandle<QomCompressedImage> record(qom_image_compress(&image));
    if (!record) return false;
    if (kind == "garbage") memcpy(record->data, "\1\2\3\4", record->compressed_length = 4);
    return append(*record);
  }

  bool blocks(const Words &words, size_t first, uint32_t missing) {
    std::vector<uint8_t> data;
    for (size_t i = first; i < words.size(); ++i) {
      const Words block(words.at(i));
      const uint16_t head[] = {block[0], block[1], block[2], block[3]};
      const auto *bytes = reinterpret_cast<const uint8_t *>(head);
      data.insert(data.end(), bytes, bytes + sizeof head);
      add_pixels(rectangle(block, 0), block[4], &data);
    }
    const QomImageBlocks record{QOM_IMAGE_BLOCKS, time_,
                                static_cast<uint32_t>(data.size()) - missing, data.data()};
    const RecordHandle<QomCompressedImageBlocks> compressed(qom_image_blocks_compress(&record));
    return compressed && append(*compressed);
  }

  bool cursor(const Words &words) {
    const uint32_t width = words[1], height = words[2];
    std::vector<uint32_t> data;
    for (uint32_t y = 0; y < height; ++y)
      for (uint32_t x = 0; x < width; ++x)
        data.push_back(cursor_pixel(pattern_pixel(words[7], x, y)));
    return append(QomCursorImage{QOM_CURSOR_IMAGE, time_, words[1], words[2], words[3], words[4],
                                 words[5], words[6], 0, width * height * 4,
                                 reinterpret_cast<uint8_t *>(data.data())});
  }

  bool footer(const std::string &kind, char *text) {
    static const std::map<std::string, uint8_t> types = {
        {"app", QOM_FOOTER_ITEM_APP},   {"appfmt", QOM_FOOTER_ITEM_APPFMT},
        {"host", QOM_FOOTER_ITEM_HOST}, {"ip", QOM_FOOTER_ITEM_IP},
        {"sid", QOM_FOOTER_ITEM_SID},   {"tid", QOM_FOOTER_ITEM_TID}};
    errno = EINVAL;
    const auto type = types.find(kind);
    return type != types.end() && append(QomFooterItem{type->second, time_, text});
  }

  QomHeader header_;
  QomWriter *writer_;
  uint64_t time_ = header_.timestamp;
};

PixelFormat format_named(const char *name) {
  for (int i = FORMAT_UNKNOWN; i <= BGRA8888; ++i)
    if (strcmp(pixel_format_string(static_cast<PixelFormat>(i)), name) == 0)
      return static_cast<PixelFormat>(i);
  return FORMAT_UNKNOWN;
}

int failed(Tcl_Interp *interp, const char *what) {
  Tcl_SetObjResult(interp, Tcl_ObjPrintf("%s: %s (%s)", what, qom_reader_error(), strerror(errno)));
  return TCL_ERROR;
}

}  // namespace

int record_command(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) {
  const Words words(objc, objv);
  QomHeader header{};
  header.timestamp = 1700000000000000;
  header.pixel_format = xRGB8888;
  header.scanline_pad = 32;
  std::vector<RgbValue> colours;
  size_t i = 2;
  for (; i + 3 < words.size() && words.text(i)[0] == '-'; i += 2) {
    const std::string option = words.text(i);
    if (option == "-format") header.pixel_format = format_named(words.text(i + 1));
    if (option == "-pad") header.scanline_pad = words[i + 1];
    if (option == "-palette") colours.resize(words[i + 1]);
  }
  for (size_t entry = 0; entry < colours.size(); ++entry)
    colours[entry] = {static_cast<uint16_t>(entry * 7), static_cast<uint16_t>(entry * 11),
                      static_cast<uint16_t>(entry * 13), 0};
  header.palette = colours.data();
  header.palette_size = static_cast<uint16_t>(colours.size());
  const size_t bytes = pixel_format_bytes_per_pixel(header.pixel_format);
  header.depth = static_cast<uint8_t>(8 * std::min<size_t>(bytes, 3));
  if (i + 2 > words.size()) return TCL_ERROR;
  header.width = words[i];
  header.height = words[i + 1];
  Recording recording(words.text(1), header);
  if (!recording.good()) return failed(interp, "create");
  for (i += 2; i < words.size(); ++i)
    if (!recording.add(words.at(i))) return failed(interp, words.text(i));
  return TCL_OK;
}
