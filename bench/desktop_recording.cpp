#include "desktop_recording.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace bench {
namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr uint64_t kStart = 1700000000000000; /* microseconds */
constexpr uint64_t kPeriod = 100000;
constexpr Area kFilm = {200, 150, 640, 360};
constexpr int kMinute = 600; /* pictures */

/* As the recorder decides it. */
constexpr uint64_t kWeight = 8;
constexpr uint64_t kPictures = 3;
constexpr int kLongest = 3000; /* pictures */

struct FreeRecord {
  void operator()(void *record) const { qom_record_free(record); }
};

[[noreturn]] void fail(const char *what) {
  std::fprintf(stderr, "%s: %s\n", what, qom_reader_error());
  std::exit(1);
}

QomWriter *create(const std::string &path) {
  QomHeader header{};
  header.timestamp = kStart;
  header.depth = 24;
  header.width = kWidth;
  header.height = kHeight;
  header.pixel_format = xRGB8888;
  header.scanline_pad = 32;
  QomWriter *writer = qom_writer_create(path.c_str(), &header);
  if (!writer) fail(path.c_str());
  return writer;
}

void add_block(std::vector<uint8_t> *data, const Desktop &desktop, const Area &area) {
  const int16_t head[] = {static_cast<int16_t>(area.x), static_cast<int16_t>(area.y),
                          static_cast<int16_t>(area.width), static_cast<int16_t>(area.height)};
  const auto *bytes = reinterpret_cast<const uint8_t *>(head);
  data->insert(data->end(), bytes, bytes + sizeof head);
  for (int y = area.y; y < area.y + area.height; ++y) {
    const auto *row = reinterpret_cast<const uint8_t *>(
        desktop.pixels() + static_cast<ptrdiff_t>(y) * desktop.width() + area.x);
    data->insert(data->end(), row, row + static_cast<ptrdiff_t>(area.width) * 4);
  }
}

}  // namespace

DesktopRecording::DesktopRecording(Activity activity, const std::string &path,
                                   const std::string &plain)
    : activity_(activity), desktop_(kWidth, kHeight, 1) {
  writers_.push_back(create(path));
  if (!plain.empty()) writers_.push_back(create(plain));
  append_picture();
  append_cursor_image();
}

DesktopRecording::~DesktopRecording() {
  for (QomWriter *writer : writers_)
    if (qom_writer_close(writer) != 0) fail("close");
}

uint64_t DesktopRecording::time() const {
  return kStart + static_cast<uint64_t>(picture_) * kPeriod;
}

void DesktopRecording::append(const void *record) {
  for (QomWriter *writer : writers_) {
    if (qom_writer_append(writer, record) != 0) fail("append");
    if (checkpointing_) break;
  }
}

/* What changes in a picture. Scrolling comes with the pace of a compiler at work. */
std::vector<Area> DesktopRecording::act() {
  const bool busy = activity_ == Activity::busy;
  if (activity_ == Activity::film) {
    desktop_.film(kFilm, picture_);
    return {kFilm, desktop_.type(3)};
  }
  if (busy) return {desktop_.scroll(0, 2), desktop_.scroll(3, 1), desktop_.type(1)};
  const int minute = picture_ / kMinute % 6;
  if (minute == 0 && picture_ % 3 == 0) return {desktop_.scroll(0, 2), desktop_.type(1)};
  if (minute <= 3 && picture_ % 4 == 0) return {desktop_.type(1 + minute % 3)};
  if (picture_ % 100 == 0) return {desktop_.type(2)};
  return {};
}

void DesktopRecording::append_blocks(const std::vector<Area> &areas) {
  std::vector<uint8_t> data;
  for (const Area &area : areas) add_block(&data, desktop_, area);
  QomImageBlocks blocks{};
  blocks.type = QOM_IMAGE_BLOCKS;
  blocks.timestamp = time();
  blocks.length = static_cast<uint32_t>(data.size());
  blocks.data = data.data();
  const std::unique_ptr<QomCompressedImageBlocks, FreeRecord> compressed(
      qom_image_blocks_compress(&blocks));
  if (!compressed) fail("compress");
  append(compressed.get());
  bytes_since_ += compressed->compressed_length;
  pixels_since_ += data.size();
}

void DesktopRecording::append_cursor_image() {
  std::vector<uint32_t> pixels(
      static_cast<size_t>(cursor_.width) * static_cast<size_t>(cursor_.height), 0xff000000u);
  QomCursorImage image{};
  image.type = QOM_CURSOR_IMAGE;
  image.timestamp = time();
  image.width = static_cast<uint16_t>(cursor_.width);
  image.height = static_cast<uint16_t>(cursor_.height);
  image.x = static_cast<int16_t>(cursor_.x);
  image.y = static_cast<int16_t>(cursor_.y);
  image.length = static_cast<uint32_t>(pixels.size() * 4);
  image.data = reinterpret_cast<uint8_t *>(pixels.data());
  append(&image);
}

void DesktopRecording::move_cursor() {
  cursor_.x = static_cast<int>(random_() % kWidth);
  cursor_.y = static_cast<int>(random_() % kHeight);
  QomCursorPosition position{};
  position.type = QOM_CURSOR_POSITION;
  position.timestamp = time();
  position.x = static_cast<int16_t>(cursor_.x);
  position.y = static_cast<int16_t>(cursor_.y);
  append(&position);
}

void DesktopRecording::append_picture() {
  QomImage image{};
  image.type = QOM_IMAGE;
  image.timestamp = time();
  image.width = kWidth;
  image.height = kHeight;
  image.pixel_format = xRGB8888;
  image.scanline_pad = 32;
  image.bytes_per_line = kWidth * 4;
  image.length = static_cast<uint32_t>(desktop_.bytes());
  image.data = desktop_.data();
  const std::unique_ptr<QomCompressedImage, FreeRecord> compressed(qom_image_compress(&image));
  if (!compressed) fail("compress");
  append(compressed.get());
  checkpoint_bytes_ = compressed->compressed_length;
}

bool DesktopRecording::checkpoint_is_due() const {
  if (bytes_since_ == 0) return false;
  return (bytes_since_ >= kWeight * checkpoint_bytes_ &&
          pixels_since_ >= kPictures * desktop_.bytes()) ||
         picture_ - picture_of_checkpoint_ >= kLongest;
}

void DesktopRecording::checkpoint() {
  checkpointing_ = true;
  if (qom_writer_begin_checkpoint(writers_.front()) != 0) fail("checkpoint");
  QomScreenChange screen{};
  screen.type = QOM_SCREEN_CHANGE;
  screen.timestamp = time();
  screen.width = kWidth;
  screen.height = kHeight;
  append(&screen);
  append_picture();
  append_cursor_image();
  if (qom_writer_end_checkpoint(writers_.front()) != 0) fail("checkpoint");
  checkpointing_ = false;
  bytes_since_ = pixels_since_ = 0;
  picture_of_checkpoint_ = picture_;
}

void DesktopRecording::next() {
  ++picture_;
  const std::vector<Area> areas = act();
  if (!areas.empty()) append_blocks(areas);
  if (picture_ % 5 == 0) move_cursor();
  if (checkpoint_is_due()) checkpoint();
}

}  // namespace bench
