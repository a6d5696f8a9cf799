#include "fixture.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <span>

#include "base/records.h"

namespace {

std::string quoted(const char *text) {
  return text ? " \"" + std::string(text) + "\"" : " none";
}

std::string hex(const void *data, size_t length) {
  std::string text = ' ' + std::to_string(length) + ':';
  for (auto at = static_cast<const uint8_t *>(data), end = at + length; at < end; ++at) {
    text += "0123456789abcdef"[*at / 16];
    text += "0123456789abcdef"[*at % 16];
  }
  return text;
}

template <typename... Fields>
std::string numbers(Fields... fields) {
  std::string text;
  ((text += ' ' + std::to_string(fields)), ...);
  return text;
}

template <typename Image>
std::string geometry_of(const Image &i) {
  return numbers(i.width, i.height, i.x, i.y, int{i.pixel_format}, i.scanline_pad, i.length);
}

template <typename T>
const T &as(const QomRecord *record) {
  return *reinterpret_cast<const T *>(record);
}

std::string line_of(const QomOrigin &o) {
  std::string text = "origin" +
                     numbers(o.begin, o.end, o.start, o.size, o.lost, o.untrusted, o.has_sha256) +
                     hex(o.sha256, sizeof o.sha256) + numbers(o.mask_count);
  for (const QomRectangle &mask : std::span(o.masks, o.mask_count))
    text += numbers(mask.x, mask.y, mask.width, mask.height);
  return text + quoted(o.name) + '\n';
}

std::string fields_of(const QomRecord *record) {
  switch (record->type) {
    case QOM_HEADER: {
      auto &h = as<QomHeader>(record);
      return numbers(h.version, h.depth, h.width, h.height, int{h.pixel_format}, h.scanline_pad,
                     h.min_keycode, h.max_keycode) +
             hex(h.palette, h.palette_size * sizeof(RgbValue)) + quoted(h.user) + quoted(h.tfn);
    }
    case QOM_IMAGE: {
      auto &i = as<QomImage>(record);
      return geometry_of(i) + numbers(i.bytes_per_line) + hex(i.data, i.length);
    }
    case QOM_COMPRESSED_IMAGE: {
      auto &i = as<QomCompressedImage>(record);
      return geometry_of(i) + hex(i.data, i.compressed_length);
    }
    case QOM_CURSOR_IMAGE: {
      auto &c = as<QomCursorImage>(record);
      return numbers(c.width, c.height, c.x, c.y, c.xhot, c.yhot, c.cursor_serial) +
             hex(c.data, c.length);
    }
    case QOM_CURSOR_POSITION:
      return numbers(as<QomCursorPosition>(record).x, as<QomCursorPosition>(record).y);
    case QOM_SCREEN_CHANGE:
      return numbers(as<QomScreenChange>(record).width, as<QomScreenChange>(record).height);
    case QOM_LAST_INPUT:
      return quoted(as<QomLastInput>(record).user) + quoted(as<QomLastInput>(record).tfn);
    case QOM_IMAGE_BLOCKS:
      return hex(as<QomImageBlocks>(record).data, as<QomImageBlocks>(record).length);
    case QOM_COMPRESSED_IMAGE_BLOCKS: {
      auto &b = as<QomCompressedImageBlocks>(record);
      return numbers(b.length) + hex(b.data, b.compressed_length);
    }
    case QOM_COPY_AREA: {
      auto &area = as<QomCopyArea>(record);
      std::string text;
      for (const QomCopy &c : std::span(area.copies, area.count))
        text += numbers(c.x, c.y, c.width, c.height, c.to_x, c.to_y);
      return text;
    }
    default:
      return qom::is_footer_type(record->type) ? quoted(as<QomFooterItem>(record).item) : "";
  }
}

constexpr size_t max_compared = 256 * 1024;  // bytes of a file that the second reader reads too

// Pixels that do not repeat, and that show when rows or bytes are swapped.
Bytes pixels(size_t length) {
  Bytes bytes(length);
  for (size_t i = 0; i < length; ++i) bytes[i] = static_cast<uint8_t>(i * 37 + i / 64);
  return bytes;
}

uint32_t row_bytes(const QomHeader &header, uint16_t width) {
  return stride_in_bytes(
      width, static_cast<uint8_t>(8 * pixel_format_bytes_per_pixel(header.pixel_format)),
      header.scanline_pad);
}

// The second reader, which goes on as long as the tests.
class IndependentReader {
 public:
  IndependentReader() {
    const std::string answers = testing::TempDir() + "/qom-answers-" + std::to_string(getpid());
    if (mkfifo(answers.c_str(), 0600) != 0) std::abort();
    ask_ = popen((QOM_PYTHON " " QOM_INDEPENDENT_READER " >" + answers).c_str(), "w");
    hear_.open(answers, std::ios::binary);
    std::filesystem::remove(answers);
  }

  std::string read(const std::string &path) {
    std::fprintf(ask_, "%s\n", path.c_str());
    std::fflush(ask_);
    size_t length = 0;
    if (!(hear_ >> length)) return "the second reader does not answer\n";
    hear_.get();
    std::string text(length, 0);
    hear_.read(text.data(), static_cast<std::streamsize>(length));
    return text;
  }

 private:
  FILE *ask_;
  std::ifstream hear_;
};

IndependentReader &independent_reader() {
  static IndependentReader reader;
  return reader;
}

std::string line_of(const void *record) {
  const std::string words = describe(record);
  const auto type = static_cast<const QomRecord *>(record)->type;
  return std::to_string(type) + words.substr(words.find(" at ")) + '\n';
}

// The steps in which something happened.
std::string strip_of(QomReader *reader) {
  QomActivity activity;
  if (qom_reader_activity(reader, &activity) != 0) return "no strip\n";
  std::string text = "strip" + numbers(activity.start, activity.width, activity.count) + '\n';
  for (size_t i = 0; i < activity.count; ++i) {
    const QomActivityStep &step = activity.steps[i];
    if ((step.bytes | step.area | step.input | step.moves | step.apps) == 0) continue;
    text += "step" + numbers(i, step.bytes, step.area, step.input, step.moves, step.apps) + '\n';
  }
  return text;
}

}  // namespace

std::string describe(const void *data) {
  auto record = static_cast<const QomRecord *>(data);
  if (!record) return "none";
  return std::string(qom_record_type_to_string(static_cast<QomRecordType>(record->type))) + " at" +
         numbers(record->timestamp) + fields_of(record);
}

Texts describe_all(const std::vector<Record> &records) {
  Texts texts;
  for (const Record &record : records) texts.push_back(describe(record.get()));
  return texts;
}

QomHeader sample_header(PixelFormat format, uint8_t scanline_pad) {
  QomHeader header = {};
  header.type = QOM_HEADER;
  header.version = 2;
  header.timestamp = 1000;
  header.depth = static_cast<uint8_t>(pixel_format_bytes_per_pixel(format) * 8);
  header.width = 64;
  header.height = 48;
  header.pixel_format = format;
  header.scanline_pad = scanline_pad;
  header.min_keycode = 8;
  header.max_keycode = 255;
  return header;
}

Record image(const QomHeader &header, uint64_t time, uint16_t width, uint16_t height) {
  const uint32_t row = row_bytes(header, width);
  Bytes data = pixels(size_t{row} * height);
  return keep(QomImage{QOM_IMAGE, time, width, height, 0, 0, header.pixel_format,
                       header.scanline_pad, row, row * height, data.data()});
}

Record image_blocks(const QomHeader &header, uint64_t time) {
  Bytes data;
  for (const auto &[width, height] :
       {std::pair<uint16_t, uint16_t>{5, 2}, {1, 1}, {3, 4}, {9, 6}}) {
    forge::append(&data, int16_t{-7});
    forge::append(&data, int16_t{9});
    forge::append(&data, width);
    forge::append(&data, height);
    forge::append(&data, pixels(size_t{row_bytes(header, width)} * height));
  }
  return keep(
      QomImageBlocks{QOM_IMAGE_BLOCKS, time, static_cast<uint32_t>(data.size()), data.data()});
}

Record text_record(uint8_t type, uint64_t time, const char *text) {
  return keep(QomFooterItem{type, time, const_cast<char *>(text)});
}

Record position(uint64_t time, int16_t x, int16_t y) {
  return keep(QomCursorPosition{QOM_CURSOR_POSITION, time, x, y});
}

Record screen_change(uint64_t time, uint16_t width, uint16_t height) {
  return keep(QomScreenChange{QOM_SCREEN_CHANGE, time, width, height});
}

bool is_compressed(const Record &record) {
  return record->type == QOM_COMPRESSED_IMAGE || record->type == QOM_COMPRESSED_IMAGE_BLOCKS;
}

Record compressed(const Record &plain) {
  void *packed = plain->type == QOM_IMAGE
                     ? static_cast<void *>(qom_image_compress(&as<QomImage>(plain)))
                     : qom_image_blocks_compress(&as<QomImageBlocks>(plain));
  return Record(static_cast<QomRecord *>(packed));
}

Record uncompressed(const Record &packed) {
  void *plain = packed->type == QOM_COMPRESSED_IMAGE
                    ? static_cast<void *>(qom_image_uncompress(&as<QomCompressedImage>(packed)))
                    : qom_image_blocks_uncompress(&as<QomCompressedImageBlocks>(packed));
  return Record(static_cast<QomRecord *>(plain));
}

Record uncompressed_in_parts(const Record &packed, size_t bytes) {
  QomRecord *plain = nullptr;
  QomUncompression *going = qom_uncompression_begin(packed.get());
  while (going && qom_uncompression_go_on(going, bytes, &plain) == 0) continue;
  qom_uncompression_end(going);
  return Record(plain);
}

std::vector<Record> every_record(const QomHeader &header) {
  uint64_t time = header.timestamp;
  QomHeader inner = header;
  inner.timestamp = time + 5;
  inner.version = 77;
  RgbValue palette[] = {{1, 2, 3, 4}, {65535, 0, 65535, 9}};
  inner.palette = palette;
  inner.palette_size = 2;
  char user[] = "inner";
  inner.user = inner.tfn = user;
  Bytes cursor = pixels(3 * 2 * 4);
  Bytes flat_cursor(16 * 8 * 4, 0x55);
  char tfn[] = "\xC3\xA9 \x01 text";
  std::vector<Record> records =
      list(keep(QomRecord{QOM_DEBUG, time}), keep(inner), image(header, time + 5, 7, 3),
           compressed(image(header, time + 6, 5, 4)),
           keep(QomCursorImage{QOM_CURSOR_IMAGE, time + 6, 3, 2, -30000, 30000, 3, 2, 0xFFFFFFFF,
                               24, cursor.data()}),
           keep(QomCursorImage{QOM_CURSOR_IMAGE, time + 6, 16, 8, 1, 2, 0, 8, 9, 512,
                               flat_cursor.data()}),
           position(time + 6, INT16_MIN, INT16_MAX), screen_change(time + 1000006, 0, 65535),
           keep(QomLastInput{QOM_LAST_INPUT, time + 1000006, nullptr, tfn}));
  time += 1000006;
  for (const uint8_t type : {QOM_FOOTER_ITEM_APP, QOM_FOOTER_ITEM_HOST, QOM_FOOTER_ITEM_IP,
                             QOM_FOOTER_ITEM_SID, QOM_FOOTER_ITEM_TID, QOM_FOOTER_ITEM_APPFMT})
    records.push_back(text_record(type, ++time, type % 2 ? "odd" : ""));
  QomCopy copies[] = {{-3, 1, 16384, 2, 7, -32768}, {0, 0, 1, 1, 32767, 9}};
  if (header.version == 2) records.push_back(keep(QomCopyArea{QOM_COPY_AREA, time, 2, copies}));
  for (Record &record :
       list(text_record(QOM_FOOTER_ITEM_APP, time, nullptr), image_blocks(header, time + 1),
            compressed(image_blocks(header, time + 1)), keep(QomRecord{QOM_DONE, time + 2})))
    records.push_back(std::move(record));
  return records;
}

RecordingTest::RecordingTest() {
  folder = testing::TempDir() + "/qom-XXXXXX";
  if (!mkdtemp(folder.data())) throw std::filesystem::filesystem_error("mkdtemp", {});
  path = folder + "/recording";
}

RecordingTest::~RecordingTest() {
  std::filesystem::remove_all(folder);
}

QomWriter *RecordingTest::create(const QomHeader &header) {
  std::filesystem::remove(path);
  QomWriter *writer = qom_writer_create(path.c_str(), &header);
  EXPECT_TRUE(writer) << qom_reader_error();
  return writer;
}

void RecordingTest::append(QomWriter *writer, const std::vector<Record> &records) {
  for (const Record &record : records)
    ASSERT_EQ(qom_writer_append(writer, record.get()), 0)
        << describe(record.get()) << ": " << qom_reader_error();
}

void RecordingTest::append_positions(QomWriter *writer, int count, uint64_t time) {
  for (int i = 0; i < count; ++i) append(writer, list(position(time + static_cast<uint64_t>(i))));
}

void RecordingTest::append_checkpoint(QomWriter *writer, uint64_t time) {
  ASSERT_EQ(qom_writer_begin_checkpoint(writer), 0) << qom_reader_error();
  append(writer, list(screen_change(time, 8, 4), compressed(image(sample_header(), time, 8, 4))));
  ASSERT_EQ(qom_writer_end_checkpoint(writer), 0) << qom_reader_error();
}

size_t RecordingTest::close(QomWriter *writer) {
  const size_t size = std::filesystem::file_size(path);
  EXPECT_EQ(qom_writer_close(writer), 0) << qom_reader_error();
  return size;
}

void RecordingTest::write(const QomHeader &header, const std::vector<Record> &records,
                          bool finish) {
  QomWriter *writer = create(header);
  append(writer, records);
  const size_t frames = close(writer);
  if (!finish) truncate(frames);
}

Bytes RecordingTest::contents() const {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), {});
}

void RecordingTest::put(const Bytes &bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char *>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

void RecordingTest::truncate(size_t length) {
  std::filesystem::resize_file(path, length);
}

Reader RecordingTest::open() {
  Reader reader(qom_reader_open(path.c_str()));
  EXPECT_TRUE(reader) << qom_reader_error();
  return reader;
}

std::string RecordingTest::refusal(int error) {
  errno = -1;
  const Reader reader(qom_reader_open(path.c_str()));
  EXPECT_EQ(errno, error);
  return reader ? "it opens" : qom_reader_error();
}

Texts RecordingTest::records() {
  Texts texts;
  const Reader reader = open();
  if (!reader) return texts;
  if (!index_lies) compare_with_independent(reader.get());
  for (size_t i = 0; i < qom_reader_index_length(reader.get()); ++i) {
    const Record record(qom_record_at_index(reader.get(), i));
    texts.push_back(record ? describe(record.get()) : std::string("error: ") + qom_reader_error());
  }
  return texts;
}

Texts RecordingTest::good_records() {
  Texts texts = records();
  std::erase_if(texts, [](const std::string &text) { return text.rfind("error: ", 0) == 0; });
  return texts;
}

Texts RecordingTest::independent_pixels() {
  std::istringstream lines(independent_reader().read("pixels " + path));
  Texts pixels;
  for (std::string line; std::getline(lines, line);) pixels.push_back(line);
  return pixels;
}

// What the reader finds, in the words of the second one.
void RecordingTest::compare_with_independent(QomReader *reader) {
  if (std::filesystem::file_size(path) > max_compared) return;
  IndependentReader &other = independent_reader();
  std::string text = line_of(qom_info_header(reader));
  bool all = true;
  std::set<std::pair<size_t, size_t>> checkpoints;
  for (size_t i = 0; i < qom_reader_index_length(reader); ++i) {
    const Record record(qom_record_at_index(reader, i));
    if (record) text += line_of(record.get());
    all = all && record;
    std::pair<size_t, size_t> run;
    if (qom_checkpoint_before(reader, i, &run.first, &run.second)) checkpoints.insert(run);
  }
  for (const auto &[first, end] : checkpoints) text += "checkpoint" + numbers(first, end) + '\n';
  size_t count = 0;
  const QomGap *gaps = qom_reader_gaps(reader, &count);
  for (const QomGap *gap = gaps; gap != gaps + count; ++gap)
    text += "gap" + numbers(gap->begin, gap->end, gap->clock_offset, gap->reason) + '\n';
  const QomFilmArea *film = qom_reader_film_areas(reader, &count);
  for (const QomFilmArea &area : std::span(film, count))
    text += "film" +
            numbers(area.begin, area.end, area.x, area.y, area.width, area.height, area.rate,
                    area.quality) +
            '\n';
  const QomOrigin *origins = qom_reader_origins(reader, &count);
  for (const QomOrigin &origin : std::span(origins, count)) text += line_of(origin);
  std::string told = other.read(path);
  // What happened when is counted from the index, which has records that cannot be read as well.
  const size_t strip = told.find("strip");
  if (all)
    text += strip_of(reader);
  else if (strip != std::string::npos)
    told.resize(strip);
  EXPECT_EQ(text, told);
}

std::vector<QomIndexEntry> RecordingTest::entries() {
  const Reader reader = open();
  const QomIndexEntry *index = qom_reader_index(reader.get());
  return {index, index + qom_reader_index_length(reader.get())};
}

QomReaderInfo RecordingTest::info() {
  QomReaderInfo info = {};
  const Reader reader = open();
  EXPECT_TRUE(reader && qom_reader_info(reader.get(), &info) == 0) << qom_reader_error();
  return info;
}

std::vector<QomScanKind> RecordingTest::scan() {
  std::vector<QomScanKind> kinds;
  const auto collect = [](void *all, const QomScanEvent *event) {
    static_cast<std::vector<QomScanKind> *>(all)->push_back(event->kind);
    return 0;
  };
  const Reader reader = open();
  EXPECT_TRUE(reader && qom_reader_scan(reader.get(), collect, &kinds) == 0) << qom_reader_error();
  return kinds;
}

std::string index_from(const std::string &path, qom::IndexSource source) {
  qom::Index index;
  if (!forge::load(path.c_str(), source, &index)) return qom_reader_error();
  std::string text;
  for (const QomIndexEntry &entry : index.entries)
    text += numbers(entry.position, entry.timestamp, entry.type, entry.flags, entry.area,
                    entry.length) +
            '\n';
  for (const qom::Checkpoint &checkpoint : index.checkpoints)
    text += "checkpoint" + numbers(checkpoint.first, checkpoint.end) + '\n';
  return text;
}
