#include "film.h"

#include <algorithm>

#include "clock.h"
#include "encoding.h"
#include "progress.h"
#include "scaling.h"

namespace qomtool {
namespace {

constexpr uint64_t kLongest = uint64_t{1000} * 86400 * kSecond;  // stretch of which a film is made
constexpr uint64_t kLongestStill = 600;  // seconds for which a picture of a film is shown at most
constexpr size_t kToldDoubts = 8;

// Where everything is in a film.
struct Layout {
  PictureSize film;
  QomRectangle frame;  // of the screen
  uint32_t rows;       // for which the caption is lettered
};

// What all screens of a stretch fit into. The source is at its begin.
PictureSize largest_screen(const Source &source, const Stretch &stretch) {
  QomPicture picture;
  if (qom_screen_picture(source.screen(), 0, &picture) != 0) throw std::bad_alloc();
  PictureSize largest = {picture.width, picture.height};
  const Recording &recording = source.recording();
  const size_t end = qom_screen_place_of_time(source.screen(), stretch.to);
  for (size_t i = qom_screen_place(source.screen()); i < end; ++i) {
    if (recording.index[i].type != QOM_SCREEN_CHANGE) continue;
    const RecordPtr record(qom_record_at_index(recording.reader.get(), i));
    if (!record) continue;
    const auto &change = as<QomScreenChange>(record.get());
    if (!is_allowed({change.width, change.height})) continue;
    largest.width = std::max<uint32_t>(largest.width, change.width);
    largest.height = std::max<uint32_t>(largest.height, change.height);
  }
  return largest;
}

uint32_t even(uint32_t side) {
  return (side + 1) & ~1u;
}

// The even size at or below one; at least 2x2.
PictureSize even_within(PictureSize size) {
  return {std::max(2u, size.width & ~1u), std::max(2u, size.height & ~1u)};
}

Layout layout_of(PictureSize screen, const FilmWishes &wishes, RawPixels pixels) {
  const bool is_even = pixels == RawPixels::yuv420p;
  std::optional<PictureSize> asked = wishes.size;
  if (asked && is_even) asked = even_within(*asked);
  const uint32_t rows = asked ? asked->height : screen.height;
  const uint32_t caption = Caption(wishes.caption, rows).height();
  if (asked && asked->height <= caption)
    throw SourceError("--size has no room for the picture above --clock and --texts");
  if (asked) screen = fitted(screen, {asked->width, asked->height - caption});
  PictureSize film = {screen.width, screen.height + caption};
  if (is_even) film = {even(film.width), even(film.height)};
  if (!is_allowed(film)) throw SourceError("a film of its size is too large: take a --size");
  return {
      film, {0, 0, static_cast<int32_t>(screen.width), static_cast<int32_t>(screen.height)}, rows};
}

// What is to be seen in a film: a screen, and what stands under it.
class Scene {
 public:
  Scene(const Layout &layout, const FilmWishes &wishes)
      : picture_(layout.film, layout.frame,
                 wishes.in_natural_size ? FilmPicture::Fit::natural : FilmPicture::Fit::scaled,
                 wishes.with_cursor),
        caption_(wishes.caption, layout.rows),
        caption_top_(layout.frame.height) {}

  // Takes over what is on the screen; true when anything but a clock looks different now.
  bool follow(QomScreen *screen) {
    const bool changed = picture_.follow(screen);
    return caption_.is_outdated(screen) || changed;
  }

  // Writes it as the picture of a tick, with the clock of that time.
  void write(const QomScreen *screen, uint64_t time, uint64_t tick, Encoding *encoding) {
    RgbImage *canvas = picture_.canvas();
    if (caption_.draw(screen, time, static_cast<uint32_t>(caption_top_), canvas))
      picture_.note({0, caption_top_, static_cast<int32_t>(canvas->size.width),
                     static_cast<int32_t>(caption_.height())});
    encoding->write(tick, &picture_);
  }

 private:
  FilmPicture picture_;
  Caption caption_;
  int32_t caption_top_;
};

// The stretches of time in which there is something against the pictures.
class Stretches {
 public:
  // Whether it is so at a time; times come in their order.
  void look(uint64_t time, bool is_so) {
    if (is_so && !open_) stretches_.push_back({time, time});
    if (open_) stretches_.back().to = time;
    open_ = is_so;
  }

  // `text` says what, and they follow.
  void tell(const Source &source, std::string text) const {
    if (stretches_.empty()) return;
    for (size_t i = 0; i < std::min(stretches_.size(), kToldDoubts); ++i)
      text += (i > 0 ? ", " : " ") + source.describe(stretches_[i].from) + " to " +
              source.describe(stretches_[i].to);
    if (stretches_.size() > kToldDoubts)
      text += ", and " + std::to_string(stretches_.size() - kToldDoubts) + " more";
    complain(source.name(), text);
  }

 private:
  std::vector<Stretch> stretches_;
  bool open_ = false;
};

// The pictures that need not be what was on the screen, and those that are not quite.
class Doubts {
 public:
  explicit Doubts(const Source &source) : source_(source) {}

  // The screen was brought to that time.
  void look(uint64_t time) {
    damaged_.look(time, !source_.is_trusted(time));
    lossy_.look(time, qom_screen_lossy(source_.screen(), nullptr, 0) > 0);
  }

  void tell() const {
    damaged_.tell(
        source_,
        "the recording is damaged: these parts of the film need not be what was on the screen:");
    lossy_.tell(source_,
                "these parts of the film have lossy areas, which are near what was on the screen "
                "and not the same:");
  }

 private:
  const Source &source_;
  Stretches damaged_;
  Stretches lossy_;
};

class Film {
 public:
  Film(const Source &source, const FilmWishes &wishes, const FilmFormat &format,
       const Layout &layout, const char *what, OutputFile *output, int side)
      : source_(source),
        wishes_(wishes),
        timeline_(wishes.stretch.from, wishes.pace),
        scene_(layout, wishes),
        encoding_(format, layout.film, wishes.pace.pictures, output, side),
        progress_(what, wishes.stretch.to - wishes.stretch.from, Progress::Unit::recorded_time),
        doubts_(source),
        at_(wishes.stretch.from) {}

  void write();
  void tell_doubts() const { doubts_.tell(); }

 private:
  void write_pictures();
  void go_on_to(uint64_t time);
  std::optional<uint64_t> next_record() const;
  void show(uint64_t tick, uint64_t time);

  const Source &source_;
  const FilmWishes &wishes_;
  Timeline timeline_;
  Scene scene_;
  Encoding encoding_;
  Progress progress_;
  Doubts doubts_;
  uint64_t at_;         // of the recording
  uint64_t shown_ = 0;  // the tick whose picture was written last
};

void Film::write() {
  write_pictures();
  encoding_.finish();
  progress_.clear();
}

void Film::write_pictures() {
  doubts_.look(at_);
  scene_.follow(source_.screen());
  show(0, at_);
  const Pace &pace = wishes_.pace;
  for (;;) {
    const std::optional<uint64_t> record = next_record();
    const uint64_t next = record.value_or(wishes_.stretch.to);
    uint64_t tick = timeline_.tick_of(next);
    if (record) tick = std::max(tick, shown_ + 1);
    if (tick <= shown_) break;
    // A clock runs by the second, also while nothing happens.
    const uint64_t still = wishes_.caption.clock ? 1 : kLongestStill;
    const uint64_t due = shown_ + still * pace.pictures;
    if (due < tick) {
      show(due, timeline_.time_of(due, next));
      continue;
    }
    const uint64_t time = timeline_.time_of(tick, next);
    go_on_to(record ? std::min(time, wishes_.stretch.to) : next);
    const bool changed = scene_.follow(source_.screen());
    if (changed) timeline_.change(next);
    if (changed || !record) show(tick, at_);
  }
}

// The time of the first record that the screen has not come to yet, when the film has it.
std::optional<uint64_t> Film::next_record() const {
  const Recording &recording = source_.recording();
  const size_t place = qom_screen_place(source_.screen());
  if (place >= recording.length) return std::nullopt;
  const uint64_t time = recording.index[place].timestamp;
  if (time > wishes_.stretch.to) return std::nullopt;
  return time;
}

void Film::go_on_to(uint64_t time) {
  source_.go_to(time);
  at_ = time;
  doubts_.look(time);
  progress_.update(time - wishes_.stretch.from);
}

void Film::show(uint64_t tick, uint64_t time) {
  progress_.update(time - wishes_.stretch.from);
  scene_.write(source_.screen(), time, tick, &encoding_);
  shown_ = tick;
}

// How far the screen has come, in words.
std::string moment_of(const Source &source) {
  const size_t place = std::max<size_t>(1, qom_screen_place(source.screen()));
  return source.describe(source.recording().index[place - 1].timestamp);
}

}  // namespace

void write_film(const Source &source, const FilmWishes &wishes, const FilmFormat &format,
                const std::string &name, OutputFile::Existing existing) {
  OutputFile::check(name, source.name(), existing);
  const Stretch &stretch = wishes.stretch;
  if (stretch.to - stretch.from > kLongest)
    throw SourceError("it is too long for a film, " + elapsed_time(stretch.from, stretch.to) +
                      ": take --from and --to");
  qom_screen_set_memory(source.screen(), 1);  // this goes forward alone
  source.go_to(stretch.from);
  const PictureSize screen = largest_screen(source, stretch);
  const Layout layout = layout_of(screen, wishes, format.pixels);
  OutputFile output(name, source.name(), existing);
  FilmFormat to_file = format;
  to_file.options.push_back("file:" + output.path());
  try {
    Descriptor palette;
    if (format.has_palette) {
      open_in_memory(&palette);
      Film(source, wishes, palette_format(), layout, "finding colours", &output, palette.number())
          .write();
      source.go_to(stretch.from);
    }
    Film film(source, wishes, to_file, layout, "exporting", &output, palette.number());
    film.write();
    film.tell_doubts();
  } catch (const FfmpegMissing &error) {
    throw OutputError(name, error.what());
  } catch (const FfmpegError &error) {
    throw OutputError(name, std::string(error.what()) + ", at " + moment_of(source));
  }
  output.keep();
}

}  // namespace qomtool
