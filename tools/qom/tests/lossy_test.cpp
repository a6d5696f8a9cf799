// Lossy pixels in what is made of a recording: nothing takes the mark off, and every picture tells.
#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "program.h"
#include "session.h"

namespace qomtool {
namespace {

constexpr uint64_t kSecond = 1'000'000;
constexpr uint64_t kFirst = 10 * kSecond;
constexpr int kWidth = 160;
constexpr int kHeight = 120;
constexpr QomRectangle kMask = {40, 30, 20, 10};

Bytes block(int16_t x, int16_t y, uint16_t width, uint16_t height, unsigned phase) {
  Bytes bytes;
  for (const auto value : {static_cast<uint16_t>(x), static_cast<uint16_t>(y), width, height})
    forge::append(&bytes, value);
  for (unsigned i = 0; i < unsigned{width} * height; ++i)
    forge::append(&bytes, (i % width * 3 + phase) << 16 | (i / width * 2) << 8 | (i * 7 & 0x3F));
  return bytes;
}

QomImageBlocks blocks(uint64_t second, Bytes *bytes) {
  return {QOM_IMAGE_BLOCKS, kFirst + second * kSecond, static_cast<uint32_t>(bytes->size()),
          bytes->data()};
}

Record lossy(uint64_t second, Bytes bytes) {
  const QomImageBlocks plain = blocks(second, &bytes);
  return Record(
      reinterpret_cast<QomRecord *>(qom_image_blocks_compress_lossy(&plain, xRGB8888, 60)));
}

class LossyAreas : public ProgramTest {
 protected:
  // A film, which is scrolled, stands, is made exact in part, and is gone.
  void SetUp() override {
    if (!qom_can_compress_lossy()) GTEST_SKIP() << "built without the codec";
    QomHeader header = sample_header();
    header.version = 2;
    header.timestamp = kFirst;
    header.width = kWidth;
    header.height = kHeight;
    QomCopy copy = {20, 20, 80, 60, 60, 50};
    Bytes exact = block(10, 10, 50, 40, 3);
    write(header, list(compressed(image(header, kFirst, kWidth, kHeight)),
                       lossy(1, block(20, 20, 80, 60, 0)), lossy(2, block(20, 20, 80, 60, 9)),
                       keep(QomCopyArea{QOM_COPY_AREA, kFirst + 3 * kSecond, 1, &copy}),
                       compressed(keep(blocks(4, &exact))),
                       compressed(image(header, kFirst + 5 * kSecond, kWidth, kHeight)),
                       keep(QomRecord{QOM_DONE, kFirst + 6 * kSecond})));
  }

  struct Shown {
    std::vector<Rgb> pixels;
    std::vector<bool> lossy;
  };
  static Shown shown(const std::string &name, uint64_t time) {
    const Reader reader(qom_reader_open(name.c_str()));
    const Screen screen(qom_screen_open(reader.get(), nullptr));
    EXPECT_EQ(qom_screen_go_to_time(screen.get(), time), QOM_SCREEN_REACHED);
    Shown shown{picture_of(screen.get(), false), std::vector<bool>(size_t{kWidth} * kHeight)};
    QomRectangle areas[QOM_MAX_LOSSY_AREAS];
    const size_t count = qom_screen_lossy(screen.get(), areas, QOM_MAX_LOSSY_AREAS);
    for (const QomRectangle &area : std::span(areas, count))
      for (int y = area.y; y < area.y + area.height; ++y)
        for (int x = area.x; x < area.x + area.width; ++x)
          shown.lossy[size_t(y * kWidth + x)] = true;
    return shown;
  }
};

// Whether a pixel is in the mask, or up to `beyond` pixels away.
bool is_masked(size_t pixel, int beyond) {
  const int x = static_cast<int>(pixel) % kWidth;
  const int y = static_cast<int>(pixel) / kWidth;
  return x >= kMask.x - beyond && x < kMask.x + kMask.width + beyond && y >= kMask.y - beyond &&
         y < kMask.y + kMask.height + beyond;
}

TEST_F(LossyAreas, StayMarkedInEveryCutAndHideWhatIsBesideAMask) {
  for (const bool masked : {false, true})
    for (int from = 0; from < 6; ++from) {
      const std::string name = file("cut" + std::to_string(from) + (masked ? "m" : ""));
      Texts arguments = {"cut", path, name, "--from", std::to_string(from) + ".5"};
      if (masked) arguments.insert(arguments.end(), {"--mask", "20x10+40+30"});
      const Outcome outcome = qom(arguments);
      ASSERT_EQ(outcome.status, 0) << outcome.err;
      for (int second = from; second < 6; ++second) {
        const uint64_t time = kFirst + uint64_t(second) * kSecond + kSecond / 2;
        const Shown was = shown(path, time);
        const Shown is = shown(name, time);
        for (size_t i = 0; i < was.pixels.size(); ++i) {
          ASSERT_TRUE(is.lossy[i] || !was.lossy[i]) << second << ": the mark of pixel " << i;
          ASSERT_TRUE(was.lossy[i] || !is.lossy[i]) << second << ": a mark too many, " << i;
          const bool black = masked && (is_masked(i, 0) || (is_masked(i, 15) && was.lossy[i]));
          // Beside lossy pixels that were black, what came later and is exact may be what it was.
          if (masked && is_masked(i, 15) && !black) continue;
          ASSERT_EQ(is.pixels[i], black ? Rgb{} : was.pixels[i])
              << from << ", " << second << ": " << i;
        }
      }
    }
}

TEST_F(LossyAreas, AreTheSameInATextAndAreTold) {
  const std::string text = qom({"dump", "--text", path}).out;
  EXPECT_TRUE(contains(text, "lossy 80x60 20,20")) << text.substr(0, 400);
  make("again", text);
  EXPECT_EQ(qom({"dump", "--text", file("again")}).out, text);
  // A cut begins with an image that has marks.
  ASSERT_EQ(qom({"cut", path, file("cut"), "--from", "1.5"}).status, 0);
  const std::string cut = qom({"dump", "--text", file("cut")}).out;
  EXPECT_TRUE(contains(cut, "160x120 0,0 lossy 80x60 20,20 rows"));
  make("cut-again", cut);
  EXPECT_EQ(qom({"dump", "--text", file("cut-again")}).out, cut);
  const auto told = nlohmann::json::parse(qom({"info", "--json", path}).out)["lossy"];
  EXPECT_EQ(nlohmann::json::parse(qom({"info", "--json", file("again")}).out)["lossy"], told);
  EXPECT_NEAR(told["share_of_time"].get<double>(), 4. / 6, 1e-9);
  EXPECT_TRUE(contains(qom({"info", path}).out, "lossy         66.7 % of the time"));
  EXPECT_EQ(qom({"verify", path}).status, 0);

  for (const auto &[at, marked] : {std::pair{"0.5", false}, {"1.5", true}, {"5.5", false}}) {
    const Outcome outcome = qom({"picture", path, "-", "--at", at});
    EXPECT_EQ(contains(outcome.out, "qom:lossy"), marked) << at;
    EXPECT_EQ(contains(outcome.out, "Warning"), marked) << at;
    EXPECT_EQ(contains(outcome.err, "has lossy areas"), marked) << outcome.err;
  }
  EXPECT_TRUE(contains(qom({"picture", path, "-", "--sheet", "7x1"}).err, "4 of 7 pictures"));
  const Outcome film = qom({"export", path, file("film.mkv")});
  EXPECT_TRUE(contains(film.err, "parts of the film have lossy areas")) << film.err;
}

}  // namespace
}  // namespace qomtool
