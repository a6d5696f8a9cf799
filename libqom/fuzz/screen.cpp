// Opens the input as a recording and moves about in it. The last bytes of the input say where to.
#include "qom/screen.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "memory_file.h"
#include "repairing_mutator.h"

namespace {

using fuzz::require;

constexpr size_t moves = 6;

// Ends a move after a while, and pauses on the way.
struct Patience {
  int looks = 0;
};

int pause_sometimes(void *context) {
  return ++static_cast<Patience *>(context)->looks % 3 == 0;
}

void look(QomScreen *screen) {
  QomPicture picture;
  if (qom_screen_picture(screen, 1, &picture) != 0) return;
  const size_t pixel = pixel_format_bytes_per_pixel(picture.pixel_format);
  require(picture.width > 0 && picture.height > 0 && picture.stride >= picture.width * pixel,
          "a screen has pixels");
  uint8_t rgb[3];
  qom_picture_rgb(&picture, {picture.width - 1, picture.height - 1, 1, 1}, rgb, sizeof rgb);
  QomRectangle changes[4];
  const size_t count = qom_screen_changes(screen, changes, std::size(changes));
  for (size_t i = 0; i < count; ++i)
    require(changes[i].x >= 0 && changes[i].y >= 0 && changes[i].width > 0 &&
                changes[i].height > 0 && changes[i].x + changes[i].width <= picture.width &&
                changes[i].y + changes[i].height <= picture.height,
            "what changed lies in the picture");
  for (int text = 0; text < QOM_TEXT_COUNT; ++text) {
    const char *value = qom_screen_text(screen, static_cast<QomScreenText>(text));
    require(!value || std::strlen(value) <= QOM_MAX_TEXT, "a text ends");
  }
}

void move(QomScreen *screen, size_t place) {
  QomScreenResult result;
  int rounds = 0;
  do result = qom_screen_go(screen, place);
  while (result == QOM_SCREEN_PAUSED && ++rounds < 1000);
  require(result != QOM_SCREEN_REACHED || qom_screen_place(screen) == place,
          "a move that has ended is where it was to go");
  look(screen);
}

void use(QomReader *reader, const uint8_t *data, size_t size) {
  Patience patience;
  QomScreenOptions options = {};
  options.pixel_format = data[0] % 2 ? xRGB8888 : BGR565;
  options.strict = data[0] % 3 == 0;
  options.memory = data[0] % 5 == 0 ? 1 << 20 : 0;
  options.spacing = 1;
  options.pause = pause_sometimes;
  options.context = &patience;
  QomScreen *screen = qom_screen_open(reader, &options);
  if (!screen) return;
  const size_t length = qom_screen_length(screen);
  for (size_t i = 0; i < std::min(moves, size); ++i)
    move(screen, (length * data[size - 1 - i] + 254) / 255);
  uint64_t found = 0;
  const QomRectangle area = {0, 0, 3, 3};
  uint64_t time = qom_info_header(reader)->timestamp;
  for (size_t i = 0; i < moves && qom_screen_next_change(screen, time, &area, &found) == 1; ++i) {
    require(found > time, "a next change comes later");
    time = found;
  }
  qom_screen_close(screen);
}

}  // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size,
                                          unsigned seed) {
  return fuzz::mutate_recording(data, size, max_size, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  QomReader *reader = qom_reader_open(fuzz::memory_file(data, size));
  if (!reader) return 0;
  use(reader, data, size);
  QomStretch *stretches = nullptr;
  size_t count = 0;
  require(qom_screen_untrusted(reader, nullptr, nullptr, &stretches, &count) == 0,
          "damage is no failure of the search for it");
  for (size_t i = 0; i < count; ++i)
    require(stretches[i].begin < stretches[i].end &&
                (i == 0 || stretches[i - 1].end <= stretches[i].begin),
            "stretches follow each other");
  std::free(stretches);
  qom_reader_close(reader);
  return 0;
}
