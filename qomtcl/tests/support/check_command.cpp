/*
 * qomtest::check: the window against a picture that pixman makes from the records, with
 * nothing of the view's own code but the window it names.
 */

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <optional>

#include "handles.h"
#include "support.h"

namespace {

/* Of records; what a palette gives is looked up first. */
const std::map<PixelFormat, pixman_format_code_t> kFormats = {
    {PALETTE8, PIXMAN_x8r8g8b8}, {RGB332, PIXMAN_r3g3b2},     {BGR233, PIXMAN_b2g3r3},
    {RGB565, PIXMAN_r5g6b5},     {BGR565, PIXMAN_b5g6r5},     {xRGB8888, PIXMAN_x8r8g8b8},
    {xBGR8888, PIXMAN_x8b8g8r8}, {RGBx8888, PIXMAN_r8g8b8x8}, {BGRx8888, PIXMAN_b8g8r8x8}};

pixman_format_code_t format_of(const XImage *window) {
  if (window->bits_per_pixel == 16)
    return window->red_mask > window->blue_mask ? PIXMAN_r5g6b5 : PIXMAN_b5g6r5;
  return window->red_mask > window->blue_mask ? PIXMAN_x8r8g8b8 : PIXMAN_x8b8g8r8;
}

/* Black at first. */
class Picture {
 public:
  Picture(pixman_format_code_t format, int width, int height)
      : image_(pixman_image_create_bits(format, width, height, nullptr, 0)) {}

  pixman_image_t *image() const { return image_.get(); }
  pixman_format_code_t format() const { return pixman_image_get_format(image()); }
  int width() const { return pixman_image_get_width(image()); }
  int height() const { return pixman_image_get_height(image()); }
  uint8_t *row(int y) const {
    return reinterpret_cast<uint8_t *>(pixman_image_get_data(image())) +
           static_cast<ptrdiff_t>(y) * pixman_image_get_stride(image());
  }
  void put(const Picture &from, int x, int y, pixman_op_t how = PIXMAN_OP_SRC) {
    pixman_image_composite32(how, from.image(), nullptr, image(), 0, 0, 0, 0, x, y, from.width(),
                             from.height());
  }

 private:
  PixmanImageHandle image_;
};

struct Area {
  int x, y, width, height;
};

/* Picture and cursor as the records say. */
class Replay {
 public:
  Replay(const QomHeader *header, pixman_format_code_t target)
      : header_(header), frame_(target, header->width, header->height) {}

  void apply(const QomRecord *record) {
    switch (record->type) {
      case QOM_COMPRESSED_IMAGE: {
        const RecordHandle<QomImage> image(
            qom_image_uncompress(reinterpret_cast<const QomCompressedImage *>(record)));
        return image ? put(*image) : void();
      }
      case QOM_IMAGE:
        return put(*reinterpret_cast<const QomImage *>(record));
      case QOM_COMPRESSED_IMAGE_BLOCKS:
        return put_blocks(reinterpret_cast<const QomCompressedImageBlocks *>(record));
      case QOM_COPY_AREA:
        return copy_areas(*reinterpret_cast<const QomCopyArea *>(record));
      case QOM_CURSOR_IMAGE:
        return set_cursor(*reinterpret_cast<const QomCursorImage *>(record));
      case QOM_CURSOR_POSITION: {
        const auto *position = reinterpret_cast<const QomCursorPosition *>(record);
        x_ = position->x - xhot_;
        y_ = position->y - yhot_;
        return;
      }
      case QOM_SCREEN_CHANGE:
        return resize(*reinterpret_cast<const QomScreenChange *>(record));
      default:
        return;
    }
  }
  const Picture &frame() const { return frame_; }

  Picture with_cursor() const {
    Picture result(frame_.format(), frame_.width(), frame_.height());
    result.put(frame_, 0, 0);
    if (cursor_) result.put(*cursor_, x_, y_, PIXMAN_OP_OVER);
    return result;
  }
  /* What of the cursor lies on the frame. */
  Area cursor_area() const {
    if (!cursor_) return {};
    const auto column = [&](int x) { return std::clamp(x, 0, frame_.width()); };
    const auto row = [&](int y) { return std::clamp(y, 0, frame_.height()); };
    return {column(x_), row(y_), column(x_ + cursor_->width()) - column(x_),
            row(y_ + cursor_->height()) - row(y_)};
  }

 private:
  void put(const QomImage &image) {
    const size_t row_bytes = image.width * pixel_format_bytes_per_pixel(header_->pixel_format);
    const Picture pixels(kFormats.at(header_->pixel_format), image.width, image.height);
    for (int y = 0; y < image.height; ++y) {
      const uint8_t *row = image.data + size_t{image.bytes_per_line} * static_cast<size_t>(y);
      if (header_->pixel_format == PALETTE8)
        std::transform(row, row + image.width, reinterpret_cast<uint32_t *>(pixels.row(y)),
                       [this](uint8_t index) { return colour(index); });
      else
        memcpy(pixels.row(y), row, row_bytes);
    }
    frame_.put(pixels, image.x, image.y);
  }
  uint32_t colour(uint8_t index) const {
    if (index >= header_->palette_size) return 0;
    const RgbValue &entry = header_->palette[index];
    return (entry.red & 0xFFu) << 16 | (entry.green & 0xFFu) << 8 | (entry.blue & 0xFFu);
  }
  void put_blocks(const QomCompressedImageBlocks *record) {
    const RecordHandle<QomImageBlocks> blocks(qom_image_blocks_uncompress(record));
    size_t offset = 0;
    QomImage image{};
    while (blocks && qom_image_blocks_next(blocks.get(), header_, &offset, &image) == 1) put(image);
  }
  void copy_areas(const QomCopyArea &record) {
    for (uint32_t i = 0; i < record.count; ++i) {
      const QomCopy &copy = record.copies[i];
      Picture before(frame_.format(), frame_.width(), frame_.height());
      before.put(frame_, 0, 0);
      const int left = std::max({0, -copy.x, -copy.to_x});
      const int top = std::max({0, -copy.y, -copy.to_y});
      const int right =
          std::min({int{copy.width}, frame_.width() - copy.x, frame_.width() - copy.to_x});
      const int bottom =
          std::min({int{copy.height}, frame_.height() - copy.y, frame_.height() - copy.to_y});
      if (left >= right || top >= bottom) continue;
      pixman_image_composite32(PIXMAN_OP_SRC, before.image(), nullptr, frame_.image(),
                               copy.x + left, copy.y + top, 0, 0, copy.to_x + left, copy.to_y + top,
                               right - left, bottom - top);
    }
  }
  void set_cursor(const QomCursorImage &record) {
    cursor_.emplace(PIXMAN_a8r8g8b8, record.width, record.height);
    memcpy(cursor_->row(0), record.data, size_t{4} * record.width * record.height);
    xhot_ = record.xhot;
    yhot_ = record.yhot;
    x_ = record.x - xhot_;
    y_ = record.y - yhot_;
  }
  void resize(const QomScreenChange &change) {
    Picture resized(frame_.format(), change.width, change.height);
    resized.put(frame_, 0, 0);
    frame_ = std::move(resized);
  }

  const QomHeader *header_;
  Picture frame_;
  std::optional<Picture> cursor_;
  int x_ = 0, y_ = 0; /* the cursor's top-left corner, anywhere on or beside the frame */
  int xhot_ = 0, yhot_ = 0;
};

/* The frame through the bilinear filter at once, from its pixel (x, y) on. */
Picture scaled_whole(const Picture &frame, double factor, int width, int height, int x, int y) {
  const auto scale = static_cast<pixman_fixed_t>(1.0 / factor * 65536.0);
  pixman_transform_t transform;
  pixman_transform_init_scale(&transform, scale, scale);
  transform.matrix[0][2] = pixman_int_to_fixed(x);
  transform.matrix[1][2] = pixman_int_to_fixed(y);
  pixman_image_set_transform(frame.image(), &transform);
  pixman_image_set_filter(frame.image(), PIXMAN_FILTER_BILINEAR, nullptr, 0);
  Picture result(frame.format(), width, height);
  pixman_image_composite32(PIXMAN_OP_SRC, frame.image(), nullptr, result.image(), 0, 0, 0, 0, 0, 0,
                           width, height);
  pixman_image_set_transform(frame.image(), nullptr);
  return result;
}

int rounded(int value, double factor) {
  return static_cast<int>(std::round(value * factor));
}

/* The scaled cursor begins at a whole pixel of the window, so that it may be up to half a
   pixel away from where the frame around it is. */
Picture scaled_with_cursor(const Replay &replay, double factor, int width, int height) {
  Picture scaled = scaled_whole(replay.frame(), factor, width, height, 0, 0);
  const Area area = replay.cursor_area();
  if (area.width == 0 || area.height == 0) return scaled;
  const Picture box =
      scaled_whole(replay.with_cursor(), factor, std::max(1, rounded(area.width, factor)),
                   std::max(1, rounded(area.height, factor)), area.x, area.y);
  scaled.put(box, rounded(area.x, factor), rounded(area.y, factor));
  return scaled;
}

/* What a window of this size has to show; `largest` limits the factor when scaling. */
Picture window_expected(const QomView *view, const Replay &replay, double largest, int width,
                        int height) {
  const Picture &frame = replay.frame();
  Picture window(frame.format(), width, height);
  pixman_fill(pixman_image_get_data(window.image()), pixman_image_get_stride(window.image()) / 4,
              PIXMAN_FORMAT_BPP(window.format()), 0, 0, width, height, 0xcccccc);
  if (!view->scaling.on) {
    window.put(replay.with_cursor(), -view->topleft.x, -view->topleft.y);
    return window;
  }
  const double factor = std::min({static_cast<double>(width) / frame.width(),
                                  static_cast<double>(height) / frame.height(), largest});
  const int right = std::min(width, std::max(1, rounded(frame.width(), factor)));
  const int bottom = std::min(height, std::max(1, rounded(frame.height(), factor)));
  window.put(scaled_with_cursor(replay, factor, right, bottom), 0, 0);
  return window;
}

/* The first pixel that differs; the empty text when none does. */
Tcl_Obj *difference(const Picture &expected, XImage *window) {
  const unsigned long bits = window->red_mask | window->green_mask | window->blue_mask;
  const auto bytes = static_cast<size_t>(window->bits_per_pixel) / 8;
  for (int y = 0; y < window->height; ++y)
    for (int x = 0; x < window->width; ++x) {
      unsigned long pixel = 0;
      memcpy(&pixel, expected.row(y) + bytes * static_cast<size_t>(x), bytes);
      const unsigned long shown = XGetPixel(window, x, y);
      if (((shown ^ pixel) & bits) != 0)
        return Tcl_ObjPrintf("pixel %d,%d of %dx%d is %lx instead of %lx", x, y, window->width,
                             window->height, shown & bits, pixel & bits);
    }
  return Tcl_NewObj();
}

/* At natural size the window stays inside the frame as far as the frame fills it, and a display
   leaves nothing to be displayed again. */
Tcl_Obj *wrong_with(const QomView *view, const Replay &replay, double largest, XImage *window) {
  const Picture &frame = replay.frame();
  if (!view->scaling.on && (view->topleft.x > std::max(0, frame.width() - window->width) ||
                            view->topleft.y > std::max(0, frame.height() - window->height)))
    return Tcl_NewStringObj("scroll position is out of range", -1);
  for (Region region : {view->ximage_region, view->pixmap_region, view->exposed_region})
    if (region && !XEmptyRegion(region)) return Tcl_NewStringObj("damage is left", -1);
  return difference(window_expected(view, replay, largest, window->width, window->height), window);
}

}  // namespace

int check_command(ClientData, Tcl_Interp *interp, int objc, Tcl_Obj *const objv[]) {
  const QomView *view = view_of(interp, objv[1]);
  const std::unique_ptr<QomReader, decltype(&qom_reader_close)> reader(
      qom_reader_open(Tcl_GetString(objv[2])), qom_reader_close);
  Tcl_Obj **indexes = nullptr;
  int count = 0;
  if (!view || !reader || Tcl_ListObjGetElements(interp, objv[3], &count, &indexes) != TCL_OK)
    return TCL_ERROR;
  const XImageHandle window(XGetImage(
      view->display, Tk_WindowId(view->tkwin), 0, 0, static_cast<unsigned>(Tk_Width(view->tkwin)),
      static_cast<unsigned>(Tk_Height(view->tkwin)), AllPlanes, ZPixmap));
  Replay replay(qom_info_header(reader.get()), format_of(window.get()));
  for (int i = 0; i < count; ++i) {
    int index = 0;
    if (Tcl_GetIntFromObj(interp, indexes[i], &index) != TCL_OK) return TCL_ERROR;
    const RecordHandle<QomRecord> record(
        qom_record_at_index(reader.get(), static_cast<size_t>(index)));
    if (record) replay.apply(record.get());
  }
  const double largest = objc == 4 ? 1.0 : HUGE_VAL;
  Tcl_SetObjResult(interp, wrong_with(view, replay, largest, window.get()));
  return TCL_OK;
}
