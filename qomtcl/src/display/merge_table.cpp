#include "display/merge.h"

namespace {

constexpr unsigned key(unsigned from, unsigned to) {
  return to * 256 + from;
}

}  // namespace

MergeFunction merge_define(PixelFormat from, PixelFormat to) {
  switch (key(from, to)) {
    case key(RGB565, RGB565):
    case key(BGR565, BGR565):
      return merge_RGB565_into_RGB565;
    case key(BGR565, RGB565):
    case key(RGB565, BGR565):
      return merge_RGB565_into_BGR565;
    case key(xRGB8888, RGB565):
      return merge_xRGB8888_into_RGB565;
    case key(xBGR8888, RGB565):
      return merge_xBGR8888_into_RGB565;
    case key(xRGB8888, BGR565):
      return merge_xRGB8888_into_BGR565;
    case key(xBGR8888, BGR565):
      return merge_xBGR8888_into_BGR565;
    case key(PALETTE8, xRGB8888):
      return merge_P8_into_xRGB8888;
    case key(RGB332, xRGB8888):
      return merge_RGB332_into_xRGB8888;
    case key(BGR233, xRGB8888):
      return merge_BGR233_into_xRGB8888;
    case key(RGB565, xRGB8888):
      return merge_RGB565_into_xRGB8888;
    case key(BGR565, xRGB8888):
      return merge_BGR565_into_xRGB8888;
    case key(PALETTE8, xBGR8888):
      return merge_P8_into_xBGR8888;
    case key(RGB332, xBGR8888):
      return merge_RGB332_into_xBGR8888;
    case key(BGR233, xBGR8888):
      return merge_BGR233_into_xBGR8888;
    case key(RGB565, xBGR8888):
      return merge_RGB565_into_xBGR8888;
    case key(BGR565, xBGR8888):
      return merge_BGR565_into_xBGR8888;
    case key(xRGB8888, xRGB8888):
    case key(xBGR8888, xBGR8888):
      return merge_xRGB8888_into_xRGB8888;
    case key(xBGR8888, xRGB8888):
    case key(xRGB8888, xBGR8888):
      return merge_xRGB8888_into_xBGR8888;
    case key(RGBx8888, xRGB8888):
    case key(BGRx8888, xBGR8888):
      return merge_RGBx8888_into_xRGB8888;
    case key(BGRx8888, xRGB8888):
    case key(RGBx8888, xBGR8888):
      return merge_RGBx8888_into_xBGR8888;
    default:
      return nullptr;
  }
}
