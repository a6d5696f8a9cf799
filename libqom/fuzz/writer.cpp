// The input is a script of calls to a writer. Whatever it appends must come back, by every way
// to the index, also when the file is cut off anywhere.
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "base/records.h"
#include "file/payload.h"
#include "forge.h"
#include "memory_file.h"
#include "qom/writer.h"

namespace {

using fuzz::require;
using Record = qom::RecordPtr<QomRecord>;
using qom::IndexSource;

constexpr size_t max_records = 9000;  // enough for two index blocks

class Session {
 public:
  Session(const uint8_t *data, size_t size);
  ~Session() { unlink(path_.c_str()); }
  Session(const Session &) = delete;
  Session &operator=(const Session &) = delete;

  void write();
  void compare_all();
  void compare_cut();

 private:
  void step();
  void append(const void *record, bool good);
  void append_position();
  void append_text(uint8_t type);
  void append_image(bool blocks);
  void append_checkpoint();
  void append_cursor();
  void append_copies();
  void append_gap();

  const std::string path_ = "/dev/shm/qom-fuzz-" + std::to_string(getpid());
  qom::ByteReader script_;
  uint16_t cut_;
  QomHeader header_ = {};
  QomWriter *writer_;
  uint64_t time_ = 1000;
  std::vector<Record> records_;
  size_t gaps_ = 0;
};

Session::Session(const uint8_t *data, size_t size) : script_(data, size) {
  constexpr uint8_t pads[] = {0, 8, 16, 32};
  header_.timestamp = time_;
  header_.width = header_.height = 16;
  header_.depth = 1;
  const uint8_t kind = script_.get<uint8_t>();
  header_.version = kind < 128 ? 1 : 2;
  header_.pixel_format = static_cast<PixelFormat>(1 + kind % 13);
  header_.scanline_pad = pads[script_.get<uint8_t>() % 4];
  cut_ = script_.get<uint16_t>();
  unlink(path_.c_str());
  writer_ = qom_writer_create(path_.c_str(), &header_);
  require(writer_, "a good header is accepted");
}

void Session::append(const void *record, bool good) {
  if (records_.size() >= max_records) return;
  require((qom_writer_append(writer_, record) == 0) == good, "good records alone are accepted");
  if (good) records_.emplace_back(qom_record_dup(record));
}

void Session::append_position() {
  const QomCursorPosition position = {QOM_CURSOR_POSITION, time_, script_.get<int16_t>(),
                                      script_.get<int16_t>()};
  for (size_t times = size_t{1} << script_.get<uint8_t>() % 13; times > 0; --times)
    append(&position, true);
}

void Session::append_text(uint8_t type) {
  const size_t length = script_.get<uint8_t>();
  std::string text(length, 'x');
  if (auto bytes = reinterpret_cast<const char *>(script_.take(length)))
    text.assign(bytes, strnlen(bytes, length));
  const QomLastInput input = {type, time_, text.data(), length % 2 ? nullptr : text.data()};
  append(&input, true);
}

void Session::append_image(bool blocks) {
  const uint16_t width = script_.get<uint8_t>();
  const uint16_t height = script_.get<uint8_t>();
  const auto bits = static_cast<uint8_t>(8 * pixel_format_bytes_per_pixel(header_.pixel_format));
  const uint32_t stride = stride_in_bytes(width, bits, header_.scanline_pad);
  std::vector<uint8_t> data(8 + size_t{stride} * height, script_.get<uint8_t>());
  qom::ByteWriter(data.data()).put(int16_t{-1}).put(int16_t{1}).put(width).put(height);
  const QomImageBlocks list = {QOM_IMAGE_BLOCKS, time_, static_cast<uint32_t>(data.size()),
                               data.data()};
  const QomImage image = {QOM_IMAGE,
                          time_,
                          width,
                          height,
                          -1,
                          1,
                          header_.pixel_format,
                          header_.scanline_pad,
                          stride,
                          stride * height,
                          data.data() + 8};
  const bool good = width > 0 && height > 0;
  append(blocks ? static_cast<const void *>(&list) : &image, good);
  const Record packed(reinterpret_cast<QomRecord *>(qom_image_blocks_compress(&list)));
  if (blocks) append(packed.get(), true);
}

void Session::append_checkpoint() {
  const bool begun = qom_writer_begin_checkpoint(writer_) == 0;
  const QomScreenChange change = {QOM_SCREEN_CHANGE, time_, 2, 1};
  uint8_t data[8] = {};
  const uint32_t stride = stride_in_bytes(
      2, static_cast<uint8_t>(8 * pixel_format_bytes_per_pixel(header_.pixel_format)),
      header_.scanline_pad);
  const QomImage image = {
      QOM_IMAGE, time_,  2,   1, 0, 0, header_.pixel_format, header_.scanline_pad,
      stride,    stride, data};
  const Record packed(reinterpret_cast<QomRecord *>(qom_image_compress(&image)));
  append(&change, true);
  append(packed.get(), true);
  if (begun) qom_writer_end_checkpoint(writer_);
}

void Session::append_cursor() {
  const uint16_t side = script_.get<uint8_t>();
  std::vector<uint8_t> data(size_t{4} * side * side, script_.get<uint8_t>());
  for (size_t i = 0; i < data.size(); i += 1 + script_.get<uint8_t>())
    data[i] = static_cast<uint8_t>(i);
  const QomCursorImage cursor = {
      QOM_CURSOR_IMAGE, time_, side, side, -1, 1, 0, side, 7, static_cast<uint32_t>(data.size()),
      data.data()};
  append(&cursor, side > 0);
}

void Session::append_copies() {
  std::vector<QomCopy> copies(script_.get<uint8_t>());
  uint64_t pixels = 0;
  for (QomCopy &copy : copies) {
    copy = {-1, 1, script_.get<uint16_t>(), script_.get<uint8_t>(), script_.get<uint8_t>(), 0};
    pixels += uint64_t{copy.width} * copy.height;
  }
  const bool good = header_.version == 2 && !copies.empty() &&
                    pixels * pixel_format_bytes_per_pixel(header_.pixel_format) <= QOM_MAX_DATA &&
                    std::all_of(copies.begin(), copies.end(), [](const QomCopy &copy) {
                      return copy.width > 0 && copy.width <= QOM_MAX_SIDE && copy.height > 0;
                    });
  const QomCopyArea copied = {QOM_COPY_AREA, time_, static_cast<uint32_t>(copies.size()),
                              copies.data()};
  append(&copied, good);
}

void Session::append_gap() {
  const QomGap gap = {time_, time_ + script_.get<uint8_t>(), -1, script_.get<uint8_t>(), 0};
  gaps_ += qom_writer_gap(writer_, &gap) == 0;
}

void Session::step() {
  const uint8_t call = script_.get<uint8_t>();
  time_ += script_.get<uint8_t>();
  switch (call % 11) {
    case 0:
      return append_position();
    case 1:
      return append_text(QOM_LAST_INPUT);
    case 2:
      return append_text(QOM_FOOTER_ITEM_APPFMT);
    case 3:
      return append_image(false);
    case 4:
      return append_image(true);
    case 5:
      return append_checkpoint();
    case 6:
      qom_writer_begin_checkpoint(writer_);
      return;
    case 8:
      return append_cursor();
    case 9:
      return append_gap();
    case 10:
      return append_copies();
    default:
      qom_writer_end_checkpoint(writer_);
  }
}

void Session::write() {
  while (script_.left() > 0) step();
  require(qom_writer_close(writer_) == 0, "a writer can be closed");
}

// Compares by writing both once more, in the one form that has no pointers.
bool equal(const QomRecord *a, const QomRecord *b, const qom::ImageFormat &format) {
  qom::EncodedPayload one;
  qom::EncodedPayload other;
  if (a->type != b->type || a->timestamp != b->timestamp || !encode_payload(a, format, &one) ||
      !encode_payload(b, format, &other) || one.part_count != other.part_count)
    return false;
  for (int i = 0; i < one.part_count; ++i)
    if (one.parts[i].iov_len != other.parts[i].iov_len ||
        std::memcmp(one.parts[i].iov_base, other.parts[i].iov_base, one.parts[i].iov_len) != 0)
      return false;
  return true;
}

bool same(const qom::Index &a, const qom::Index &b) {
  return a.entries.size() == b.entries.size() && a.checkpoints.size() == b.checkpoints.size() &&
         std::equal(a.entries.begin(), a.entries.end(), b.entries.begin(),
                    [](const QomIndexEntry &x, const QomIndexEntry &y) {
                      return std::memcmp(&x, &y, sizeof x) == 0;
                    }) &&
         std::equal(a.checkpoints.begin(), a.checkpoints.end(), b.checkpoints.begin(),
                    [](const qom::Checkpoint &x, const qom::Checkpoint &y) {
                      return x.first == y.first && x.end == y.end;
                    });
}

void Session::compare_all() {
  QomReader *reader = qom_reader_open(path_.c_str());
  require(reader && qom_reader_index_length(reader) == records_.size(), "all records come back");
  for (size_t i = 0; i < records_.size(); ++i) {
    const Record record(qom_record_at_index(reader, i));
    require(record && equal(record.get(), records_[i].get(),
                            {header_.pixel_format, header_.scanline_pad}),
            "every record comes back as it was");
  }
  size_t gaps = 0;
  qom_reader_gaps(reader, &gaps);
  require(gaps == gaps_, "all gaps come back");
  qom_reader_close(reader);
  qom::Index index;
  qom::Index chain;
  qom::Index walk;
  require(forge::load(path_.c_str(), IndexSource::end_mark, &index) &&
              forge::load(path_.c_str(), IndexSource::chain, &chain) &&
              forge::load(path_.c_str(), IndexSource::walk, &walk),
          "the index can be had in three ways");
  require(index.info.state == QOM_STATE_FINISHED && same(index, chain) && same(index, walk),
          "the index is the same in three ways");
}

// Cuts the file off somewhere: what remains opens, and its index is the beginning of the whole.
void Session::compare_cut() {
  qom::Index whole;
  require(forge::load(path_.c_str(), IndexSource::walk, &whole), "the whole file opens");
  const uint64_t frames = whole.entries.empty() ? whole.info.file_size
                                                : static_cast<uint64_t>(whole.entries[0].position);
  const uint64_t size = frames + (whole.info.file_size - frames) * cut_ / 65536;
  require(truncate(path_.c_str(), static_cast<off_t>(size)) == 0, "the file can be cut");
  qom::Index index;
  qom::Index walk;
  require(forge::load(path_.c_str(), IndexSource::end_mark, &index) &&
              forge::load(path_.c_str(), IndexSource::walk, &walk),
          "a cut file opens");
  size_t complete = 0;
  for (const QomIndexEntry &entry : whole.entries)
    complete += static_cast<uint64_t>(entry.position) + 32 + entry.length <= size;
  require(index.entries.size() == complete && same(index, walk) &&
              index.info.state != QOM_STATE_DAMAGED,
          "exactly the complete records are there");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 4) return 0;
  Session session(data, size);
  session.write();
  session.compare_all();
  session.compare_cut();
  return 0;
}
