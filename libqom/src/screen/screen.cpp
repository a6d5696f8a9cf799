// The screen's C interface.
#include "qom/screen.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "base/error.h"
#include "file/reader.h"
#include "screen/damage.h"
#include "screen/moving.h"

using namespace qom;

namespace {

constexpr uint64_t usual_spacing = 20'000'000;  // microseconds
constexpr size_t usual_pictures = 8;            // of the screen's first size: 64 MiB at 1920x1080
constexpr size_t least_memory = size_t{16} << 20;

size_t usual_memory(const QomPicture &picture) {
  return std::max(least_memory, usual_pictures * picture.stride * picture.height);
}

QomScreen *out_of_memory() {
  errno = ENOMEM;
  set_error("out of memory");
  return nullptr;
}

// --- the cursor in the picture ---------------------------------------------------------------

size_t pixel_bytes(const QomPicture &picture) {
  return pixel_format_bytes_per_pixel(picture.pixel_format);
}

uint8_t *row_of(const QomPicture &picture, const QomRectangle &area, int32_t row) {
  return picture.pixels + static_cast<size_t>(area.y + row) * picture.stride +
         static_cast<size_t>(area.x) * pixel_bytes(picture);
}

// Takes the cursor out of the picture again.
void cursor_remove(QomScreen *screen) {
  const QomRectangle area = std::exchange(screen->under_area, {});
  if (is_empty(area)) return;
  const QomPicture &picture = screen->state.canvas.picture();
  const size_t bytes = static_cast<size_t>(area.width) * pixel_bytes(picture);
  for (int32_t row = 0; row < area.height; ++row)
    std::memcpy(row_of(picture, area, row), screen->under.get() + static_cast<size_t>(row) * bytes,
                bytes);
  screen->under.reset();
}

// Blends the cursor into the picture; false when memory is short.
bool cursor_add(QomScreen *screen) {
  const Cursor &cursor = screen->state.attributes.cursor;
  const QomPicture &picture = screen->state.canvas.picture();
  const QomRectangle area =
      cursor.pixels ? common_part(cursor.rectangle(), {0, 0, picture.width, picture.height})
                    : QomRectangle{};
  if (is_empty(area)) return true;
  const size_t bytes = static_cast<size_t>(area.width) * pixel_bytes(picture);
  screen->under.reset(new (std::nothrow) uint8_t[bytes * static_cast<size_t>(area.height)]);
  if (!screen->under) return out_of_memory() != nullptr;
  screen->under_area = area;
  for (int32_t row = 0; row < area.height; ++row)
    std::memcpy(screen->under.get() + static_cast<size_t>(row) * bytes, row_of(picture, area, row),
                bytes);
  QomPicture part = picture;
  part.pixels = row_of(picture, area, 0);
  qom_picture_blend(&picture, &cursor.image, cursor.x, cursor.y, area, &part);
  return true;
}

// Where the index has become another one, nothing is known of the places that the screen has been
// at.
bool generation_follow(QomScreen *screen) {
  const uint64_t generation = reader_generation(screen->reader);
  if (generation == screen->generation) return true;
  screen->generation = generation;
  screen->snapshots.clear();
  screen->record.reset();
  screen->ahead = {};
  screen->place = 0;
  screen->is_lost = !screen->state.reset();
  return !screen->is_lost;
}

}  // namespace

extern "C" {

QomScreen *qom_screen_open(QomReader *reader, const QomScreenOptions *options) {
  std::unique_ptr<QomScreen> screen(new (std::nothrow) QomScreen);
  if (!screen) return out_of_memory();
  if (options) screen->options = *options;
  if (screen->options.pixel_format == FORMAT_UNKNOWN) screen->options.pixel_format = xRGB8888;
  screen->reader = reader;
  const QomHeader *header = qom_info_header(reader);
  if (!qom_picture_converts(header->pixel_format, screen->options.pixel_format))
    return QOM_REFUSE(nullptr, "no conversion from pixel format %s to %s",
                      pixel_format_string(header->pixel_format),
                      pixel_format_string(screen->options.pixel_format));
  if (!screen->state.setup(header, screen->options)) return nullptr;
  screen->generation = reader_generation(reader);
  const size_t memory = screen->options.memory;
  const uint64_t spacing = screen->options.spacing;
  screen->snapshots.setup(memory ? memory : usual_memory(screen->state.canvas.picture()),
                          spacing ? spacing : usual_spacing);
  return screen.release();
}

void qom_screen_close(QomScreen *screen) {
  if (screen) cursor_remove(screen);
  delete screen;
}

size_t qom_screen_length(QomScreen *screen) {
  return reader_count(screen->reader);
}

QomScreenResult qom_screen_go(QomScreen *screen, size_t place) {
  QomScreenResult result;
  // Once more where the index turned out to be another one on the way.
  do {
    QomScreenStart start;
    result = qom_screen_start(screen, place, &start);
    if (result == QOM_SCREEN_REACHED) result = qom_screen_apply(screen, place);
  } while (screen->generation != reader_generation(screen->reader));
  return result;
}

QomScreenResult qom_screen_go_to_time(QomScreen *screen, uint64_t time) {
  return qom_screen_go(screen, reader_count_until(screen->reader, time));
}

size_t qom_screen_place(const QomScreen *screen) {
  return screen->place;
}

size_t qom_screen_place_of_time(QomScreen *screen, uint64_t time) {
  return reader_count_until(screen->reader, time);
}

int qom_screen_picture(QomScreen *screen, int with_cursor, QomPicture *picture) {
  cursor_remove(screen);
  if (with_cursor && !cursor_add(screen)) return -1;
  *picture = screen->state.canvas.picture();
  return 0;
}

int qom_screen_has_picture(const QomScreen *screen) {
  return screen->state.has_picture();
}

const QomCursorImage *qom_screen_cursor(const QomScreen *screen, int32_t *x, int32_t *y) {
  const Cursor &cursor = screen->state.attributes.cursor;
  if (!cursor.pixels) return nullptr;
  *x = cursor.x;
  *y = cursor.y;
  return &cursor.image;
}

const char *qom_screen_text(const QomScreen *screen, QomScreenText text) {
  if (static_cast<unsigned>(text) >= QOM_TEXT_COUNT) return nullptr;
  return screen->state.attributes.texts[text].data();
}

size_t qom_screen_changes(QomScreen *screen, QomRectangle *rectangles, size_t room) {
  return screen->state.damage.take(rectangles, room);
}

int qom_screen_is_trusted(const QomScreen *screen) {
  return screen->trusted;
}

size_t qom_screen_lossy(const QomScreen *screen, QomRectangle *areas, size_t room) {
  const Region &lossy = screen->state.attributes.lossy;
  std::copy_n(lossy.begin(), std::min(room, lossy.count()), areas);
  return lossy.count();
}

QomScreenResult qom_screen_start(QomScreen *screen, size_t place, QomScreenStart *start) {
  cursor_remove(screen);
  *start = {QOM_START_BEGINNING, 0, 0, 0};
  const size_t to = std::min(place, reader_count(screen->reader));
  if (!generation_follow(screen)) return QOM_SCREEN_FAILED;
  return start_move(screen, to, start);
}

QomScreenResult qom_screen_apply(QomScreen *screen, size_t place) {
  cursor_remove(screen);
  return run_to(screen, std::min(place, reader_count(screen->reader)));
}

void qom_screen_set_place(QomScreen *screen, size_t place) {
  cursor_remove(screen);
  screen->state.leave_record();
  screen->record.reset();
  screen->place = std::min(place, reader_count(screen->reader));
}

int qom_screen_take(QomScreen *screen, const QomRecord *record) {
  cursor_remove(screen);
  screen->state.leave_record();
  screen->record.reset();
  return screen->state.apply(record, false, Pause(nullptr, nullptr)) == Applied::whole ? 0 : -1;
}

int qom_screen_is_within_record(const QomScreen *screen) {
  return screen->state.is_within_record();
}

int qom_screen_save_is_due(const QomScreen *screen) {
  QomIndexEntry last;
  return screen->place > 0 && !screen->state.is_within_record() && screen->state.has_picture() &&
         reader_entry(screen->reader, screen->place - 1, &last) &&
         screen->snapshots.is_due(last.timestamp);
}

int qom_screen_save(QomScreen *screen) {
  cursor_remove(screen);
  QomIndexEntry last;
  if (!qom_screen_save_is_due(screen)) return 0;
  return reader_entry(screen->reader, screen->place - 1, &last)
             ? save_if_due(screen, last.timestamp)
             : -1;
}

size_t qom_screen_snapshots(const QomScreen *screen, size_t *bytes) {
  *bytes = screen->snapshots.bytes();
  return screen->snapshots.count();
}

void qom_screen_set_strict(QomScreen *screen, int strict) {
  screen->options.strict = strict;
}

void qom_screen_set_memory(QomScreen *screen, size_t bytes) {
  screen->snapshots.set_ceiling(bytes ? bytes : usual_memory(screen->state.canvas.picture()));
}

}  // extern "C"
