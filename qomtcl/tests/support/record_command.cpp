/* qomtest::record: recordings made to measure. */

#include <qom/writer.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include "handles.h"
#include "support.h"

namespace {

struct Rectangle {
  int x, y, width, height;
  uint32_t seed;
};

/* The words of one Tcl list as numbers or texts; numbers that are none count as 0. */
class Words {
 public:
  Words(Tcl_Interp *interp, Tcl_Obj *list) {
    Tcl_Obj **objects = nullptr;
    int count = 0;
    if (Tcl_ListObjGetElements(interp, list, &count, &objects) == TCL_OK)
      words_.assign(objects, objects + count);
  }
  size_t size() const { return words_.size(); }
  Tcl_Obj *at(size_t i) const { return words_.at(i); }
  const char *text(size_t i) const { return Tcl_GetString(words_.at(i)); }
  int number(size_t i) const {
    Tcl_WideInt value = 0;
    Tcl_GetWideIntFromObj(nullptr, words_.at(i), &value);
    return static_cast<int>(value);
  }
  Rectangle rectangle(size_t i) const {
    return {number(i), number(i + 1), number(i + 2), number(i + 3),
            static_cast<uint32_t>(number(i + 4))};
  }

 private:
  std::vector<Tcl_Obj *> words_;
};

class Recording {
 public:
  Recording(Tcl_Interp *interp, const char *path, const QomHeader &header)
      : interp_(interp), header_(header), writer_(qom_writer_create(path, &header)) {}
  ~Recording() { qom_writer_close(writer_); }
  bool good() const { return writer_ != nullptr; }

  bool add(Tcl_Obj *list) {
    const Words words(interp_, list);
    if (words.size() == 0) return false;
    const std::string kind = words.text(0);
    if (kind == "at") return at(words.number(1));
    if (kind == "image") return image(words.rectangle(1), true);
    if (kind == "plain") return image(words.rectangle(1), false);
    if (kind == "blocks") return blocks(words, 1, 0);
    if (kind == "overrun") return blocks(words, 2, words.number(1));
    if (kind == "garbage") return garbage(words.number(1), words.number(2));
    if (kind == "screen") return screen(words.number(1), words.number(2));
    if (kind == "cursor") return cursor(words);
    if (kind == "position") return position(words.number(1), words.number(2));
    if (kind == "input") return input(words.text(1), words.text(2));
    if (kind == "done") return done();
    if (kind == "begin") return qom_writer_begin_checkpoint(writer_) == 0;
    if (kind == "end") return qom_writer_end_checkpoint(writer_) == 0;
    return footer(kind, words.size() > 1 ? words.text(1) : nullptr);
  }

 private:
  bool at(int microseconds) {
    time_ = header_.timestamp + static_cast<uint64_t>(microseconds);
    return true;
  }
  bool append(const void *record) { return qom_writer_append(writer_, record) == 0; }

  std::vector<uint8_t> pixels(Rectangle r) const {
    const size_t bytes = pixel_format_bytes_per_pixel(header_.pixel_format);
    const size_t stride = stride_in_bytes(static_cast<uint32_t>(r.width),
                                          static_cast<uint8_t>(bytes * 8), header_.scanline_pad);
    std::vector<uint8_t> data(stride * static_cast<size_t>(r.height));
    for (int y = 0; y < r.height; ++y)
      for (int x = 0; x < r.width; ++x) {
        const uint32_t pixel = pattern_pixel(r.seed, x, y);
        memcpy(&data[static_cast<size_t>(y) * stride + static_cast<size_t>(x) * bytes], &pixel,
               bytes);
      }
    return data;
  }

  bool image(Rectangle r, bool compressed) {
    std::vector<uint8_t> data = pixels(r);
    QomImage image{};
    image.type = QOM_IMAGE;
    image.timestamp = time_;
    image.x = static_cast<int16_t>(r.x);
    image.y = static_cast<int16_t>(r.y);
    image.width = static_cast<uint16_t>(r.width);
    image.height = static_cast<uint16_t>(r.height);
    image.pixel_format = header_.pixel_format;
    image.scanline_pad = header_.scanline_pad;
    image.bytes_per_line = static_cast<uint32_t>(data.size()) / image.height;
    image.length = static_cast<uint32_t>(data.size());
    image.data = data.data();
    if (!compressed) return append(&image);
    const RecordHandle<QomCompressedImage> record(qom_image_compress(&image));
    return record && append(record.get());
  }

  void add_block(std::vector<uint8_t> *data, Rectangle r) const {
    const uint16_t head[] = {static_cast<uint16_t>(r.x), static_cast<uint16_t>(r.y),
                             static_cast<uint16_t>(r.width), static_cast<uint16_t>(r.height)};
    const auto *bytes = reinterpret_cast<const uint8_t *>(head);
    data->insert(data->end(), bytes, bytes + sizeof head);
    const std::vector<uint8_t> rows = pixels(r);
    data->insert(data->end(), rows.begin(), rows.end());
  }

  bool blocks(const Words &words, size_t first, int missing) {
    std::vector<uint8_t> data;
    for (size_t i = first; i < words.size(); ++i)
      add_block(&data, Words(interp_, words.at(i)).rectangle(0));
    data.resize(data.size() - static_cast<size_t>(missing));
    QomImageBlocks record{};
    record.type = QOM_IMAGE_BLOCKS;
    record.timestamp = time_;
    record.length = static_cast<uint32_t>(data.size());
    record.data = data.data();
    const RecordHandle<QomCompressedImageBlocks> compressed(qom_image_blocks_compress(&record));
    return compressed && append(compressed.get());
  }

  /* Says more bytes than it decompresses to. */
  bool garbage(int width, int height) {
    uint8_t data[] = {1, 2, 3, 4};
    QomCompressedImage record{};
    record.type = QOM_COMPRESSED_IMAGE;
    record.timestamp = time_;
    record.width = static_cast<uint16_t>(width);
    record.height = static_cast<uint16_t>(height);
    record.pixel_format = header_.pixel_format;
    record.scanline_pad = header_.scanline_pad;
    record.length = static_cast<uint32_t>(pixels({0, 0, width, height, 0}).size());
    record.compressed_length = sizeof data;
    record.data = data;
    return append(&record);
  }

  bool screen(int width, int height) {
    QomScreenChange record{};
    record.type = QOM_SCREEN_CHANGE;
    record.timestamp = time_;
    record.width = static_cast<uint16_t>(width);
    record.height = static_cast<uint16_t>(height);
    return append(&record);
  }

  /* A quarter transparent, a quarter opaque, the rest in between; colours times alpha. */
  static uint32_t cursor_pixel(uint32_t noise) {
    const uint32_t kind = noise >> 24 & 3;
    const uint32_t alpha = kind == 0 ? 0 : kind == 1 ? 255 : noise >> 24;
    uint32_t pixel = alpha << 24;
    for (unsigned shift = 0; shift < 24; shift += 8)
      pixel |= (noise >> shift & 255) * alpha / 255 << shift;
    return pixel;
  }

  bool cursor(const Words &words) {
    QomCursorImage record{};
    record.type = QOM_CURSOR_IMAGE;
    record.timestamp = time_;
    record.width = static_cast<uint16_t>(words.number(1));
    record.height = static_cast<uint16_t>(words.number(2));
    record.x = static_cast<int16_t>(words.number(3));
    record.y = static_cast<int16_t>(words.number(4));
    record.xhot = static_cast<uint16_t>(words.number(5));
    record.yhot = static_cast<uint16_t>(words.number(6));
    std::vector<uint32_t> data(static_cast<size_t>(record.width) * record.height);
    for (size_t i = 0; i < data.size(); ++i)
      data[i] = cursor_pixel(pattern_pixel(static_cast<uint32_t>(words.number(7)),
                                           static_cast<int>(i % record.width),
                                           static_cast<int>(i / record.width)));
    record.length = static_cast<uint32_t>(data.size() * 4);
    record.data = reinterpret_cast<uint8_t *>(data.data());
    return append(&record);
  }

  bool position(int x, int y) {
    QomCursorPosition record{};
    record.type = QOM_CURSOR_POSITION;
    record.timestamp = time_;
    record.x = static_cast<int16_t>(x);
    record.y = static_cast<int16_t>(y);
    return append(&record);
  }

  bool input(const char *user, const char *tfn) {
    QomLastInput record{};
    record.type = QOM_LAST_INPUT;
    record.timestamp = time_;
    record.user = const_cast<char *>(user);
    record.tfn = const_cast<char *>(tfn);
    return append(&record);
  }

  bool footer(const std::string &kind, const char *text) {
    const struct {
      const char *name;
      QomRecordType type;
    } types[] = {{"app", QOM_FOOTER_ITEM_APP},   {"appfmt", QOM_FOOTER_ITEM_APPFMT},
                 {"host", QOM_FOOTER_ITEM_HOST}, {"ip", QOM_FOOTER_ITEM_IP},
                 {"sid", QOM_FOOTER_ITEM_SID},   {"tid", QOM_FOOTER_ITEM_TID}};
    for (const auto &type : types) {
      if (kind != type.name) continue;
      QomFooterItem record{};
      record.type = static_cast<uint8_t>(type.type);
      record.timestamp = time_;
      record.item = const_cast<char *>(text);
      return append(&record);
    }
    errno = EINVAL;
    return false;
  }

  bool done() {
    QomRecord record{};
    record.type = QOM_DONE;
    record.timestamp = time_;
    return append(&record);
  }

  Tcl_Interp *interp_;
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

uint32_t pattern_pixel(uint32_t seed, int x, int y) {
  uint32_t noise = seed * 2654435761u + static_cast<uint32_t>(x / 5) * 40503u +
                   static_cast<uint32_t>(y / 3) * 65599u;
  noise ^= noise >> 13;
  noise *= 2246822519u;
  return noise ^ (noise >> 16);
}

int record_command(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) {
  QomHeader header{};
  header.timestamp = 1700000000000000;
  header.depth = 24;
  header.pixel_format = xRGB8888;
  header.scanline_pad = 32;
  std::vector<RgbValue> colours;
  int i = 2;
  for (; i + 1 < objc && Tcl_GetString(objv[i])[0] == '-'; i += 2) {
    const std::string option = Tcl_GetString(objv[i]);
    int number = 0;
    Tcl_GetIntFromObj(nullptr, objv[i + 1], &number);
    if (option == "-format") header.pixel_format = format_named(Tcl_GetString(objv[i + 1]));
    if (option == "-pad") header.scanline_pad = static_cast<uint8_t>(number);
    if (option == "-palette") colours.resize(static_cast<size_t>(number));
  }
  for (size_t entry = 0; entry < colours.size(); ++entry)
    colours[entry] = {static_cast<uint16_t>(entry * 7), static_cast<uint16_t>(entry * 11),
                      static_cast<uint16_t>(entry * 13), 0};
  header.palette = colours.data();
  header.palette_size = static_cast<uint16_t>(colours.size());
  header.depth = static_cast<uint8_t>(8 * pixel_format_bytes_per_pixel(header.pixel_format));
  if (header.depth == 32) header.depth = 24;
  int width = 0;
  int height = 0;
  if (i + 2 > objc || Tcl_GetIntFromObj(interp, objv[i], &width) != TCL_OK ||
      Tcl_GetIntFromObj(interp, objv[i + 1], &height) != TCL_OK)
    return TCL_ERROR;
  header.width = static_cast<uint16_t>(width);
  header.height = static_cast<uint16_t>(height);
  Recording recording(interp, Tcl_GetString(objv[1]), header);
  if (!recording.good()) return failed(interp, "create");
  for (i += 2; i < objc; ++i)
    if (!recording.add(objv[i])) return failed(interp, Tcl_GetString(objv[i]));
  return TCL_OK;
}
