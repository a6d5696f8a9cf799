/* Films of an hour of text work, beside ffmpeg alone with the same pictures. */

#include <qom/qom.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "desktop_recording.h"
#include "ratio.h"
#include "takeout/export/film_format.h"

namespace {

constexpr int kPictures = 36000; /* an hour */
constexpr const char *kPart = "--from 0:30 --to 2:30";
constexpr int kMostRounds = 5;

/* Removed at the end with what is in it. */
class Folder {
 public:
  Folder() {
    if (!mkdtemp(path_.data())) {
      std::perror(path_.c_str());
      std::exit(1);
    }
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(const Folder &) = delete;
  Folder &operator=(const Folder &) = delete;
  std::string file(const char *name) const { return path_ + '/' + name; }

 private:
  std::string path_ = "/var/tmp/export_bench-XXXXXX";
};

/* Seconds on the clock. */
double run(const std::string &command) {
  const auto begin = std::chrono::steady_clock::now();
  if (std::system((command + " > /dev/null").c_str()) != 0) {
    std::fprintf(stderr, "export_bench: %s failed\n", command.c_str());
    std::exit(1);
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

double seconds(const timeval &time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

/* Seconds of CPU time of the command and what it starts. */
double cpu_of(const std::string &command) {
  rusage before{}, after{};
  getrusage(RUSAGE_CHILDREN, &before);
  run(command);
  getrusage(RUSAGE_CHILDREN, &after);
  return seconds(after.ru_utime) - seconds(before.ru_utime) + seconds(after.ru_stime) -
         seconds(before.ru_stime);
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/* What ffmpeg is told for a film like those of qom. */
std::string encoding() {
  const auto format = qomtool::film_format("film.mp4", false, 10);
  std::string words;
  for (const std::string &word : format->options) words += " '" + word + '\'';
  return words;
}

/* CPU time of the export of a part of the recording, in that of ffmpeg alone which reads the same
   pictures from a file. */
double cost_of_part(const Folder &folder, const std::string &recording, int rounds) {
  const std::string ffmpeg = "ffmpeg -v error -y -nostdin -i ";
  const std::string exported = QOM_PROGRAM " export --force " + std::string(kPart) + ' ';
  const std::string exact = folder.file("part.mkv"), raw = folder.file("part.nut");
  run(exported + "--lossless " + recording + ' ' + exact);
  run(ffmpeg + exact + " -fps_mode passthrough -c:v rawvideo -pix_fmt rgb24 " + raw);
  std::vector<double> ratios;
  for (int i = 0; i < rounds; ++i) {
    const double alone =
        cpu_of(ffmpeg + raw + " -vf scale=out_color_matrix=bt709:out_range=tv,format=yuv420p" +
               encoding() + ' ' + folder.file("alone.mp4"));
    ratios.push_back(cpu_of(exported + recording + ' ' + folder.file("part.mp4")) / alone);
  }
  return median(ratios);
}

}  // namespace

int main(int argc, char *argv[]) {
  const bench::Options options =
      bench::options_read(argc, argv, "An hour of text work at 1920x1080 as a film.");
  const Folder folder;
  const std::string recording = folder.file("hour.qom");
  {
    bench::DesktopRecording written(bench::Activity::day, recording);
    for (int i = 1; i < kPictures; ++i) written.next();
  }
  bench::Table table(options, "films of an hour of text work");
  table.row({"film of two minutes (mp4), CPU time of qom and ffmpeg", "ffmpeg alone"},
            cost_of_part(folder, recording, std::min(options.repetitions, kMostRounds)),
            bench::at_most(1.2));
  table.row({"film of an hour (mp4), times real time", ""},
            3600 / run(QOM_PROGRAM " export " + recording + ' ' + folder.file("hour.mp4")),
            bench::at_least(60));
  return table.close();
}
