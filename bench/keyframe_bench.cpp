/* Key frames in memory: their size beside plain copies, and restoring one beside a memcpy. */
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

#include "desktop_content.h"
#include "pixels/packed_picture.h"
#include "ratio.h"

using namespace qom;

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kKeyFrames = 90; /* half an hour at one each 20 seconds */

PictureRows rows_of(uint8_t *data) {
  return {data, kWidth, kHeight, size_t{kWidth} * 4, 4};
}

void measure(bench::Table *table, const bench::Options &options, const char *name, double size_goal,
             double restore_goal, const std::function<void(bench::Desktop *, int)> &work) {
  bench::Desktop desktop(kWidth, kHeight, 1);
  std::vector<uint8_t> latest(desktop.bytes());
  std::vector<PackedPicture *> pictures;
  size_t packed = latest.size(); /* the plain copy of the latest counts as well */
  for (int i = 0; i < kKeyFrames; ++i) {
    work(&desktop, i);
    const PictureRows previous = rows_of(latest.data());
    pictures.push_back(picture_pack(rows_of(desktop.data()),
                                    pictures.empty() ? nullptr : pictures.back(), &previous));
    packed += picture_own_bytes(pictures.back());
    std::memcpy(latest.data(), desktop.data(), latest.size());
  }
  /* Eight hours hold 1440 key frames; the plain copy is held once. */
  const double each = static_cast<double>(packed - latest.size()) / kKeyFrames +
                      static_cast<double>(latest.size()) / 1440;
  std::vector<uint8_t> target(desktop.bytes());
  size_t turn = 0;
  const double restore =
      bench::cost([&] { std::memcpy(target.data(), latest.data(), target.size()); },
                  [&] {
                    picture_unpack(pictures[turn], rows_of(target.data()));
                    turn = (turn + 37) % pictures.size();
                  },
                  options);
  const std::string title = name;
  table->row({"bytes of a key frame of " + title, "plain copy"},
             each / static_cast<double>(latest.size()), bench::at_most(size_goal));
  table->row({"restoring a key frame of " + title, "memcpy of a frame"}, restore,
             bench::at_most(restore_goal));
  for (PackedPicture *picture : pictures) picture_release(picture);
}

}  // namespace

int main(int argc, char *argv[]) {
  bench::Options options =
      bench::options_read(argc, argv, "Key frames in memory, 1920x1080 pixels of 32 bits.");
  /* A restore comes once in a move, and finds neither frame nor key frame in a cache. */
  options.before = bench::caches_flush;
  bench::Table table(options, "key frames: size and restore");
  measure(&table, options, "text", 1.0 / 80, 4, [](bench::Desktop *desktop, int i) {
    for (int window = 0; window < 2; ++window) desktop->scroll(window, 20);
    for (int line = 0; line < 30; ++line) desktop->type(2 + i % 2);
  });
  measure(&table, options, "photo-like content", 1.0 / 6, 12, [](bench::Desktop *desktop, int i) {
    desktop->film({200, 150, 960, 540}, i);
    desktop->scroll(1, 10);
  });
  return table.close();
}
