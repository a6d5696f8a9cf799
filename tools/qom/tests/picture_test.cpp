// What is taken out of recordings as pictures.
#include <png.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <filesystem>
#include <numeric>
#include <random>

#include "clock.h"
#include "lettering.h"
#include "moment.h"
#include "output_file.h"
#include "program.h"
#include "qom/screen.h"
#include "scaling.h"
#include "source.h"

namespace qomtool {
namespace {

using Existing = OutputFile::Existing;

bool operator==(const RgbImage &a, const RgbImage &b) {
  return a.size.width == b.size.width && a.size.height == b.size.height && a.pixels == b.pixels;
}

RgbImage decoded(const std::string &bytes) {
  png_image png = {};
  png.version = PNG_IMAGE_VERSION;
  EXPECT_TRUE(png_image_begin_read_from_memory(&png, bytes.data(), bytes.size())) << png.message;
  EXPECT_EQ(png.format, static_cast<png_uint_32>(PNG_FORMAT_RGB));
  RgbImage image({png.width, png.height});
  EXPECT_TRUE(png_image_finish_read(&png, nullptr, image.pixels.data(), 0, nullptr)) << png.message;
  return image;
}

RgbImage random_image(PictureSize size) {
  RgbImage image(size);
  std::mt19937 random(size.width * 31 + size.height);
  for (uint8_t &byte : image.pixels) byte = static_cast<uint8_t>(random());
  return image;
}

class Picture : public ProgramTest {
 protected:
  void SetUp() override {
    make("small", small_text());
    known_ = names();
  }

  // What the folder holds.
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder)) {
      const std::string name = entry.path().filename();
      if (name != ".in" && name != ".out" && name != ".err") found.push_back(name);
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  // A picture through standard output.
  std::string taken(const std::string &recording, Texts options) {
    options.insert(options.begin(), {"picture", file(recording), "-"});
    const Outcome outcome = qom(options);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    err_ = outcome.err;
    return outcome.out;
  }

  std::vector<std::string> known_;
  std::string err_;
};

TEST(Moment, IsWrittenAsInTheViewer) {
  const std::pair<const char *, uint64_t> spans[] = {
      {"90", 90'000'000},    {" 90.5", 90'500'000},     {"90s", 90'000'000},
      {"1:30", 90'000'000},  {"1:02:03.5", 3723500000}, {"1h2m3s", 3723000000},
      {"90:00", 5400000000}, {"2m", 120'000'000},       {"0.000001", 1},
      {"12.5s", 12'500'000}, {"1:02:03s", 3723000000}};
  std::string why;
  for (const auto &[text, value] : spans) {
    const auto moment = parse_moment(text, &why);
    ASSERT_TRUE(moment) << text;
    EXPECT_EQ(moment->kind, Moment::Kind::elapsed) << text;
    EXPECT_EQ(moment->value, value) << text;
  }
  EXPECT_EQ(parse_moment("@4:03", &why)->value, 14'580'000'000u);
  EXPECT_EQ(parse_moment("#12", &why)->kind, Moment::Kind::record);
  for (const char *text : {"",
                           "s",
                           "1:60",
                           "1:60:00",
                           "1:2:3:4",
                           "1:",
                           "-1",
                           "1e3",
                           ".5s",
                           "1.1234567",
                           "99999999999999999s",
                           "5000000000000s",
                           "@",
                           "@24:00",
                           "@1",
                           "#",
                           "#-1",
                           "123#",
                           "2023-02-29 00:00:00",
                           "2024-01-01",
                           "2024-1-1 0:0:0",
                           "2024-01-01 24:00:00",
                           "1969-12-31 22:59:59",
                           "12024-01-01 0:00"})
    EXPECT_NE(check_moment(text), "") << text;
}

TEST(Moment, OfADayIsTheNextOneOnLocalClocks) {
  setenv("TZ", "Europe/Berlin", 1);
  tzset();
  const auto at = [](const char *text) { return *parse_clock(text, Zone::utc); };
  const auto of_day = [](const char *text) { return *parse_time_of_day(text); };
  const uint64_t evening = at("2026-11-22 21:00"), night = at("2026-11-22 23:30");
  EXPECT_EQ(nearest_time_of_day(of_day("22:30"), evening, night), at("2026-11-22 21:30"));
  EXPECT_EQ(nearest_time_of_day(of_day("0:15"), evening, night), at("2026-11-22 23:15"));
  EXPECT_EQ(nearest_time_of_day(of_day("21:59"), evening, night), at("2026-11-22 20:59"));
  // Clocks show this twice in the night in which summer ends, and not at all where it begins.
  const uint64_t again = at("2026-10-25 01:10");
  EXPECT_EQ(nearest_time_of_day(of_day("2:30"), again, again + 1), at("2026-10-25 01:30"));
  EXPECT_EQ(nearest_time_of_day(of_day("2:05"), again, again + 1), at("2026-10-25 01:05"));
  const uint64_t spring = at("2026-03-29 00:30");
  EXPECT_EQ(nearest_time_of_day(of_day("2:30"), spring, spring + 1), at("2026-03-30 00:30"));
  EXPECT_EQ(exact_time(again), "2026-10-25T02:10:00.000000+01:00");
  use_utc();
  EXPECT_EQ(exact_time(again), "2026-10-25T01:10:00.000000+00:00");
}

TEST(Scaling, IsTheMeanOfTheCoveredArea) {
  const std::pair<PictureSize, PictureSize> sizes[] = {{{37, 23}, {11, 7}},
                                                       {{37, 23}, {36, 22}},
                                                       {{8, 5}, {13, 17}},
                                                       {{5, 3}, {15, 9}},
                                                       {{9, 9}, {1, 1}}};
  for (const auto &[from, to] : sizes) {
    const RgbImage image = random_image(from);
    const RgbImage smaller = scaled(image, to);
    const auto covered = [](double begin, double end, uint32_t pixel) {
      return std::max(0.0, std::min(end, pixel + 1.0) - std::max(begin, double(pixel)));
    };
    const double dx = double(from.width) / to.width, dy = double(from.height) / to.height;
    for (uint32_t y = 0; y < to.height; ++y)
      for (uint32_t x = 0; x < to.width; ++x) {
        double sum = 0;
        for (uint32_t row = 0; row < from.height; ++row)
          for (uint32_t column = 0; column < from.width; ++column)
            sum += covered(y * dy, (y + 1) * dy, row) * covered(x * dx, (x + 1) * dx, column) *
                   image.row(row)[column * 3 + 1];
        EXPECT_NEAR(smaller.row(y)[x * 3 + 1], sum / (dx * dy), 0.5001);
      }
  }
  const std::pair<PictureSize, PictureSize> fits[] = {{{1920, 1080}, {640, 360}},
                                                      {{1080, 1920}, {203, 360}},
                                                      {{1, 9000}, {1, 360}},
                                                      {{8, 4}, {640, 320}}};
  for (const auto &[from, fit] : fits) {
    EXPECT_EQ(fitted(from, {640, 360}).width, fit.width);
    EXPECT_EQ(fitted(from, {640, 360}).height, fit.height);
  }
}

TEST(LetteringTest, StaysInThePictureAndInItsWidth) {
  Lettering lettering(14);
  const std::string text =
      "Gr\xc3\xb6\xc3\x9f"
      "e \xff\x1b 0:01:30";
  EXPECT_EQ(lettering.width(text), lettering.width("Gr\xc3\xb6\xc3\x9f"
                                                   "e \\xff\\x1b 0:01:30"));
  EXPECT_EQ(lettering.shortened("abc", 1000), "abc");
  const std::string shortened = lettering.shortened(text, 60);
  EXPECT_TRUE(shortened.ends_with("\xe2\x80\xa6")) << shortened;
  EXPECT_LE(lettering.width(shortened), 60u);
  RgbImage image({40, 20});
  for (const int32_t at : {-9, 0, 15}) lettering.draw(text, at, at, {255, 0, 9}, &image);
  EXPECT_GT(std::accumulate(image.pixels.begin(), image.pixels.end(), 0), 5000);
}

TEST_F(Picture, IsWhatTheScreenIs) {
  Source source(file("small"), open_recording(file("small")));
  for (const char *at : {"0", "0.75", "1.5", "2.5", "1:00"}) {
    source.go_to(source.time_of(at));
    for (const int cursor : {0, 1}) {
      QomPicture picture;
      ASSERT_EQ(qom_screen_picture(source.screen(), cursor, &picture), 0);
      const RgbImage image = rgb_of(picture);
      Texts options = {"--at", at};
      if (!cursor) options.push_back("--no-cursor");
      EXPECT_TRUE(decoded(taken("small", options)) == image) << at;
      options.insert(options.end(), {"--size", "80x400"});
      EXPECT_TRUE(decoded(taken("small", options)) == scaled(image, {80, 40})) << at;
    }
  }
  EXPECT_TRUE(contains(err_, "1:00 is behind the end")) << err_;
}

TEST_F(Picture, TellsItsMomentAndTheTexts) {
  make("texts",
       "qom-text 1\nscreen 2x1\nformat RGB565\nstart 2026-11-22T21:33:05Z\n"
       "footer-item-app +0 \"\\xff\\x1bedit\"\nlast-input +0 \"Zo\\xc3\\xab\" -\n"
       "compressed-image +1 2x1 0,0 fill f800\ndone +90.5\n");
  const std::string png = taken("texts", {"--at", "1:30"});
  for (const auto &[key, value] : {std::pair{"Creation Time", "2026-11-22T21:34:36.000000+00:00"},
                                   {"qom:elapsed", "0:01:30.000"},
                                   {"qom:app", "\\xff\\x1bedit"},
                                   {"qom:user", "Zo\xc3\xab"}})
    EXPECT_TRUE(contains(png, std::string("iTXt") + key + std::string(5, '\0') + value)) << key;
  EXPECT_FALSE(contains(png, "Warning"));
  EXPECT_EQ(decoded(png).pixels, (std::vector<uint8_t>{255, 0, 0, 255, 0, 0}));
  EXPECT_EQ(png, taken("texts", {"--at", "@21:34:36", "--utc"}));
}

TEST_F(Picture, SeriesAndSheetsAreSpreadOverTheRange) {
  const Outcome series = qom({"picture", file("small"), file("p-%02d%%.png"), "--every", "1.5",
                              "--from", "0.25", "--to", "3.25"});
  EXPECT_EQ(series.status, 0) << series.err;
  for (const auto &[name, at] :
       {std::pair{"p-01%.png", "0.25"}, {"p-02%.png", "1.75"}, {"p-03%.png", "3.25"}})
    EXPECT_EQ(read_file(file(name)), taken("small", {"--at", at})) << name;
  EXPECT_EQ(names().size(), known_.size() + 3);

  const RgbImage one = decoded(taken("small", {"--sheet", "1x1", "--size", "200x100"}));
  const RgbImage all = decoded(taken("small", {"--sheet", "3x2", "--size", "200x100"}));
  const uint32_t gap = (one.size.width - 200) / 2;
  EXPECT_EQ(all.size.width, one.size.width + 2 * (200 + gap));
  EXPECT_EQ(all.size.height, one.size.height * 2 - gap);
  const RgbImage last = decoded(taken("small", {"--at", "1:00", "--size", "200x100"}));
  const uint32_t x = gap + 2 * (200 + gap), y = one.size.height;
  for (uint32_t row = 0; row < 100; ++row)
    EXPECT_TRUE(std::equal(last.row(row), last.row(row) + 600, all.row(y + row) + x * 3)) << row;
  // Under the pictures: letters, which are lighter than the ground.
  const uint8_t *caption = all.row(y + 100);
  EXPECT_GT(*std::max_element(caption, all.row(all.size.height - gap)), 0xe0);
  EXPECT_EQ(decoded(taken("small", {"--sheet", "9x9", "--every", "4s"})).size.height,
            decoded(taken("small", {"--sheet", "1x1"})).size.height);
}

TEST_F(Picture, WrongWishesAreRefusedAndLeaveNothing) {
  write_file(file("there.png"), "old");
  ASSERT_EQ(symlink("nowhere", file("link.png").c_str()), 0);
  ASSERT_EQ(mkdir(file("folder").c_str(), 0700), 0);
  known_ = names();
  struct Row {
    Texts arguments;  // behind the recording
    int status;
    const char *said;
  };
  const Row rows[] = {
      {{file("a.png")}, 2, "one of --at, --every and --sheet is needed"},
      {{file("a.png"), "--at", "noon"}, 2, "\"noon\" is not a time: write 1:02:03, 90s"},
      {{file("a.png"), "--at", "2024-02-30 00:00"}, 2, "no such day"},
      {{file("a.png"), "--at", "1", "--every", "2"}, 2, "excludes"},
      {{file("a.png"), "--every", "1s"}, 2, "such as out-%03d.png"},
      {{file("a%d%d.png"), "--every", "1s"}, 2, "such as out-%03d.png"},
      {{file("a%d.png"), "--every", "0"}, 2, "not a length of time"},
      {{file("a%d.png"), "--every", "0.000001"}, 1, "and there is room for 100000"},
      {{file("a.png"), "--sheet", "0x3"}, 2, "is no sheet"},
      {{file("a.png"), "--sheet", "2x2", "--every", "1s"}, 1, "room for 4"},
      {{file("a.png"), "--sheet", "100x100"}, 1, "is too large"},
      {{file("a.png"), "--sheet", "2x2", "--from", "5", "--to", "4"}, 1, "is behind --to"},
      {{file("a.png"), "--at", "0", "--size", "16384x16384"}, 2, "is no size"},
      {{file("a.png"), "--at", "#38"}, 1, "no record #38, the last one is #37"},
      {{file("a.png"), "--sheet", "2x2", "--to", "#99999"}, 1, "small: there is no record #99999"},
      {{file("there.png"), "--at", "0"}, 1, "there.png: it exists already"},
      {{file("link.png"), "--at", "0"}, 1, "link.png: it exists already"},
      {{file("folder"), "--at", "0", "--force"}, 1, "no file that could be replaced"},
      {{file("folder/"), "--at", "0"}, 1, "no name of a file"},
      {{file("no/a.png"), "--at", "0"}, 1, "no/a.png: No such file"},
      {{file("small"), "--at", "0", "--force"}, 1, "it is the recording itself"}};
  for (const Row &row : rows) {
    Texts arguments = {"picture", file("small")};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const Outcome outcome = qom(arguments);
    EXPECT_EQ(outcome.status, row.status) << row.said;
    EXPECT_TRUE(contains(outcome.err, row.said)) << outcome.err;
    EXPECT_EQ(names(), known_) << row.said;
  }
  const Outcome full =
      qom({"picture", file("small"), file("there.png"), "--at", "1", "--force"}, "", 250);
  EXPECT_EQ(full.status, 1);
  EXPECT_TRUE(contains(full.err, "there.png: File too large, at 0:00:01.000 (")) << full.err;
  EXPECT_EQ(read_file(file("there.png")), "old");
  EXPECT_EQ(names(), known_);
  EXPECT_EQ(qom({"picture", file("small"), file("link.png"), "--at", "0", "--force"}).status, 0);
  EXPECT_FALSE(std::filesystem::is_symlink(file("link.png")));
}

TEST_F(Picture, OfRecordingsThatAreNotWhole) {
  const std::string head = "qom-text 1\nscreen 8x4\nformat RGB565\nuser \"a\"\n";
  make("empty", head);
  make("blind", head + "cursor-position +1 2,2\ndone +1\n");
  for (const char *name : {"empty", "blind"}) {
    const Outcome outcome = qom({"picture", file(name), "-", "--at", "0"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(contains(outcome.err, "it holds no picture")) << outcome.err;
  }
  make("one", head + "compressed-image +3 8x4 0,0 fill 07e0\n");
  EXPECT_EQ(decoded(taken("one", {"--at", "0"})).pixels[1], 255);
  EXPECT_EQ(decoded(taken("one", {"--sheet", "2x2", "--no-cursor"})).size.height > 8, true);

  std::string lines = head + "compressed-image +1 8x4 0,0 fill 0001\n";
  for (int i = 0; i < 3; ++i) lines += "compressed-image +1 4x4 0,0 random 3\n";
  make("whole", lines + "screen-change +1 8x4\ncompressed-image +0 8x4 0,0 fill 0002\n");
  std::string bytes = read_file(file("whole"));
  const Reader reader(qom_reader_open(file("whole").c_str()));
  const auto second = static_cast<size_t>(qom_reader_index(reader.get())[1].position);
  write_file(file("torn"), bytes.substr(0, second + 50));
  EXPECT_FALSE(contains(taken("torn", {"--at", "9"}), "Warning"));
  bytes[second + 34] = static_cast<char>(bytes[second + 34] + 1);
  write_file(file("damaged"), bytes);
  // Where the index does not have a record, nobody knows what it was.
  const QomIndexEntry &last = qom_reader_index(reader.get())[5];
  std::string lost = bytes.substr(0, static_cast<size_t>(last.position) + 32 + last.length);
  lost[second] = 'x';
  write_file(file("lost"), lost);
  for (const auto &[at, trusted] :
       {std::pair{"0", true}, {"1", false}, {"3", false}, {"4", true}}) {
    EXPECT_EQ(!contains(taken("damaged", {"--at", at}), "Warning"), trusted) << at;
    EXPECT_EQ(!contains(err_, "need not be what was on the screen"), trusted) << err_;
  }
  for (const auto &[at, trusted] : {std::pair{"1", false}, {"4", true}})
    EXPECT_EQ(!contains(taken("lost", {"--at", at}), "Warning"), trusted) << at;
  taken("damaged", {"--sheet", "5x1"});
  EXPECT_TRUE(contains(err_, "3 of 5 pictures, the first at 0:00:01.000")) << err_;
}

TEST_F(Picture, OutputFilesAreWholeOrNothing) {
  const std::string name = file("new.png");
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGXCPU}) {
    const pid_t child = fork();
    if (child == 0) {
      const OutputFile output(name, file("small"), Existing::refused);
      write_file(output.path(), "half");
      raise(number);
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WTERMSIG(status), number);
    EXPECT_EQ(names(), known_);
  }
  {
    OutputFile output(name, file("small"), Existing::refused);
    write_file(output.path(), "mine");
    EXPECT_TRUE(output.path().ends_with("/new.png"));
    EXPECT_NE(access(name.c_str(), F_OK), 0);
    write_file(name, "another's");  // which appeared meanwhile
    EXPECT_THROW(output.keep(), OutputError);
  }
  EXPECT_EQ(read_file(name), "another's");
  const mode_t before = umask(0);
  for (const mode_t mode : {0644u, 0400u}) {
    chmod(file("small").c_str(), mode);
    OutputFile output(name, file("small"), Existing::replaced);
    write_file(output.path(), "whole");
    output.keep();
    struct stat status;
    ASSERT_EQ(stat(name.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, mode & 0600);
  }
  umask(before);
  EXPECT_EQ(read_file(name), "whole");
  EXPECT_EQ(names().size(), known_.size() + 1);
}

}  // namespace
}  // namespace qomtool
