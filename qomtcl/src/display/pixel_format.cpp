#include "display/pixel_format.h"

#include <cassert>
#include <memory>

#include "pixels/channels.h"

namespace {

struct XFreeDeleter {
  void operator()(void *data) const { XFree(data); }
};

/* Class is called c_class in C++. */
bool is_true_color(const XVisualInfo *info) {
  return info->c_class == TrueColor;
}

bool has_masks(const XVisualInfo *info, unsigned long red, unsigned long green,
               unsigned long blue) {
  return is_true_color(info) && info->red_mask == red && info->green_mask == green &&
         info->blue_mask == blue;
}

PixelFormat format_of_visual(const XVisualInfo *info) {
  switch (info->depth) {
    case 8:
      return pixel_format_depth_8(info);
    case 16:
      return pixel_format_depth_16(info);
    case 24:
      return pixel_format_depth_24(info);
    case 32:
      return pixel_format_depth_32(info);
    default:
      return FORMAT_UNKNOWN;
  }
}

/* 0 when the server has no images of the depth. */
unsigned bits_per_pixel(Display *display, int depth) {
  int count = 0;
  const std::unique_ptr<XPixmapFormatValues[], XFreeDeleter> formats(
      XListPixmapFormats(display, &count));
  for (int i = 0; formats && i < count; ++i)
    if (formats[i].depth == depth) return static_cast<unsigned>(formats[i].bits_per_pixel);
  return 0;
}

}  // namespace

PixelFormat pixel_format(Display *display) {
  Visual *v = DefaultVisual(display, DefaultScreen(display));
  assert(v != 0 && "there should be a visual");

  XVisualInfo wanted = {};
  wanted.visualid = XVisualIDFromVisual(v);
  int count = 0;
  const std::unique_ptr<XVisualInfo, XFreeDeleter> info(
      XGetVisualInfo(display, VisualIDMask, &wanted, &count));
  if (!info || count == 0) return FORMAT_UNKNOWN;

  /* A server may pack 24-bit pixels into three bytes; no format is laid out that way. */
  const PixelFormat format = format_of_visual(info.get());
  return qom::pixel::layouts[format].bits_per_pixel == bits_per_pixel(display, info->depth)
             ? format
             : FORMAT_UNKNOWN;
}

PixelFormat pixel_format_depth_8(const XVisualInfo *info) {
  if (info->c_class == PseudoColor) return PALETTE8;
  if (has_masks(info, 0xE0, 0x1C, 0x03)) return RGB332;
  if (has_masks(info, 0x07, 0x38, 0xC0)) return BGR233;
  return FORMAT_UNKNOWN;
}

PixelFormat pixel_format_depth_16(const XVisualInfo *info) {
  if (has_masks(info, 0xF800, 0x07E0, 0x001F)) return RGB565;
  if (has_masks(info, 0x001F, 0x07E0, 0xF800)) return BGR565;
  return FORMAT_UNKNOWN;
}

PixelFormat pixel_format_depth_24(const XVisualInfo *info) {
  if (has_masks(info, 0xFF0000, 0x00FF00, 0x0000FF)) return xRGB8888;
  if (has_masks(info, 0x0000FF, 0x00FF00, 0xFF0000)) return xBGR8888;
  return FORMAT_UNKNOWN;
}

PixelFormat pixel_format_depth_32(const XVisualInfo *info) {
  if (has_masks(info, 0xFF000000, 0x00FF0000, 0x0000FF00)) return RGBx8888;
  if (has_masks(info, 0x0000FF00, 0x00FF0000, 0xFF000000)) return BGRx8888;
  return pixel_format_depth_24(info);
}

pixman_format_code_t pixman_format_from_qom_format(PixelFormat code) {
  switch (code) {
    case PALETTE8:
      return PIXMAN_c8;
    case RGB332:
      return PIXMAN_r3g3b2;
    case BGR233:
      return PIXMAN_b2g3r3;
    case RGB565:
      return PIXMAN_r5g6b5;
    case BGR565:
      return PIXMAN_b5g6r5;
    case xRGB8888:
      return PIXMAN_x8r8g8b8;
    case xBGR8888:
      return PIXMAN_x8b8g8r8;
    case RGBx8888:
      return PIXMAN_r8g8b8x8;
    case BGRx8888:
      return PIXMAN_b8g8r8x8;
    case ARGB8888:
      return PIXMAN_a8r8g8b8;
    case ABGR8888:
      return PIXMAN_a8b8g8r8;
    case RGBA8888:
      return PIXMAN_r8g8b8a8;
    case BGRA8888:
      return PIXMAN_b8g8r8a8;
    default:
      return static_cast<pixman_format_code_t>(0);
  }
}
