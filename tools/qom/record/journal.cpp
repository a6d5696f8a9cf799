#include "journal.h"

#include <algorithm>
#include <cstring>

#include "error.h"
#include "text/quote.h"

namespace qom::record {
namespace {

// A checkpoint is due when the records since the last one are `weight` times as large as it and
// hold `pictures` times the pixels of a whole picture, when they hold `most_pictures` times those,
// or when there were any for `longest`. The first rule keeps checkpoints a small part of the file
// and a far move short, the second one does where pixels were only copied, and the third one looks
// after sessions in which little happens.
// Where film is stored with losses, so is it in checkpoints: an exact one would weigh as much as
// ten pictures of the film. They may then be further apart and still make a move shorter than exact
// ones would.
constexpr uint64_t weight = 8;
constexpr uint64_t lossy_weight = 32;
constexpr uint64_t pictures = 3;
constexpr uint64_t most_pictures = 128;
constexpr int64_t longest = 300 * second;

constexpr uint64_t frame_bytes = 40;  // what a record costs in the file beside its payload, about

struct FreeRecord {
  void operator()(void *record) const { qom_record_free(record); }
};

template <class Integer>
uint8_t *put(uint8_t *to, Integer value) {
  std::memcpy(to, &value, sizeof value);
  return to + sizeof value;
}

}  // namespace

Journal::Journal(const std::string &path, const JournalHeader &header)
    : path_(path), pixel_format_(header.pixel_format), film_(header.film) {
  QomHeader first{};
  first.type = QOM_HEADER;
  first.version = 2;  // areas may be copied
  first.timestamp = clock_.now();
  first.depth = header.depth;
  first.width = static_cast<uint16_t>(header.width);
  first.height = static_cast<uint16_t>(header.height);
  first.pixel_format = header.pixel_format;
  first.scanline_pad = recorded_scanline_pad;
  first.min_keycode = header.min_keycode;
  first.max_keycode = header.max_keycode;
  first.user = const_cast<char *>(header.user.c_str());
  first.tfn = const_cast<char *>(header.tfn.c_str());
  writer_.reset(qom_writer_create(path.c_str(), &first));
  if (!writer_) fail();
  disk_ = std::make_unique<DiskSync>(writer_.get());
}

Journal::~Journal() = default;

void Journal::fail() const {
  if (disk_) check_disk();
  throw RecordError(qomtool::quoted_name(path_) + ": " + qom_reader_error());
}

void Journal::check_disk() const {
  const std::string failure = disk_->failure();
  if (!failure.empty()) throw RecordError(qomtool::quoted_name(path_) + ": " + failure);
}

template <class Record>
void Journal::append(Record &record, std::optional<int64_t> time) {
  recorded_ = time.value_or(steady_time());
  record.timestamp = clock_.at(recorded_);
  if (qom_writer_append(writer_.get(), &record) != 0) fail();
  bytes_since_ += frame_bytes;
  disk_->written();
}

void Journal::footer(QomRecordType item, const std::string &text) {
  const auto found = footer_.find(item);
  const std::string &known = found == footer_.end() ? std::string() : found->second;
  if (text == known) return;
  footer_[item] = text;
  if (begun_) append_footer(item, text);
}

void Journal::append_footer(QomRecordType item, const std::string &text) {
  QomFooterItem record{};
  record.type = static_cast<uint8_t>(item);
  record.item = const_cast<char *>(text.c_str());
  append(record);
  bytes_since_ += text.size();
}

void Journal::last_input(const std::string &user, const std::string &tfn) {
  last_input_ = {user, tfn};
  if (begun_) append_last_input();
}

void Journal::append_last_input() {
  QomLastInput record{};
  record.type = QOM_LAST_INPUT;
  record.user = last_input_->first.data();
  record.tfn = last_input_->second.data();
  append(record);
}

void Journal::cursor(const CursorShape &shape, const CursorPlace &place) {
  if (cursor_ == shape) return cursor_place(place);
  cursor_ = shape;
  place_ = place;
  if (begun_) append_cursor();
}

void Journal::append_cursor() {
  QomCursorImage record{};
  record.type = QOM_CURSOR_IMAGE;
  record.width = static_cast<uint16_t>(cursor_->width);
  record.height = static_cast<uint16_t>(cursor_->height);
  record.x = static_cast<int16_t>(place_.x);
  record.y = static_cast<int16_t>(place_.y);
  record.xhot = static_cast<uint16_t>(cursor_->hot_x);
  record.yhot = static_cast<uint16_t>(cursor_->hot_y);
  record.cursor_serial = cursor_->serial;
  record.length = static_cast<uint32_t>(cursor_->pixels.size() * sizeof(uint32_t));
  record.data = reinterpret_cast<uint8_t *>(cursor_->pixels.data());
  const uint64_t size = qom_writer_size(writer_.get());
  append(record);
  bytes_since_ += qom_writer_size(writer_.get()) - size;
  pixels_since_ += record.length;
}

void Journal::cursor_place(const CursorPlace &place) {
  if (place == place_) return;
  place_ = place;
  append_cursor_place();
}

void Journal::append_cursor_place() {
  QomCursorPosition record{};
  record.type = QOM_CURSOR_POSITION;
  record.x = static_cast<int16_t>(place_.x);
  record.y = static_cast<int16_t>(place_.y);
  append(record);
}

void Journal::sign_of_life() {
  append_cursor_place();
}

void Journal::gap(const Gap &gap) {
  const int64_t begin = std::max(gap.begin, recorded_);
  if (begin > gap.end) return;
  const QomGap mark{clock_.at(begin), clock_.at(gap.end), gap.clock_offset,
                    static_cast<uint8_t>(gap.reason), 0};
  if (qom_writer_gap(writer_.get(), &mark) != 0) fail();
  disk_->written();
}

void Journal::film(const FilmStretch &stretch) {
  const Rectangle &area = stretch.area;
  const QomFilmArea film{clock_.at(stretch.begin),
                         clock_.at(stretch.end),
                         static_cast<uint16_t>(area.x),
                         static_cast<uint16_t>(area.y),
                         static_cast<uint16_t>(area.width),
                         static_cast<uint16_t>(area.height),
                         static_cast<uint32_t>(film_.rate * 1000),
                         static_cast<uint8_t>(film_.quality),
                         0};
  if (qom_writer_film_area(writer_.get(), &film) != 0) fail();
  disk_->written();
}

void Journal::changes(const Picture &picture, const Changes &changes) {
  const int64_t time = steady_time();  // of the pixels; compressing large ones takes a while
  if (!changes.copies.empty()) append_copies(changes.copies, time);
  if (!changes.lossy.empty()) append_areas(picture, changes.lossy, time, film_.quality);
  if (!changes.exact.empty()) append_areas(picture, changes.exact, time, 0);
}

void Journal::append_copies(const std::vector<Copy> &copies, int64_t time) {
  std::vector<QomCopy> all;
  all.reserve(copies.size());
  uint64_t pixels = 0;
  for (const Copy &copy : copies) {
    const Rectangle &from = copy.from;
    all.push_back({static_cast<int16_t>(from.x), static_cast<int16_t>(from.y),
                   static_cast<uint16_t>(from.width), static_cast<uint16_t>(from.height),
                   static_cast<int16_t>(copy.to_x), static_cast<int16_t>(copy.to_y)});
    pixels += uint64_t{all.back().width} * all.back().height;
  }
  QomCopyArea copied{};
  copied.type = QOM_COPY_AREA;
  copied.count = static_cast<uint32_t>(all.size());
  copied.copies = all.data();
  append(copied, time);
  bytes_since_ += all.size() * sizeof(QomCopy);
  pixels_since_ += pixels * pixel_format_bytes_per_pixel(pixel_format_);
}

// A quality of 0 is exact.
void Journal::append_areas(const Picture &picture, const std::vector<Rectangle> &areas,
                           int64_t time, int quality) {
  constexpr size_t head_bytes = 8;
  size_t bytes = 0;
  for (const Rectangle &area : areas) bytes += head_bytes + picture.encoded_size(area);
  pixels_.resize(bytes);
  uint8_t *to = pixels_.data();
  for (const Rectangle &area : areas) {
    to = put(to, static_cast<int16_t>(area.x));
    to = put(to, static_cast<int16_t>(area.y));
    to = put(to, static_cast<uint16_t>(area.width));
    to = put(to, static_cast<uint16_t>(area.height));
    picture.encode(area, to);
    to += picture.encoded_size(area);
  }
  QomImageBlocks blocks{};
  blocks.type = QOM_IMAGE_BLOCKS;
  blocks.length = static_cast<uint32_t>(bytes);
  blocks.data = pixels_.data();
  const std::unique_ptr<QomCompressedImageBlocks, FreeRecord> compressed(
      quality > 0 ? qom_image_blocks_compress_lossy(&blocks, pixel_format_, quality)
                  : qom_image_blocks_compress(&blocks));
  if (!compressed) fail();
  append(*compressed, time);
  bytes_since_ += compressed->compressed_length;
  pixels_since_ += bytes;
}

void Journal::append_picture(const Picture &picture, const std::vector<Rectangle> &lossy) {
  const int64_t time = steady_time();
  const Rectangle whole{0, 0, picture.width(), picture.height()};
  pixels_.resize(picture.encoded_size(whole));
  picture.encode(whole, pixels_.data());
  QomImage image{};
  image.type = QOM_IMAGE;
  image.width = static_cast<uint16_t>(whole.width);
  image.height = static_cast<uint16_t>(whole.height);
  image.pixel_format = pixel_format_;
  image.scanline_pad = recorded_scanline_pad;
  image.bytes_per_line = static_cast<uint32_t>(pixels_.size() / whole.height);
  image.length = static_cast<uint32_t>(pixels_.size());
  image.data = pixels_.data();
  std::vector<QomRectangle> areas;
  areas.reserve(lossy.size());
  for (const Rectangle &area : lossy) areas.push_back({area.x, area.y, area.width, area.height});
  const std::unique_ptr<QomCompressedImage, FreeRecord> compressed(
      areas.empty() ? qom_image_compress(&image)
                    : qom_image_compress_lossy(&image, areas.data(), areas.size(), film_.quality));
  if (!compressed) fail();
  append(*compressed, time);
  checkpoint_bytes_ = compressed->compressed_length;
  checkpoint_is_lossy_ = !areas.empty();
  pixels_of_checkpoint_ = pixels_.size();
}

void Journal::checkpoint(const Picture &picture, const std::vector<Rectangle> &lossy) {
  if (qom_writer_begin_checkpoint(writer_.get()) != 0) fail();
  QomScreenChange size{};
  size.type = QOM_SCREEN_CHANGE;
  size.width = static_cast<uint16_t>(picture.width());
  size.height = static_cast<uint16_t>(picture.height());
  append(size);
  for (const auto &[item, text] : footer_) append_footer(item, text);
  if (last_input_) append_last_input();
  if (cursor_) append_cursor();
  append_picture(picture, lossy);
  if (qom_writer_end_checkpoint(writer_.get()) != 0) fail();
  begun_ = true;
  checkpoint_time_ = steady_time();
  bytes_since_ = 0;
  pixels_since_ = 0;
}

bool Journal::checkpoint_due() const {
  if (pixels_since_ == 0) return false;
  const bool heavy =
      bytes_since_ > (checkpoint_is_lossy_ ? lossy_weight : weight) * checkpoint_bytes_ &&
      pixels_since_ > pictures * pixels_of_checkpoint_;
  const bool long_way = pixels_since_ > most_pictures * pixels_of_checkpoint_;
  return heavy || long_way || steady_time() - checkpoint_time_ > longest;
}

void Journal::finish() {
  QomRecord end{};
  end.type = QOM_DONE;
  append(end);
  disk_.reset();
  if (qom_writer_close(writer_.release()) != 0) fail();
}

}  // namespace qom::record
