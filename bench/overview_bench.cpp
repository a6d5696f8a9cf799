/*
 * What a program reads that opens a long recording far away: of a closed recording of ten hours and
 * 1.5 GB the first picture, then moves to random times, each from nothing; and how long the strip
 * of activity of 24 hours takes.
 */
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "file/reader.h"
#include "qom/writer.h"
#include "ratio.h"

namespace {

constexpr uint64_t second = 1'000'000; /* microseconds */
constexpr uint64_t hour = 3600 * second;
constexpr int moves = 100;

[[noreturn]] void fail(const char *what) {
  std::fprintf(stderr, "%s: %s\n", what, qom_reader_error());
  std::exit(1);
}

void check(bool good, const char *what) {
  if (!good) fail(what);
}

/* A file in a folder of its own, which goes away. */
class Place {
 public:
  Place() {
    std::string name = std::filesystem::temp_directory_path() / "qom-bench-XXXXXX";
    check(mkdtemp(name.data()), "cannot make a folder");
    folder_ = name;
  }
  Place(const Place &) = delete;
  Place &operator=(const Place &) = delete;
  ~Place() { std::filesystem::remove_all(folder_); }

  std::string file(const char *name) const { return folder_ + "/" + name; }

 private:
  std::string folder_;
};

/* Writes recordings whose pixels are bytes that look compressed, since nothing here looks into
   them: four changes of the picture and ten moves of the pointer a second, a checkpoint every
   thirty. */
class Synthetic {
 public:
  Synthetic(const std::string &path, uint32_t change_bytes, uint32_t picture_bytes)
      : change_bytes_(change_bytes), picture_bytes_(picture_bytes), bytes_(1 << 20) {
    QomHeader header = {};
    header.timestamp = 1;
    header.depth = 24;
    header.width = 1920;
    header.height = 1080;
    header.pixel_format = xRGB8888;
    header.scanline_pad = 32;
    writer_ = qom_writer_create(path.c_str(), &header);
    check(writer_, "cannot create a recording");
    qom_writer_flush_apart(writer_);
    for (uint8_t &byte : bytes_) byte = static_cast<uint8_t>(random_());
    bytes_[0] = 1;
  }

  void write(uint64_t length) {
    for (uint64_t time = second; time < length; time += second) {
      if (time / second % 30 == 1) checkpoint(time);
      for (uint64_t i = 0; i < 4; ++i) change(time + i * second / 4);
    }
  }

  void close() { check(qom_writer_close(writer_) == 0, "cannot finish"); }
  uint64_t size() const { return qom_writer_size(writer_); }

 private:
  void append(const void *record) {
    check(qom_writer_append(writer_, record) == 0, "cannot append");
  }

  void checkpoint(uint64_t time) {
    check(qom_writer_begin_checkpoint(writer_) == 0, "cannot begin a checkpoint");
    const QomScreenChange change = {QOM_SCREEN_CHANGE, time, 1920, 1080};
    append(&change);
    const QomCompressedImage image = {
        QOM_COMPRESSED_IMAGE, time,           1920,         1080, 0, 0, xRGB8888, 32,
        1920 * 1080 * 4,      picture_bytes_, bytes_.data()};
    append(&image);
    check(qom_writer_end_checkpoint(writer_) == 0, "cannot end a checkpoint");
  }

  void change(uint64_t time) {
    QomCompressedImageBlocks blocks = {QOM_COMPRESSED_IMAGE_BLOCKS, time, 100000, 0, bytes_.data()};
    std::exponential_distribution<double> size(1.0 / change_bytes_);
    blocks.compressed_length = 16 + static_cast<uint32_t>(size(random_)) % 500000;
    append(&blocks);
    for (uint64_t i = 0; i < 5; i += 2) {
      const QomCursorPosition position = {QOM_CURSOR_POSITION, time + i, 1, 2};
      append(&position);
    }
  }

  uint32_t change_bytes_;
  uint32_t picture_bytes_;
  std::vector<uint8_t> bytes_;
  std::mt19937 random_{1};
  QomWriter *writer_;
};

/* A file read through functions that count. */
struct Counted {
  explicit Counted(const std::string &path) : fd(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    check(fd >= 0, "cannot open");
  }
  Counted(const Counted &) = delete;
  Counted &operator=(const Counted &) = delete;
  ~Counted() { close(fd); }

  QomReader *reader() {
    const QomSource source = {
        [](void *self) {
          struct stat status;
          return fstat(static_cast<Counted *>(self)->fd, &status) == 0 ? int64_t{status.st_size}
                                                                       : int64_t{-1};
        },
        [](void *self, uint64_t offset, void *to, size_t length) {
          auto counted = static_cast<Counted *>(self);
          const ssize_t got = pread(counted->fd, to, length, static_cast<off_t>(offset));
          ++counted->reads;
          counted->bytes += got > 0 ? static_cast<uint64_t>(got) : 0;
          return static_cast<int64_t>(got);
        },
        nullptr, this};
    QomReader *opened = qom_reader_open_source(&source);
    check(opened, "cannot open");
    return opened;
  }

  void reset() { reads = bytes = 0; }

  int fd;
  uint64_t reads = 0;
  uint64_t bytes = 0;
};

/* Reads what a picture needs: the records [first, end). */
void read_records(QomReader *reader, size_t first, size_t end) {
  qom::reader_expect(reader, first, end);
  for (size_t i = first; i < end; ++i) {
    QomRecord *record = qom_record_at_index(reader, i);
    check(record, "cannot read a record");
    qom_record_free(record);
  }
}

void measure_opening(const std::string &path, const bench::Options &options) {
  bench::Table table(options, "First picture of a closed recording of 10 hours, 1.5 GB");
  Counted counted(path);
  QomReader *reader = counted.reader();
  read_records(reader, 0, qom::reader_first_image(reader) + 1);
  table.row({"reads to the first picture, 10 hours, 1.5 GB", ""},
            static_cast<double>(counted.reads), bench::at_most(8));
  table.row({"MB read to the first picture", ""}, static_cast<double>(counted.bytes) / 1e6,
            bench::at_most(1));
  qom_reader_close(reader);
  table.close();
}

void measure_moves(const std::string &path, const bench::Options &options) {
  bench::Table table(options, "Moves to random times, each by a reader that was just opened");
  std::mt19937_64 random{7};
  std::vector<uint64_t> reads, bytes;
  double distance_reads = 0;
  double beyond = 0;
  for (int move = 0; move < moves; ++move) {
    Counted counted(path);
    QomReader *reader = counted.reader();
    check(qom::reader_count(reader) > 0, "no records");
    counted.reset();
    const size_t target = qom::reader_count_until(reader, 2 * second + random() % (10 * hour));
    size_t first = 0, end = 0;
    check(qom_checkpoint_before(reader, target - 1, &first, &end) == 1, "no checkpoint");
    QomIndexEntry from, to;
    check(qom::reader_entry(reader, first, &from) && qom::reader_entry(reader, target - 1, &to),
          "no entries");
    read_records(reader, first, target);
    const auto distance = static_cast<uint64_t>(to.position - from.position) + 32 + to.length;
    distance_reads = std::max(
        distance_reads, static_cast<double>(counted.reads) - static_cast<double>(distance >> 22));
    beyond = std::max(beyond,
                      (static_cast<double>(counted.bytes) - static_cast<double>(distance)) / 1e6);
    reads.push_back(counted.reads);
    bytes.push_back(counted.bytes);
    qom_reader_close(reader);
  }
  std::sort(reads.begin(), reads.end());
  std::sort(bytes.begin(), bytes.end());
  std::printf(
      "of %d moves: reads %llu in the median, %llu at most; MB %.2f in the median, %.2f at most\n",
      moves, static_cast<unsigned long long>(reads[moves / 2]),
      static_cast<unsigned long long>(reads.back()), static_cast<double>(bytes[moves / 2]) / 1e6,
      static_cast<double>(bytes.back()) / 1e6);
  table.row({"reads of a cold move beside one for each 4 MiB, the worst of 100", ""},
            distance_reads, bench::at_most(5));
  table.row({"MB of a cold move that are not between checkpoint and target, the worst of 100", ""},
            beyond, bench::at_most(0.25));
  table.close();
}

double milliseconds(const bench::Work &work) {
  timespec begin, end;
  clock_gettime(CLOCK_MONOTONIC, &begin);
  work();
  clock_gettime(CLOCK_MONOTONIC, &end);
  return static_cast<double>(end.tv_sec - begin.tv_sec) * 1e3 +
         static_cast<double>(end.tv_nsec - begin.tv_nsec) / 1e6;
}

double median(std::vector<double> numbers) {
  std::sort(numbers.begin(), numbers.end());
  return numbers[numbers.size() / 2];
}

double median_milliseconds(const bench::Work &work, const bench::Options &options) {
  std::vector<double> times;
  times.reserve(static_cast<size_t>(options.repetitions));
  for (int i = 0; i < options.repetitions; ++i) times.push_back(milliseconds(work));
  return median(times);
}

void take_strip(QomReader *reader) {
  QomActivity activity;
  check(qom_reader_activity(reader, &activity) == 0 && activity.count > 4000, "no strip");
}

void measure_strip(const Place &place, const bench::Options &options) {
  const std::string finished = place.file("day");
  const std::string unfinished = place.file("unfinished");
  Synthetic day(finished, 100, 200);
  day.write(24 * hour);
  const uint64_t frames = day.size();
  day.close();
  std::filesystem::copy_file(finished, unfinished);
  std::filesystem::resize_file(unfinished, frames);

  bench::Table table(options, "The strip of activity of 24 hours");
  std::vector<double> indexes, strips;
  for (int i = 0; i < options.repetitions; ++i) {
    QomReader *reader = qom_reader_open(unfinished.c_str());
    check(reader, "cannot open");
    indexes.push_back(milliseconds([&] { check(qom_reader_index(reader), "no index"); }));
    strips.push_back(milliseconds([&] { take_strip(reader); }));
    qom_reader_close(reader);
  }
  const double finished_cost = median_milliseconds(
      [&finished] {
        QomReader *reader = qom_reader_open(finished.c_str());
        check(reader, "cannot open");
        take_strip(reader);
        qom_reader_close(reader);
      },
      options);
  table.row({"ms for the strip of 24 hours, finished, opening included", ""}, finished_cost,
            bench::at_most(50));
  table.row({"ms for the strip of 24 hours, unfinished, beside its index", ""}, median(strips),
            bench::at_most(50));
  std::printf("ms for that index: %.3g\n", median(indexes));
  table.close();
}

}  // namespace

int main(int argc, char *argv[]) {
  const bench::Options options = bench::options_read(
      argc, argv, "What is read of a long recording that lies far away, and its strip.");
  const Place place;
  const std::string path = place.file("long");
  Synthetic recording(path, 9200, 150000);
  recording.write(10 * hour);
  recording.close();
  std::printf("a recording of %.2f GB\n",
              static_cast<double>(std::filesystem::file_size(path)) / 1e9);
  measure_opening(path, options);
  measure_moves(path, options);
  measure_strip(place, options);
}
