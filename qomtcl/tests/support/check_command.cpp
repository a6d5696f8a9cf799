/*
 * qomtest::check: the window against a picture computed here, pixel by pixel from the
 * records, with nothing of the view's own code but the window it names.
 */

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "handles.h"
#include "support.h"

namespace {

/* A field of a pixel: shift and width in bits. */
struct Field {
  unsigned shift, bits;
};
struct Fields {
  Field red, green, blue;
};

Fields fields_of(PixelFormat format) {
  switch (format) {
    case RGB332:
      return {{5, 3}, {2, 3}, {0, 2}};
    case BGR233:
      return {{0, 3}, {3, 3}, {6, 2}};
    case RGB565:
      return {{11, 5}, {5, 6}, {0, 5}};
    case BGR565:
      return {{0, 5}, {5, 6}, {11, 5}};
    case xRGB8888:
      return {{16, 8}, {8, 8}, {0, 8}};
    case xBGR8888:
      return {{0, 8}, {8, 8}, {16, 8}};
    case RGBx8888:
      return {{24, 8}, {16, 8}, {8, 8}};
    default:
      return {{8, 8}, {16, 8}, {24, 8}}; /* BGRx8888 */
  }
}

/* Bits from the top, repeated: 101 becomes 10110110. */
unsigned widened(unsigned value, unsigned bits) {
  unsigned result = 0;
  for (unsigned i = 0; i < 8; ++i) result = result << 1 | ((value >> (bits - 1 - i % bits)) & 1);
  return result;
}

unsigned channel(uint32_t pixel, Field field) {
  return widened((pixel >> field.shift) & ((1u << field.bits) - 1), field.bits);
}

Field field_of(unsigned long mask) {
  return {static_cast<unsigned>(ffsl(static_cast<long>(mask)) - 1),
          static_cast<unsigned>(__builtin_popcountl(mask))};
}

unsigned long place(unsigned value, unsigned long mask) {
  const Field field = field_of(mask);
  return static_cast<unsigned long>(value >> (8 - field.bits)) << field.shift;
}

struct Target {
  unsigned long red, green, blue;
  unsigned bytes; /* per pixel */
  pixman_format_code_t format;
  explicit Target(const XImage *image)
      : red(image->red_mask),
        green(image->green_mask),
        blue(image->blue_mask),
        bytes(static_cast<unsigned>(image->bits_per_pixel) / 8),
        format(bytes == 2 ? (red > blue ? PIXMAN_r5g6b5 : PIXMAN_b5g6r5)
                          : (red > blue ? PIXMAN_x8r8g8b8 : PIXMAN_x8b8g8r8)) {}
  unsigned long colour_bits() const { return red | green | blue; }
  unsigned long pixel(unsigned r, unsigned g, unsigned b) const {
    return place(r, red) | place(g, green) | place(b, blue);
  }
};

/* Pixels in the target's format, row after row. */
struct Picture {
  int width = 0;
  int height = 0;
  std::vector<unsigned long> pixels;

  Picture(int w, int h) : width(w), height(h), pixels(static_cast<size_t>(w) * h) {}
  unsigned long &at(int x, int y) { return pixels[static_cast<size_t>(y) * width + x]; }
  unsigned long at(int x, int y) const { return pixels[static_cast<size_t>(y) * width + x]; }
  bool has(int x, int y) const { return x >= 0 && y >= 0 && x < width && y < height; }
};

/* The remote cursor as the records say, anywhere on or beside the frame. */
struct Cursor {
  int x = 0, y = 0; /* of its top-left corner */
  int xhot = 0, yhot = 0;
  int width = 0, height = 0;
  std::vector<uint32_t> pixels;

  Cursor() = default;
  explicit Cursor(const QomCursorImage *record)
      : x(record->x - record->xhot),
        y(record->y - record->yhot),
        xhot(record->xhot),
        yhot(record->yhot),
        width(record->width),
        height(record->height),
        pixels(static_cast<size_t>(width) * height) {
    memcpy(pixels.data(), record->data, pixels.size() * 4);
  }
  void move(const QomCursorPosition *record) {
    x = record->x - xhot;
    y = record->y - yhot;
  }
  /* What of it lies on the frame. */
  XRectangle visible(const Picture &frame) const {
    const int x1 = std::clamp(x, 0, frame.width), x2 = std::clamp(x + width, 0, frame.width);
    const int y1 = std::clamp(y, 0, frame.height), y2 = std::clamp(y + height, 0, frame.height);
    return {static_cast<short>(x1), static_cast<short>(y1), static_cast<unsigned short>(x2 - x1),
            static_cast<unsigned short>(y2 - y1)};
  }
};

unsigned blended(unsigned below, uint32_t over, unsigned shift) {
  return ((over >> shift & 255) + (below * (255 - (over >> 24)) + 127) / 255) & 255;
}

/* The frame with the cursor in it. */
Picture with_cursor(Picture frame, const Cursor &cursor, const Target &target) {
  for (int row = 0; row < cursor.height; ++row)
    for (int column = 0; column < cursor.width; ++column) {
      const int x = cursor.x + column, y = cursor.y + row;
      if (!frame.has(x, y)) continue;
      const auto below = static_cast<uint32_t>(frame.at(x, y));
      const uint32_t over = cursor.pixels[static_cast<size_t>(row) * cursor.width + column];
      frame.at(x, y) = target.pixel(blended(channel(below, field_of(target.red)), over, 16),
                                    blended(channel(below, field_of(target.green)), over, 8),
                                    blended(channel(below, field_of(target.blue)), over, 0));
    }
  return frame;
}

class Replay {
 public:
  Replay(const QomHeader *header, const Target &target)
      : header_(header), target_(target), frame_(header->width, header->height) {}

  void apply(const QomRecord *record) {
    switch (record->type) {
      case QOM_IMAGE:
        return put(*reinterpret_cast<const QomImage *>(record));
      case QOM_COMPRESSED_IMAGE: {
        const RecordHandle<QomImage> image(
            qom_image_uncompress(reinterpret_cast<const QomCompressedImage *>(record)));
        return image ? put(*image) : void();
      }
      case QOM_COMPRESSED_IMAGE_BLOCKS:
        return put_blocks(reinterpret_cast<const QomCompressedImageBlocks *>(record));
      case QOM_CURSOR_IMAGE:
        cursor_ = Cursor(reinterpret_cast<const QomCursorImage *>(record));
        return;
      case QOM_CURSOR_POSITION:
        cursor_.move(reinterpret_cast<const QomCursorPosition *>(record));
        return;
      case QOM_SCREEN_CHANGE:
        return resize(reinterpret_cast<const QomScreenChange *>(record));
      default:
        return;
    }
  }
  const Picture &frame() const { return frame_; }
  const Cursor &cursor() const { return cursor_; }

 private:
  unsigned long converted(uint32_t pixel) const {
    if (header_->pixel_format == PALETTE8) {
      if (pixel >= header_->palette_size) return 0;
      const RgbValue &entry = header_->palette[pixel];
      return target_.pixel(entry.red & 0xff, entry.green & 0xff, entry.blue & 0xff);
    }
    const Fields fields = fields_of(header_->pixel_format);
    return target_.pixel(channel(pixel, fields.red), channel(pixel, fields.green),
                         channel(pixel, fields.blue));
  }
  void put(const QomImage &image) {
    const size_t bytes = pixel_format_bytes_per_pixel(header_->pixel_format);
    for (int y = 0; y < image.height; ++y)
      for (int x = 0; x < image.width; ++x) {
        if (!frame_.has(image.x + x, image.y + y)) continue;
        uint32_t pixel = 0;
        memcpy(&pixel, image.data + size_t{image.bytes_per_line} * y + bytes * x, bytes);
        frame_.at(image.x + x, image.y + y) = converted(pixel);
      }
  }
  void put_blocks(const QomCompressedImageBlocks *record) {
    const RecordHandle<QomImageBlocks> blocks(qom_image_blocks_uncompress(record));
    size_t offset = 0;
    QomImage image{};
    while (blocks && qom_image_blocks_next(blocks.get(), header_, &offset, &image) == 1) put(image);
  }
  void resize(const QomScreenChange *change) {
    if (change->width == 0 || change->height == 0) return;
    if (change->width > QOM_MAX_SIDE || change->height > QOM_MAX_SIDE) return;
    Picture resized(change->width, change->height);
    for (int y = 0; y < std::min(resized.height, frame_.height); ++y)
      for (int x = 0; x < std::min(resized.width, frame_.width); ++x)
        resized.at(x, y) = frame_.at(x, y);
    frame_ = resized;
  }

  const QomHeader *header_;
  Target target_;
  Picture frame_;
  Cursor cursor_;
};

/* Packed rows that pixman can read: whole 32-bit words. */
class Buffer {
 public:
  Buffer(int width, int height, unsigned bytes)
      : stride_((static_cast<size_t>(width) * bytes + 3) / 4 * 4),
        bytes_(bytes),
        words_(stride_ / 4 * static_cast<size_t>(height)) {}
  uint32_t *words() { return words_.data(); }
  int stride() const { return static_cast<int>(stride_); }
  void set(int x, int y, unsigned long pixel) { memcpy(place_of(x, y), &pixel, bytes_); }
  unsigned long get(int x, int y) {
    unsigned long pixel = 0;
    memcpy(&pixel, place_of(x, y), bytes_);
    return pixel;
  }

 private:
  char *place_of(int x, int y) {
    return reinterpret_cast<char *>(words_.data()) + stride_ * static_cast<size_t>(y) +
           static_cast<size_t>(x) * bytes_;
  }
  size_t stride_;
  unsigned bytes_;
  std::vector<uint32_t> words_;
};

/* The frame through pixman's bilinear filter at once, from its pixel (x, y) on. */
Picture scaled_whole(const Picture &frame, const Target &target, double factor, int width,
                     int height, int x0 = 0, int y0 = 0) {
  Buffer from(frame.width, frame.height, target.bytes);
  for (int y = 0; y < frame.height; ++y)
    for (int x = 0; x < frame.width; ++x) from.set(x, y, frame.at(x, y));
  Buffer to(width, height, target.bytes);
  const PixmanImageHandle source(pixman_image_create_bits(target.format, frame.width, frame.height,
                                                          from.words(), from.stride()));
  const PixmanImageHandle destination(
      pixman_image_create_bits(target.format, width, height, to.words(), to.stride()));
  const auto scale = static_cast<pixman_fixed_t>(1.0 / factor * 65536.0);
  pixman_transform_t transform;
  pixman_transform_init_scale(&transform, scale, scale);
  transform.matrix[0][2] = pixman_int_to_fixed(x0);
  transform.matrix[1][2] = pixman_int_to_fixed(y0);
  pixman_image_set_transform(source.get(), &transform);
  pixman_image_set_filter(source.get(), PIXMAN_FILTER_BILINEAR, nullptr, 0);
  pixman_image_composite(PIXMAN_OP_SRC, source.get(), nullptr, destination.get(), 0, 0, 0, 0, 0, 0,
                         static_cast<uint16_t>(width), static_cast<uint16_t>(height));
  Picture result(width, height);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) result.at(x, y) = to.get(x, y);
  return result;
}

int rounded(int value, double factor) {
  return static_cast<int>(std::round(value * factor));
}

/* The scaled cursor begins at a whole pixel of the window, so that it may be up to half a
   pixel away from where the frame around it is. */
void put_scaled_cursor(Picture *scaled, const Picture &frame, const Cursor &cursor,
                       const Target &target, double factor) {
  const XRectangle visible = cursor.visible(frame);
  if (visible.width == 0 || visible.height == 0) return;
  const Picture box =
      scaled_whole(with_cursor(frame, cursor, target), target, factor,
                   std::max(1, rounded(visible.width, factor)),
                   std::max(1, rounded(visible.height, factor)), visible.x, visible.y);
  for (int y = 0; y < box.height; ++y)
    for (int x = 0; x < box.width; ++x) {
      const int to_x = rounded(visible.x, factor) + x, to_y = rounded(visible.y, factor) + y;
      if (scaled->has(to_x, to_y)) scaled->at(to_x, to_y) = box.at(x, y);
    }
}

/* What the window has to show. */
Picture window_expected(const Picture &frame, const Cursor &cursor, const Target &target,
                        bool scaling, bool capped, XPoint topleft, int width, int height) {
  Picture window(width, height);
  std::fill(window.pixels.begin(), window.pixels.end(), 0xcccccc);
  if (!scaling) {
    const Picture shown = with_cursor(frame, cursor, target);
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x)
        if (shown.has(x + topleft.x, y + topleft.y))
          window.at(x, y) = shown.at(x + topleft.x, y + topleft.y);
    return window;
  }
  double factor = std::min(static_cast<double>(width) / frame.width,
                           static_cast<double>(height) / frame.height);
  if (capped) factor = std::min(factor, 1.0);
  const int right = std::min(width, std::max(1, rounded(frame.width, factor)));
  const int bottom = std::min(height, std::max(1, rounded(frame.height, factor)));
  Picture scaled = scaled_whole(frame, target, factor, right, bottom);
  put_scaled_cursor(&scaled, frame, cursor, target, factor);
  for (int y = 0; y < bottom; ++y)
    for (int x = 0; x < right; ++x) window.at(x, y) = scaled.at(x, y);
  return window;
}

Tcl_Obj *difference(const Picture &expected, XImage *window, unsigned long bits) {
  int count = 0;
  Tcl_Obj *first = nullptr;
  for (int y = 0; y < window->height; ++y)
    for (int x = 0; x < window->width; ++x) {
      const unsigned long shown = XGetPixel(window, x, y) & bits;
      if (shown == (expected.at(x, y) & bits)) continue;
      if (++count == 1)
        first = Tcl_ObjPrintf("pixel %d,%d of %dx%d is %lx instead of %lx", x, y, window->width,
                              window->height, shown, expected.at(x, y) & bits);
    }
  if (first) Tcl_AppendPrintfToObj(first, ", %d differ", count);
  return first ? first : Tcl_NewObj();
}

/* At natural size the window stays inside the frame as far as the frame fills it. */
bool position_is_in_range(const QomView *view, const Picture &frame) {
  return view->topleft.x >= 0 && view->topleft.y >= 0 &&
         view->topleft.x <= std::max(0, frame.width - Tk_Width(view->tkwin)) &&
         view->topleft.y <= std::max(0, frame.height - Tk_Height(view->tkwin));
}

struct ReaderDeleter {
  void operator()(QomReader *reader) const { qom_reader_close(reader); }
};

}  // namespace

int check_command(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) {
  if (objc < 4) return TCL_ERROR;
  QomView *view = view_of(interp, objv[1]);
  const std::unique_ptr<QomReader, ReaderDeleter> reader(qom_reader_open(Tcl_GetString(objv[2])));
  Tcl_Obj **indexes = nullptr;
  int count = 0;
  if (!view || !reader || Tcl_ListObjGetElements(interp, objv[3], &count, &indexes) != TCL_OK)
    return TCL_ERROR;
  const int width = Tk_Width(view->tkwin);
  const int height = Tk_Height(view->tkwin);
  const XImageHandle window(XGetImage(view->display, Tk_WindowId(view->tkwin), 0, 0,
                                      static_cast<unsigned>(width), static_cast<unsigned>(height),
                                      AllPlanes, ZPixmap));
  if (!window) return TCL_ERROR;
  const Target target(window.get());
  Replay replay(qom_info_header(reader.get()), target);
  for (int i = 0; i < count; ++i) {
    int index = 0;
    if (Tcl_GetIntFromObj(interp, indexes[i], &index) != TCL_OK) return TCL_ERROR;
    const RecordHandle<QomRecord> record(
        qom_record_at_index(reader.get(), static_cast<size_t>(index)));
    if (record) replay.apply(record.get());
  }
  if (!view->scaling.on && !position_is_in_range(view, replay.frame())) {
    Tcl_SetObjResult(interp, Tcl_ObjPrintf("scroll position %d,%d is out of range", view->topleft.x,
                                           view->topleft.y));
    return TCL_OK;
  }
  const Picture expected =
      window_expected(replay.frame(), replay.cursor(), target, view->scaling.on, objc == 4,
                      view->topleft, width, height);
  Tcl_SetObjResult(interp, difference(expected, window.get(), target.colour_bits()));
  return TCL_OK;
}
