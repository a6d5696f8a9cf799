// What the tests of the library share: a folder of its own for each test, verbs on the file in
// it, and records to put into it.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "forge.h"
#include "qom/writer.h"
#include "records.h"

using forge::Bytes;
using Record = qom::RecordPtr<QomRecord>;

struct ReaderClose {
  void operator()(QomReader *reader) const { qom_reader_close(reader); }
};
using Reader = std::unique_ptr<QomReader, ReaderClose>;

// Every field of a record as text; bytes in hexadecimal. Two records are the same when their
// descriptions are.
std::string describe(const void *record);

// The header of most recordings here: 64x48, 32 bits, starting at 1000.
QomHeader sample_header(PixelFormat format = xRGB8888, uint8_t scanline_pad = 32);

// One copy of a record that lies on the caller's stack.
template <typename T>
Record keep(const T &record) {
  return Record(qom_record_dup(&record));
}

Record image(const QomHeader &header, uint64_t time, uint16_t width, uint16_t height);
Record compressed_image(const QomHeader &header, uint64_t time, uint16_t width, uint16_t height);
Record image_blocks(const QomHeader &header, uint64_t time);
Record compressed_blocks(const QomHeader &header, uint64_t time);
Record text_record(uint8_t type, uint64_t time, const char *text);
Record position(uint64_t time, int16_t x = 0, int16_t y = 0);
Record screen_change(uint64_t time, uint16_t width, uint16_t height);

// A record of every type, with times from the header's on.
std::vector<Record> every_record(const QomHeader &header);

class RecordingTest : public testing::Test {
 protected:
  RecordingTest();
  ~RecordingTest() override;

  // --- writing
  QomWriter *create(const QomHeader &header = sample_header());
  void append(QomWriter *writer, const std::vector<Record> &records);
  void close(QomWriter *writer);
  // Writes a whole recording; without `finish` it is left as a killed writer leaves it.
  void write(const QomHeader &header, const std::vector<Record> &records, bool finish = true);
  // A checkpoint of a whole screen of 8x4.
  void append_checkpoint(QomWriter *writer, uint64_t time);

  // --- the bytes of the file
  Bytes contents() const;
  void put(const Bytes &bytes);
  void truncate(size_t length);
  void append_garbage(const Bytes &garbage);

  // --- reading
  Reader open();
  // The reason why the file does not open; errno has to be the given one.
  std::string refusal(int error);
  // Descriptions of all records; "error: REASON" in place of one that cannot be read. The
  // independent reader has to find the same, unless `index_lies`.
  std::vector<std::string> records();
  QomReaderInfo info();
  // Kind of everything that a scan finds.
  std::vector<QomScanKind> scan();

  std::string folder;
  std::string path;  // of the recording
  bool index_lies = false;

 private:
  void compare_with_independent(QomReader *reader) const;
};

std::vector<std::string> describe_all(const std::vector<Record> &records);

// How the index looks that is found from `source` on: entries, checkpoints.
std::string index_from(const std::string &path, qom::IndexSource source);
