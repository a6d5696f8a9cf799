/*
 * How fast recordings open and how fast their records are read, each as a ratio to reading the
 * same bytes from the file.
 */
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "base/checksum.h"
#include "qom/writer.h"
#include "ratio.h"

namespace {

constexpr size_t many_records = 1'000'000;
constexpr size_t desktop_bytes = 96u << 20;

/* A folder that goes away with its files. */
class Folder {
 public:
  Folder() {
    std::string name = std::filesystem::temp_directory_path() / "qom-bench-XXXXXX";
    if (!mkdtemp(name.data())) fail("cannot make a folder");
    path_ = name;
  }
  Folder(const Folder &) = delete;
  Folder &operator=(const Folder &) = delete;
  ~Folder() { std::filesystem::remove_all(path_); }

  std::string file(const char *name) const { return path_ + "/" + name; }

  [[noreturn]] static void fail(const char *what) {
    std::fprintf(stderr, "%s: %s\n", what, qom_reader_error());
    std::exit(1);
  }

 private:
  std::string path_;
};

void check(bool good, const char *what) {
  if (!good) Folder::fail(what);
}

QomWriter *create(const std::string &path) {
  QomHeader header = {};
  header.timestamp = 1;
  header.depth = 24;
  header.width = 1920;
  header.height = 1080;
  header.pixel_format = xRGB8888;
  header.scanline_pad = 32;
  QomWriter *writer = qom_writer_create(path.c_str(), &header);
  check(writer, "cannot create a recording");
  return writer;
}

void append(QomWriter *writer, const void *record) {
  check(qom_writer_append(writer, record) == 0, "cannot append");
}

void append_position(QomWriter *writer, uint64_t time) {
  const QomCursorPosition position = {QOM_CURSOR_POSITION, time, 1, 2};
  append(writer, &position);
}

void write_many(const std::string &path) {
  QomWriter *writer = create(path);
  for (uint64_t i = 1; i <= many_records; ++i) append_position(writer, i);
  check(qom_writer_close(writer) == 0, "cannot finish");
}

/* What a busy desktop leaves: ten frames a second of 16 KiB on average (bytes that look
   compressed, since nothing here looks into them), the cursor between them, and a picture of
   the whole screen every ten seconds. */
void write_desktop(const std::string &path) {
  QomWriter *writer = create(path);
  std::mt19937 random(1);
  std::exponential_distribution<double> size(1.0 / 16384);
  std::vector<uint8_t> bytes(1 << 20);
  for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random());
  bytes[0] = 1;
  uint64_t time = 1;
  for (size_t written = 0; written < desktop_bytes; time += 100000) {
    QomCompressedImageBlocks blocks = {QOM_COMPRESSED_IMAGE_BLOCKS, time, 100000, 0, bytes.data()};
    blocks.compressed_length = 16 + static_cast<uint32_t>(size(random)) % 500000;
    append(writer, &blocks);
    for (uint64_t i = 0; i < 5; ++i) append_position(writer, time + i);
    written += blocks.compressed_length;
    if (time / 100000 % 100 != 0) continue;
    const QomCompressedImage image = {
        QOM_COMPRESSED_IMAGE, time + 5, 1920,        1080, 0, 0, xRGB8888, 32,
        1920 * 1080 * 4,      200000,   bytes.data()};
    append(writer, &image);
    written += image.compressed_length;
  }
  check(qom_writer_close(writer) == 0, "cannot finish");
}

uint64_t size_of(const std::string &path) {
  return std::filesystem::file_size(path);
}

/* Reads the bytes [from, to) of the file in pieces, as the yardsticks do. */
class Pieces {
 public:
  Pieces(const std::string &path, size_t piece)
      : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC)), bytes_(piece) {}
  Pieces(const Pieces &) = delete;
  Pieces &operator=(const Pieces &) = delete;
  ~Pieces() { close(fd_); }

  void read(uint64_t from, uint64_t to, qom::Crc32c *crc) {
    while (from < to) {
      const size_t wanted = std::min<uint64_t>(bytes_.size(), to - from);
      check(pread(fd_, bytes_.data(), wanted, static_cast<off_t>(from)) ==
                static_cast<ssize_t>(wanted),
            "cannot read");
      if (crc) crc->add(bytes_.data(), wanted);
      from += wanted;
    }
  }

 private:
  int fd_;
  std::vector<uint8_t> bytes_;
};

QomReader *open_indexed(const std::string &path, size_t records) {
  QomReader *reader = qom_reader_open(path.c_str());
  check(reader && qom_reader_index(reader) && qom_reader_index_length(reader) == records,
        "cannot open");
  return reader;
}

uint64_t last_end(const std::string &path, size_t records) {
  QomReader *reader = open_indexed(path, records);
  const QomIndexEntry &last = qom_reader_index(reader)[records - 1];
  const uint64_t end = static_cast<uint64_t>(last.position) + 32 + last.length;
  qom_reader_close(reader);
  return end;
}

size_t allocated() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

void measure_opening(const Folder &folder, const bench::Options &options) {
  const std::string finished = folder.file("finished");
  const std::string unfinished = folder.file("unfinished");
  write_many(finished);
  const uint64_t index_at = last_end(finished, many_records);
  std::filesystem::copy_file(finished, unfinished);
  std::filesystem::resize_file(unfinished, index_at);

  Pieces pieces(finished, size_of(finished) - index_at);
  const bench::Work index_bytes = [&] { pieces.read(index_at, size_of(finished), nullptr); };
  const auto opening = [](const std::string &path) {
    return [path] { qom_reader_close(open_indexed(path, many_records)); };
  };
  const bench::Work first_look = [&finished] {
    QomReader *reader = qom_reader_open(finished.c_str());
    check(reader && qom_reader_index_length(reader) == many_records, "cannot open");
    QomRecord *record = qom_record_at_index(reader, many_records / 2);
    check(record, "cannot read a record");
    qom_record_free(record);
    qom_reader_close(reader);
  };
  const auto cost =
      bench::costs(index_bytes, {opening(finished), opening(unfinished), first_look}, options);
  const std::string yardstick = "one pread of the index bytes";
  bench::Table table(options, "Opening 1,000,000 records");
  table.row({"opening a finished recording", yardstick}, cost[0], bench::at_most(3));
  table.row({"opening an unfinished recording", yardstick}, cost[1], bench::at_most(10));
  table.row({"opening a finished recording and reading a record in its middle", yardstick}, cost[2],
            bench::at_most(0.1));
  table.close();

  bench::Table memory(options, "Memory of an open reader of 1,000,000 records");
  for (const std::string &path : {finished, unfinished}) {
    const size_t before = allocated();
    QomReader *reader = open_indexed(path, many_records);
    const std::string kind = path == finished ? "a finished" : "an unfinished";
    memory.row({"bytes of memory for each record of " + kind + " recording", ""},
               static_cast<double>(allocated() - before) / many_records, bench::at_most(40));
    qom_reader_close(reader);
  }
  memory.close();
}

void read_all(QomReader *reader) {
  const size_t records = qom_reader_index_length(reader);
  for (size_t i = 0; i < records; ++i) {
    QomRecord *record = qom_record_at_index(reader, i);
    check(record, "cannot read a record");
    qom_record_free(record);
  }
}

void measure_reading(const Folder &folder, const bench::Options &options) {
  const std::string desktop = folder.file("desktop");
  write_desktop(desktop);
  const std::string many = folder.file("finished");
  bench::Table table(options, "Reading all records");
  for (const std::string &path : {desktop, many}) {
    Pieces pieces(path, 1 << 20);
    QomReader *reader = qom_reader_open(path.c_str());
    check(reader && qom_reader_index(reader), "cannot open");
    const uint64_t end = last_end(path, qom_reader_index_length(reader));
    const bench::Work yardstick = [&] {
      qom::Crc32c crc;
      pieces.read(0, end, &crc);
    };
    const double cost = bench::cost(
        yardstick, [&] { read_all(reader); }, options);
    if (path == desktop)
      table.row({"speed of reading all records", "pread of 1 MiB pieces and their checksum"},
                1 / cost, bench::at_least(0.5));
    else
      std::printf("%-60s %8.3g\n", "the same, 1,000,000 records of 36 bytes", 1 / cost);
    qom_reader_close(reader);
  }
  table.close();
}

}  // namespace

int main(int argc, char *argv[]) {
  const bench::Options options =
      bench::options_read(argc, argv, "Opening and reading recordings, against plain reading.");
  const Folder folder;
  measure_opening(folder, options);
  measure_reading(folder, options);
}
