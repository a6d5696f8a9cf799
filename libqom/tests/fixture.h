// What the tests of the library share: a folder of its own for each test, verbs on the file in
// it, and records to put into it.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "forge.h"
#include "qom/writer.h"

using forge::Bytes;

struct ReaderClose {
  void operator()(QomReader *reader) const { qom_reader_close(reader); }
};
using Reader = std::unique_ptr<QomReader, ReaderClose>;

struct RecordFree {
  void operator()(void *record) const { qom_record_free(record); }
};
using Record = std::unique_ptr<QomRecord, RecordFree>;
using Texts = std::vector<std::string>;

// A record seen as the structure of its type.
template <typename T>
T &as(const Record &record) {
  return *reinterpret_cast<T *>(record.get());
}

// A list of records, which cannot be written in braces because they cannot be copied.
template <typename... More>
std::vector<Record> list(More... records) {
  std::vector<Record> all;
  (all.push_back(std::move(records)), ...);
  return all;
}

inline Bytes operator+(Bytes a, const Bytes &b) {
  forge::append(&a, b);
  return a;
}

// Every field of a record as text; bytes in hexadecimal. Two records are the same when their
// descriptions are.
std::string describe(const void *record);
Texts describe_all(const std::vector<Record> &records);

// The header of most recordings here: 64x48, 32 bits, starting at 1000.
QomHeader sample_header(PixelFormat format = xRGB8888, uint8_t scanline_pad = 32);

// One copy of a record that lies on the caller's stack.
template <typename T>
Record keep(const T &record) {
  return Record(qom_record_dup(&record));
}

Record image(const QomHeader &header, uint64_t time, uint16_t width, uint16_t height);
Record image_blocks(const QomHeader &header, uint64_t time);
Record text_record(uint8_t type, uint64_t time, const char *text);
Record position(uint64_t time, int16_t x = 0, int16_t y = 0);
Record screen_change(uint64_t time, uint16_t width, uint16_t height);

// An image or image blocks through the compressor, and back; none when it refuses.
bool is_compressed(const Record &record);
Record compressed(const Record &plain);
Record uncompressed(const Record &packed);

// The same, about so many bytes of pixels at a time.
Record uncompressed_in_parts(const Record &packed, size_t bytes);

// A record of every type, with times from the header's on.
std::vector<Record> every_record(const QomHeader &header);

class RecordingTest : public testing::Test {
 public:
  RecordingTest(const RecordingTest &) = delete;
  RecordingTest &operator=(const RecordingTest &) = delete;

 protected:
  RecordingTest();
  ~RecordingTest() override;

  // --- writing; a recording that is there gives way
  QomWriter *create(const QomHeader &header = sample_header());
  void append(QomWriter *writer, const std::vector<Record> &records);
  void append_positions(QomWriter *writer, int count, uint64_t time = 1000);
  // A checkpoint of a whole screen of 8x4.
  void append_checkpoint(QomWriter *writer, uint64_t time);
  // Closes the writer and returns how long the file was before its index: cut off there, it is
  // as a killed writer leaves it.
  size_t close(QomWriter *writer);
  void write(const QomHeader &header, const std::vector<Record> &records, bool finish = true);

  // --- the bytes of the file
  Bytes contents() const;
  void put(const Bytes &bytes);
  void truncate(size_t length);

  // --- reading
  Reader open();
  // The reason why the file does not open; errno has to be the given one.
  std::string refusal(int error = 0);
  // Descriptions of all records; "error: REASON" in place of one that cannot be read. The
  // independent reader has to find the same, unless `index_lies`.
  Texts records();
  // The pixels of each image and of each record of blocks, as the independent reader unpacks them.
  Texts independent_pixels();
  std::vector<QomIndexEntry> entries();
  QomReaderInfo info();
  // Those of records() that can be read.
  Texts good_records();
  // Kind of everything that a scan finds.
  std::vector<QomScanKind> scan();

  std::string folder;
  std::string path;  // of the recording
  bool index_lies = false;

 private:
  void compare_with_independent(QomReader *reader);
};

// How the index looks that is found from `source` on: entries, checkpoints.
std::string index_from(const std::string &path, qom::IndexSource source);
