// Films of recordings.
#include <signal.h>
#include <sys/stat.h>

#include <cmath>
#include <filesystem>
#include <numeric>
#include <sstream>

#include "clock.h"
#include "program.h"
#include "scaling.h"
#include "session.h"
#include "source.h"
#include "takeout/export/timeline.h"
#include "takeout/export/yuv_image.h"

namespace qomtool {
namespace {

constexpr uint32_t kTicks = 50;  // a second of the films of random sessions

std::string output_of(const Texts &command) {
  Process program(command);
  EXPECT_EQ(program.wait(), 0) << program.output();
  return program.output();
}

// What ffprobe says of a film, such as "stream=codec_name,pix_fmt".
std::string probed(const std::string &film, const std::string &entries) {
  std::string said =
      output_of({"ffprobe", "-v", "error", "-show_entries", entries, "-of", "csv=p=0", film});
  while (said.ends_with('\n')) said.pop_back();
  return said;
}

double length_of(const std::string &film) {
  return std::stod(probed(film, "format=duration"));
}

// The times of a film's pictures, in ticks.
std::vector<uint64_t> ticks_of(const std::string &film, uint32_t per_second) {
  std::istringstream lines(probed(film, "packet=pts_time"));
  std::vector<uint64_t> ticks;
  for (std::string line; std::getline(lines, line);)
    ticks.push_back(static_cast<uint64_t>(std::llround(std::stod(line) * per_second)));
  return ticks;
}

// Its pictures one after the other.
std::string pictures_of(const std::string &film) {
  return output_of({"ffmpeg", "-v", "error", "-i", film, "-fps_mode", "passthrough", "-f",
                    "rawvideo", "-pix_fmt", "rgb24", "-"});
}

// The colour of a pixel of the picture of a second, which has one.
std::array<int, 3> colour_at(const std::string &film, const char *second) {
  const std::string picture =
      output_of({"ffmpeg", "-v", "error", "-ss", second, "-i", film, "-frames:v", "1", "-vf",
                 "format=rgb24,crop=1:1:30:16", "-f", "rawvideo", "-pix_fmt", "rgb24", "-"});
  std::array<int, 3> colour;
  for (size_t i = 0; i < 3; ++i) colour[i] = static_cast<uint8_t>(picture.at(i));
  return colour;
}

void expect_near(const std::array<int, 3> &a, const std::array<int, 3> &b) {
  for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(a[i], b[i], 4);
}

class Export : public ProgramTest {
 protected:
  void TearDown() override { setenv("PATH", path_.c_str(), 1); }

  Outcome film(const std::string &recording, const std::string &out, Texts options = {},
               uint64_t largest_file = UINT64_MAX) {
    options.insert(options.begin(), {"export", file(recording), file(out)});
    return qom(options, "", largest_file);
  }

  // A program that is found in place of ffmpeg.
  void pretend(const std::string &script) {
    mkdir(file("bin").c_str(), 0700);
    write_file(file("bin/ffmpeg"), "#!/bin/bash\n" + script + "\n");
    chmod(file("bin/ffmpeg").c_str(), 0700);
    setenv("PATH", (file("bin") + ':' + path_).c_str(), 1);
  }

  bool is_left(const std::string &out) const {
    if (std::filesystem::exists(file(out))) return true;
    for (const auto &entry : std::filesystem::directory_iterator(folder))
      if (entry.path().filename().string().starts_with(".qom-")) return true;
    return false;
  }

  // The process of a pretended ffmpeg that writes its number to the file "id".
  bool is_running() {
    const pid_t id = std::stoi(read_file(file("id")));
    return kill(id, 0) == 0;
  }

  void write_random(unsigned seed, PixelFormat format);
  bool compare(const std::string &recording, Texts options);

  const std::string path_ = getenv("PATH");
};

// A session of a minute or so, in the test's recording.
void Export::write_random(unsigned seed, PixelFormat format) {
  QomHeader header = sample_header(format);
  Session session(header, xRGB8888, seed);
  std::vector<Record> records = list(image(header, header.timestamp, 64, 48));
  for (int i = 0; i < 150; ++i) records.push_back(session.next());
  for (const Record &record : records)
    record->timestamp = header.timestamp + (record->timestamp - header.timestamp) * 1000;
  write(header, records);
}

// At every tick of a lossless film, its picture is that of the recording, in the middle of the
// largest. Returns whether all are what was recorded.
bool Export::compare(const std::string &recording, Texts options) {
  const bool with_cursor = options.empty() || options.front() != "--no-cursor";
  const bool is_scaled = !options.empty() && options.front() == "--size";
  for (const char *more : {"--lossless", "--force", "--fps", "50"}) options.push_back(more);
  const Outcome made = film(recording, "film.mkv", options);
  EXPECT_EQ(made.status, 0) << made.err;
  const std::string frames = pictures_of(file("film.mkv"));
  const std::vector<uint64_t> ticks = ticks_of(file("film.mkv"), kTicks);
  const std::string sides = probed(file("film.mkv"), "stream=width,height");
  const auto comma = sides.find(',');
  const PictureSize size = {static_cast<uint32_t>(std::stoul(sides)),
                            static_cast<uint32_t>(std::stoul(sides.substr(comma + 1)))};
  RgbImage expected(size);
  EXPECT_EQ(frames.size(), ticks.size() * expected.pixels.size());
  if (HasFailure()) return false;

  Source source(file(recording), open_recording(file(recording)));
  const uint64_t length = source.all().to - source.all().from;
  EXPECT_EQ(ticks.back(), (length * kTicks + kSecond - 1) / kSecond);
  bool doubtful = false;
  size_t shown = 0, differ = 0;
  for (uint64_t tick = 0; tick <= ticks.back(); ++tick) {
    while (shown + 1 < ticks.size() && ticks[shown + 1] <= tick) ++shown;
    const uint64_t time = source.all().from + tick * kSecond / kTicks;
    source.go_to(time);
    doubtful |= !source.is_trusted(time);
    QomPicture picture;
    EXPECT_EQ(qom_screen_picture(source.screen(), with_cursor, &picture), 0);
    RgbImage image = rgb_of(picture);
    if (is_scaled) image = scaled(image, fitted(image.size, size));
    expected = RgbImage(size);
    place(image, (size.width - image.size.width) / 2, (size.height - image.size.height) / 2,
          &expected);
    differ += std::memcmp(expected.pixels.data(), &frames[shown * expected.pixels.size()],
                          expected.pixels.size()) != 0;
  }
  EXPECT_EQ(differ, 0u) << "of " << ticks.back() + 1;
  EXPECT_EQ(contains(made.err, "these parts of the film need not be"), doubtful) << made.err;
  return !doubtful;
}

TEST(TimelineTest, LeavesOutWhatIsIdleTooLong) {
  // Twice as fast: a tick of a tenth of a second shows two of the recording.
  Timeline timeline(1'000'000, {10, 2000, 3'000'000});
  EXPECT_EQ(timeline.tick_of(1'000'000), 0u);
  EXPECT_EQ(timeline.tick_of(1'200'001), 2u);
  EXPECT_EQ(timeline.time_of(2, 1'200'001), 1'400'000u);
  timeline.change(1'200'000);
  // Three seconds of stillness, and then what happens, with the time in front of it unseen.
  EXPECT_EQ(timeline.tick_of(60'100'000), 16u);
  EXPECT_EQ(timeline.time_of(15, 60'100'000), 4'000'000u);
  EXPECT_EQ(timeline.time_of(16, 60'100'000), 60'100'000u);
  timeline.change(60'100'000);
  EXPECT_EQ(timeline.tick_of(60'300'000), 17u);
}

TEST(YuvImageTest, IsBt709OfWhatChanged) {
  Random random(4);
  RgbImage picture({38, 22});
  YuvImage image(picture.size);
  EXPECT_EQ(image.bytes().front(), 16);
  EXPECT_EQ(image.bytes().back(), 128);
  for (const QomRectangle &area :
       {QomRectangle{0, 0, 38, 22}, {3, 5, 7, 1}, {37, 21, 1, 1}, {0, 7, 2, 9}}) {
    for (int32_t y = area.y; y < area.y + area.height; ++y)
      for (int32_t x = 3 * area.x; x < 3 * (area.x + area.width); ++x)
        picture.row(static_cast<uint32_t>(y))[x] = static_cast<uint8_t>(random());
    image.take(picture, area);
  }
  const auto mean = [&](uint32_t x, uint32_t y, uint32_t side, size_t channel) {
    double sum = 0;
    for (uint32_t row = y; row < y + side; ++row)
      for (uint32_t column = x; column < x + side; ++column)
        sum += picture.row(row)[column * 3 + channel];
    return sum / side / side / 255;
  };
  const auto luma = [&](uint32_t x, uint32_t y, uint32_t side) {
    return 0.2126 * mean(x, y, side, 0) + 0.7152 * mean(x, y, side, 1) +
           0.0722 * mean(x, y, side, 2);
  };
  const uint8_t *byte = image.bytes().data();
  for (uint32_t i = 0; i < 38 * 22; ++i)
    EXPECT_NEAR(*byte++, 16 + 219 * luma(i % 38, i / 38, 1), 0.51);
  for (const auto &[channel, range] : {std::pair{2u, 1.8556}, {0u, 1.5748}})
    for (uint32_t i = 0; i < 19 * 11; ++i) {
      const uint32_t x = i % 19 * 2, y = i / 19 * 2;
      EXPECT_NEAR(*byte++, 128 + 224 * (mean(x, y, 2, channel) - luma(x, y, 2)) / range, 0.51);
    }
}

TEST_F(Export, LosslessFilmsHaveThePicturesOfTheRecording) {
  const std::string name = path.substr(path.rfind('/') + 1);
  for (const auto &[seed, format] : {std::pair{1u, xRGB8888}, {2u, RGB565}, {3u, BGR233}}) {
    write_random(seed, format);
    compare(name, {});
    compare(name, seed == 1 ? Texts{"--no-cursor"} : Texts{"--size", "50x70"});
  }
  // A picture that is damaged, and a record that is cut off.
  Bytes bytes = contents();
  const std::vector<QomIndexEntry> all = entries();
  size_t third = all.size() / 3;
  while (all[third].type != QOM_COMPRESSED_IMAGE_BLOCKS) ++third;
  bytes[static_cast<size_t>(all[third].position) + 40] ^= 1;
  put(bytes);
  EXPECT_FALSE(compare(name, {}));
  truncate(static_cast<size_t>(all[all.size() * 2 / 3].position) + 5);
  compare(name, {});
}

TEST_F(Export, StillnessCostsNothingAndTheEndIsShown) {
  make("still",
       "qom-text 1\nscreen 61x33\nformat xRGB8888\nstart 2026-11-22T23:00:00Z\n"
       "footer-item-app +0 \"edit\"\n"
       "compressed-image +0 61x33 0,0 fill rgb:c0/40/20\ncursor-position +5 3,3\n"
       "compressed-image +3595 61x33 0,0 fill rgb:20/40/c0\ncursor-position +0.25 4,3\n"
       "compressed-image +0.15 61x33 0,0 fill rgb:10/f0/20\ndone +1.5\n");
  const char *kinds[][3] = {{"a.mp4", "h264,62,34,yuv420p,tv,bt709", ""},
                            {"a.webm", "vp9,62,34,yuv420p,tv,bt709", ""},
                            {"b.webm", "vp9,61,33,gbrp,pc,gbr", "--lossless"},
                            {"b.mp4", "h264,61,33,gbrp,pc,gbr", "--lossless"},
                            {"a.gif", "gif,61,33,bgra", ""}};
  for (const auto &[name, properties, option] : kinds) {
    SCOPED_TRACE(name);
    const Outcome made = film("still", name, *option ? Texts{option} : Texts{});
    ASSERT_EQ(made.status, 0) << made.err;
    EXPECT_EQ(made.err, "");
    const std::string out = file(name);
    std::string said =
        probed(out, "stream=codec_name,width,height,pix_fmt,color_range,color_space");
    EXPECT_TRUE(said.starts_with(properties)) << said;
    EXPECT_NEAR(length_of(out), 3602, 0.001) << name;
    EXPECT_EQ(ticks_of(out, 10),
              (std::vector<uint64_t>{0, 6000, 12000, 18000, 24000, 30000, 36000, 36004, 36019}));
    for (const char *second : {"0", "1800"})
      expect_near(colour_at(out, second), {0xc0, 0x40, 0x20});
    expect_near(colour_at(out, "3600"), {0x20, 0x40, 0xc0});
    expect_near(colour_at(out, "3600.4"), {0x10, 0xf0, 0x20});
  }
  ASSERT_EQ(film("still", "fast.mp4", {"--speed", "4", "--skip-idle", "2"}).status, 0);
  EXPECT_EQ(ticks_of(file("fast.mp4"), 10), (std::vector<uint64_t>{0, 5, 6, 10}));
  // A clock runs by the second, and jumps where stillness is left out.
  ASSERT_EQ(film("still", "c.mkv", {"--clock", "--texts", "--skip-idle", "2"}).status, 0);
  EXPECT_EQ(ticks_of(file("c.mkv"), 10), (std::vector<uint64_t>{0, 10, 20, 24, 34, 39}));
  EXPECT_EQ(probed(file("c.mkv"), "stream=width"), "61");
  ASSERT_EQ(film("still", "size.mkv", {"--size", "40x80", "--from", "1:00:00"}).status, 0);
  EXPECT_EQ(probed(file("size.mkv"), "stream=width,height"), "40,22");
  // Even sides are within what was asked for.
  for (const auto &[asked, size] : {std::pair{"41x23", "40,22"}, {"1x1", "2,2"}}) {
    ASSERT_EQ(film("still", "size.mp4", {"--size", asked, "--force", "--to", "1"}).status, 0);
    EXPECT_EQ(probed(file("size.mp4"), "stream=width,height"), size);
  }
}

TEST_F(Export, WhatGoesWrongIsToldAndLeavesNothing) {
  make("small", small_text());
  make("empty", "qom-text 1\nscreen 8x4\nformat RGB565\n");
  make("blind", "qom-text 1\nscreen 8x4\nformat RGB565\ncursor-position +1 2,2\n");
  make("one", "qom-text 1\nscreen 8x4\nformat RGB565\ncompressed-image +3 8x4 0,0 fill 07e0\n");
  make("long",
       "qom-text 1\nscreen 8x4\nformat RGB565\ncompressed-image +3 8x4 0,0 fill 07e0\n"
       "done +90000000\n");
  ASSERT_EQ(film("one", "one.mp4").status, 0);
  EXPECT_EQ(length_of(file("one.mp4")), 0.1);
  struct Row {
    const char *recording;
    Texts options;
    const char *pretended;  // null: the real one
    int status;
    const char *said;
  };
  const Row rows[] = {{"empty", {}, nullptr, 1, "empty: it holds no picture"},
                      {"blind", {}, nullptr, 1, "blind: it holds no picture"},
                      {"long", {}, nullptr, 1, "long: it is too long for a film, 25000:00:00"},
                      {"small", {"--speed", "0"}, nullptr, 2, "\"0\" is no speed"},
                      {"small", {"--speed", "nan"}, nullptr, 2, "is no speed"},
                      {"small", {"--fps", "61"}, nullptr, 2, "is no number of pictures"},
                      {"small", {"--skip-idle", "0"}, nullptr, 2, "is not a length of time"},
                      {"small", {"--size", "80x10", "--clock"}, nullptr, 1, "--size has no room"},
                      {"small", {"--from", "2", "--to", "1"}, nullptr, 1, "is behind --to"},
                      {"small",
                       {},
                       "echo one >&2; echo two >&2; exit 3",
                       1,
                       "out.mp4: ffmpeg ended with status 3: one / two, at 0:00:"},
                      {"small",
                       {"--size", "3000x3000"},
                       "exec 2>/dev/null; kill -9 $$",
                       1,
                       "ffmpeg was ended by the signal 9, at 0:00"},
                      {"small",
                       {},
                       "cat >/dev/null; echo 'x: No space left on device' >&2; exit 1",
                       1,
                       "out.mp4: No space left on device, at 0:00"},
                      {"small", {}, "cat >/dev/null", 1, "out.mp4: No such file"}};
  for (const Row &row : rows) {
    if (row.pretended) pretend(row.pretended);
    const Outcome made = film(row.recording, "out.mp4", row.options);
    EXPECT_EQ(made.status, row.status) << row.said;
    EXPECT_TRUE(contains(made.err, row.said)) << made.err;
    EXPECT_FALSE(is_left("out.mp4")) << row.said;
  }
  setenv("PATH", file("nowhere").c_str(), 1);
  EXPECT_TRUE(contains(film("small", "out.mp4").err, "install the package ffmpeg"));
  setenv("PATH", path_.c_str(), 1);
  EXPECT_EQ(film("small", "out.avi").status, 2);
  EXPECT_EQ(film("small", "out.gif", {"--lossless"}).status, 2);
  for (const char *out : {"out.mp4", "out.webm", "out.mkv", "out.gif"}) {
    const Outcome full = film("small", out, {"--size", "640x640", "--speed", "0.1"}, 200);
    EXPECT_EQ(full.status, 1) << out;
    EXPECT_TRUE(contains(full.err, std::string(out) + ": File too large, at 0:00")) << full.err;
    EXPECT_FALSE(is_left(out));
  }
}

TEST_F(Export, NothingIsLeftOfWhatIsBrokenOff) {
  make("small", small_text());
  pretend("echo half > \"${@: -1}\"; env > " + file("env") + "; echo $$ > " + file("new") +
          "; mv " + file("new") + ' ' + file("id") + "; exec sleep 60");
  setenv("FFREPORT", "file=report", 1);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGKILL}) {
    Process exporting({QOM_PROGRAM, "export", file("small"), file("out.mp4"), "--size", "4000x4000",
                       "--speed", "0.1"});
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(file("id")); }));
    EXPECT_FALSE(contains(read_file(file("env")), "FFREPORT"));
    exporting.signal(number);
    EXPECT_EQ(exporting.wait(), 128 + number);
    EXPECT_TRUE(eventually([&] { return !is_running(); }));
    EXPECT_TRUE(number == SIGKILL || !is_left("out.mp4"));
    std::filesystem::remove(file("id"));
  }
  unsetenv("FFREPORT");
}

}  // namespace
}  // namespace qomtool
