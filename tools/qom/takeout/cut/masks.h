// Areas of the recorded screen that are taken out of a recording for good.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qom/qom.h"
#include "records.h"

namespace qomtool {

// "WxH+X+Y"; nothing for anything else, and for areas without pixels or beyond 65536.
std::optional<QomRectangle> parse_mask(const std::string &text);

// For the command line: an empty text for a good mask, otherwise what is wrong with it.
std::string check_mask(const std::string &text);

// A pixel of a recording that is shown black, every bit of it 0 where the format has no palette;
// with a palette that has no black the darkest one, and *exact is false.
uint32_t black_pixel(const QomHeader &header, bool *exact);

// Makes areas black in the images of a recording.
class Masks {
 public:
  Masks(std::vector<QomRectangle> areas, const QomHeader &header);

  bool empty() const { return areas_.empty(); }
  const std::vector<QomRectangle> &areas() const { return areas_; }

  // Whether a rectangle has a pixel in one of the areas.
  bool meet(int32_t x, int32_t y, int32_t width, int32_t height) const;

  // Makes what lies in the areas black, and the padding of all rows 0, wherever the image has one
  // of both. True when it had.
  bool blank(QomImage *image) const;

  // The record with all of its pixels so blanked: itself where there is nothing to blank, another
  // one where its pixels are compressed. Null with the reason when pixels cannot be decoded.
  RecordPtr blanked(RecordPtr record) const;

 private:
  using Areas = std::vector<QomRectangle>;

  Areas around(const Areas &lossy) const;
  bool concern(const QomImage &image, const Areas &areas) const;
  bool blank(QomImage *image, const Areas &areas) const;
  bool blank(QomImageBlocks *blocks, const Areas &areas, bool *whole) const;
  RecordPtr blanked(const QomCompressedImage *compressed) const;
  RecordPtr blanked(RecordPtr record, const QomCompressedImageBlocks *compressed) const;

  std::vector<QomRectangle> areas_;
  QomHeader header_;  // of the recording; its pointers are not used
  size_t pixel_bytes_;
  uint32_t black_;
};

}  // namespace qomtool
