/* Cutting a long recording, beside copying as many bytes of a file. */

#include <qom/qom.h>
#include <qom/writer.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "desktop_recording.h"
#include "ratio.h"

namespace {

constexpr int kPictures = 1500; /* of a stretch that is then recorded again and again */
constexpr uint64_t kLargest = 1'500'000'000;     /* bytes of the recording */
constexpr uint64_t kStretchLength = 150'000'000; /* microseconds */

[[noreturn]] void give_up(const std::string &what) {
  std::fprintf(stderr, "cut_bench: %s: %s\n", what.c_str(), qom_reader_error());
  std::exit(1);
}

/* Removed at the end with what is in it. */
class Folder {
 public:
  Folder() {
    if (!mkdtemp(path_.data())) give_up(path_);
  }
  ~Folder() {
    if (std::system(("rm -r " + path_).c_str()) != 0) std::perror("cut_bench");
  }
  Folder(const Folder &) = delete;
  Folder &operator=(const Folder &) = delete;
  std::string file(const char *name) const { return path_ + '/' + name; }

 private:
  std::string path_ = "/tmp/cut_bench-XXXXXX";
};

void append_later(QomWriter *writer, QomReader *reader, size_t index, uint64_t later) {
  QomRecord *record = qom_record_at_index(reader, index);
  if (!record) give_up("a record");
  record->timestamp += later;
  if (qom_writer_append(writer, record) != 0) give_up("writing");
  qom_record_free(record);
}

/* The records of a stretch once more, checkpoints as checkpoints. */
void append_stretch(QomWriter *writer, QomReader *reader, uint64_t later) {
  size_t first = 0;
  size_t end = 0;
  for (size_t i = 0; i < qom_reader_index_length(reader); ++i) {
    const bool inside = qom_checkpoint_before(reader, i, &first, &end) == 1 && i < end;
    if (inside && i == first) qom_writer_begin_checkpoint(writer);
    append_later(writer, reader, i, later);
    if (inside && i + 1 == end && qom_writer_end_checkpoint(writer) != 0) give_up("a checkpoint");
  }
}

void write_long(const std::string &path, const std::string &stretch) {
  QomReader *reader = qom_reader_open(stretch.c_str());
  if (!reader) give_up(stretch);
  QomWriter *writer = qom_writer_create(path.c_str(), qom_info_header(reader));
  if (!writer) give_up(path);
  qom_writer_flush_apart(writer);
  for (uint64_t later = 0; qom_writer_size(writer) < kLargest; later += kStretchLength)
    append_stretch(writer, reader, later);
  if (qom_writer_close(writer) != 0) give_up(path);
  qom_reader_close(reader);
}

bench::Work command(const std::string &line) {
  return [line] {
    if (std::system((line + " > /dev/null").c_str()) != 0) std::exit(1);
  };
}

}  // namespace

int main(int argc, char *argv[]) {
  bench::Options options =
      bench::options_read(argc, argv, "Stretches of a recording of 1.5 GB as new recordings.");
  options.clock = bench::Clock::wall;
  const Folder folder;
  const std::string whole = folder.file("whole.qom");
  const std::string out = folder.file("out.qom");
  {
    const std::string stretch = folder.file("stretch.qom");
    bench::DesktopRecording recording(bench::Activity::busy, stretch);
    for (int i = 1; i < kPictures; ++i) recording.next();
  }
  write_long(whole, folder.file("stretch.qom"));
  const auto copy = [&out](const std::string &file) {
    return command("cp " + file + ' ' + out + " && sync " + out);
  };
  const auto cut = [&](const std::string &more) {
    return command(QOM_PROGRAM " cut --force " + more + ' ' + whole + ' ' + out);
  };

  bench::Table table(options, "cuts of 1.5 GB");
  table.row({"cut of all of 1.5 GB", "cp and sync"},
            bench::cost(copy(whole), cut("--no-hash"), options), bench::at_most(3));
  table.row({"cut of all of 1.5 GB, with SHA-256", "cp and sync"},
            bench::cost(copy(whole), cut(""), options), bench::at_most(3));
  cut("--no-hash --from 1:00:00 --to 1:10:00")();
  const std::string part = folder.file("part.qom");
  command("mv " + out + ' ' + part)();
  struct stat status;
  if (stat(part.c_str(), &status) != 0) give_up(part);
  const auto megabytes = std::to_string(status.st_size / 1'000'000);
  table.row({"cut of 10 minutes (" + megabytes + " MB) of it", "cp and sync"},
            bench::cost(copy(part), cut("--no-hash --from 1:00:00 --to 1:10:00"), options),
            bench::at_most(3));
  table.row({"the same with SHA-256", "sha256sum of 1.5 GB"},
            bench::cost(command("sha256sum " + whole), cut("--from 1:00:00 --to 1:10:00"), options),
            bench::at_most(1.5));
  const std::string masked = "--no-hash --from 1:00:00 --to 1:10:00 --mask 400x300+100+100";
  table.row({"the same with a mask of 400x300, times real time", ""},
            600 / bench::cost(command("sleep 1"), cut(masked), options), bench::at_least(20));
  return table.close();
}
