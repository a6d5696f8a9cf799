// qom picture: single pictures, series of them, and contact sheets.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "clock.h"
#include "commands.h"
#include "options.h"
#include "origins.h"
#include "png_file.h"
#include "progress.h"
#include "scaling.h"
#include "series.h"
#include "sheet.h"
#include "text/quote.h"

namespace {

using namespace qomtool;

constexpr PictureSize kUsualOnSheet = {480, 270};
constexpr uint64_t kMostPictures = 100'000;

struct Options : TakeoutOptions {
  std::string at;
  std::string every;
  std::string sheet;
  std::string size;
  bool no_cursor = false;

  bool to_standard_output() const { return out == "-"; }
};

struct Key {
  QomScreenText text;
  const char *name;
};

constexpr Key kKeys[] = {{QOM_TEXT_APP, "qom:app"},   {QOM_TEXT_APPFMT, "qom:appfmt"},
                         {QOM_TEXT_HOST, "qom:host"}, {QOM_TEXT_IP, "qom:ip"},
                         {QOM_TEXT_USER, "qom:user"}, {QOM_TEXT_TFN, "qom:tfn"},
                         {QOM_TEXT_SID, "qom:sid"},   {QOM_TEXT_TID, "qom:tid"}};

std::string software() {
  return "qom " + std::to_string(QOM_VERSION_MAJOR) + '.' + std::to_string(QOM_VERSION_MINOR) +
         '.' + std::to_string(QOM_VERSION_PATCH);
}

std::string doubt_at(const Source &source, uint64_t time) {
  return "the recording is damaged: the picture at " + source.describe(time) +
         " need not be what was on the screen";
}

std::string lossy_at(const Source &source, uint64_t time) {
  return "the picture at " + source.describe(time) +
         " has lossy areas, which are near what was on the screen and not the same";
}

// "640x360+0+80", one behind the other.
std::string areas_text(const std::vector<QomRectangle> &areas) {
  std::string text;
  for (const QomRectangle &area : areas) (text += text.empty() ? "" : " ") += mask_text(area);
  return text;
}

// Pictures that are not simply what was on the screen: of one kind.
class Found {
 public:
  void add(uint64_t time) {
    if (count_++ == 0) first_ = time;
  }
  uint64_t count() const { return count_; }
  uint64_t first() const { return first_; }

 private:
  uint64_t count_ = 0;
  uint64_t first_ = 0;
};

// The pictures that need not be what was on the screen, and those that are not quite.
class Doubts {
 public:
  explicit Doubts(const Source &source) : source_(source) {}

  // What there is against the screen's picture, of this time.
  Sheet::Doubt look(uint64_t time) {
    ++pictures_;
    const bool is_lossy = !source_.lossy().empty();
    if (is_lossy) lossy_.add(time);
    if (source_.is_trusted(time)) return is_lossy ? Sheet::Doubt::lossy : Sheet::Doubt::none;
    damaged_.add(time);
    return Sheet::Doubt::damaged;
  }

  // Sentences about them, as texts of a PNG file.
  std::vector<PngText> texts() const {
    std::vector<PngText> texts;
    for (const std::string &text : {damaged_text(), lossy_text()})
      if (!text.empty()) texts.push_back({"Warning", text});
    return texts;
  }

  void tell() const {
    for (const PngText &text : texts()) complain(source_.name(), text.value);
  }

 private:
  std::string damaged_text() const {
    if (damaged_.count() == 0) return "";
    if (pictures_ == 1) return doubt_at(source_, damaged_.first());
    return "the recording is damaged: " + some(damaged_) + ", need not be what was on the screen";
  }

  std::string lossy_text() const {
    if (lossy_.count() == 0) return "";
    if (pictures_ == 1) return lossy_at(source_, lossy_.first());
    return some(lossy_) +
           ", have lossy areas, which are near what was on the screen and not the same";
  }

  std::string some(const Found &found) const {
    return std::to_string(found.count()) + " of " + std::to_string(pictures_) +
           " pictures, the first at " + source_.describe(found.first());
  }

  const Source &source_;
  uint64_t pictures_ = 0;
  Found damaged_;
  Found lossy_;
};

// The screen's picture at a time, in the size that was asked for, otherwise in its own or what of
// it fits into `most`.
RgbImage picture_at(const Source &source, uint64_t time, const Options &options,
                    std::optional<PictureSize> most = std::nullopt) {
  source.go_to(time);
  QomPicture picture;
  if (qom_screen_picture(source.screen(), !options.no_cursor, &picture) != 0)
    throw SourceError("at " + source.describe(time) + ": " + qom_reader_error());
  RgbImage image = rgb_of(picture);
  if (const std::optional<PictureSize> asked = parse_size(options.size))
    return scaled(image, fitted(image.size, *asked));
  if (!most || (image.size.width <= most->width && image.size.height <= most->height)) return image;
  return scaled(image, fitted(image.size, *most));
}

// What is known of the screen's picture, which was brought to `time`.
std::vector<PngText> texts_of(const Source &source, uint64_t time) {
  std::vector<PngText> texts = {{"Software", software()},
                                {"Creation Time", exact_time(time)},
                                {"qom:elapsed", elapsed_time(source.all().from, time)}};
  for (const Key &key : kKeys)
    if (const char *text = qom_screen_text(source.screen(), key.text))
      texts.push_back({key.name, text});
  if (const std::vector<QomRectangle> lossy = source.lossy(); !lossy.empty()) {
    texts.push_back({"qom:lossy", areas_text(lossy)});
    texts.push_back({"Warning", lossy_at(source, time)});
  }
  return texts;
}

struct CloseFile {
  void operator()(std::FILE *file) const { (void)std::fclose(file); }  // flushed before
};

// Writes a file that is new at `path`. Returns what went wrong.
std::string write_new(const std::string &path, const RgbImage &image,
                      const std::vector<PngText> &texts) {
  const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "wbxe"));
  return file ? write_png(file.get(), image, texts) : std::strerror(errno);
}

// `moment` is told when it fails.
void write(const RgbImage &image, const std::vector<PngText> &texts, const std::string &name,
           const std::string &moment, const Source &source, const Options &options) {
  if (options.to_standard_output()) {
    if (!write_png(stdout, image, texts).empty())  // why is told at the end of the program
      throw SourceError(moment + ": the picture could not be written");
    return;
  }
  OutputFile file(name, source.name(), options.existing());
  const std::string why = write_new(file.path(), image, texts);
  if (!why.empty()) throw OutputError(name, why + ", " + moment);
  file.keep();
}

void write_picture(const Source &source, uint64_t time, const std::string &name,
                   const Options &options, Doubts *doubts) {
  const RgbImage image = picture_at(source, time, options);
  std::vector<PngText> texts = texts_of(source, time);
  if (doubts->look(time) == Sheet::Doubt::damaged)
    texts.push_back({"Warning", doubt_at(source, time)});
  write(image, texts, name, "at " + source.describe(time), source, options);
}

void write_one(const Source &source, const Options &options) {
  if (!options.to_standard_output())
    OutputFile::check(options.out, source.name(), options.existing());
  Doubts doubts(source);
  write_picture(source, source.time_of(options.at), options.out, options, &doubts);
  doubts.tell();
}

// From `from` on, one every so many microseconds.
std::vector<uint64_t> regular_times(const Stretch &stretch, uint64_t every, uint64_t most) {
  const uint64_t count = (stretch.to - stretch.from) / every + 1;
  if (count > most)
    throw SourceError("these would be " + std::to_string(count) +
                      " pictures, and there is room for " + std::to_string(most) +
                      ": take a longer --every, or --from and --to");
  std::vector<uint64_t> times;
  for (uint64_t i = 0; i < count; ++i) times.push_back(stretch.from + i * every);
  return times;
}

// Evenly spread, both ends included.
std::vector<uint64_t> spread_times(const Stretch &stretch, uint64_t count) {
  const uint64_t steps = std::max<uint64_t>(1, count - 1);
  const uint64_t length = stretch.to - stretch.from;
  std::vector<uint64_t> times;
  for (uint64_t i = 0; i < count; ++i)
    times.push_back(stretch.from + length / steps * i + length % steps * i / steps);
  return times;
}

void write_series(const Source &source, const Options &options) {
  const Series series(options.out);
  const std::vector<uint64_t> times = regular_times(source.stretch(options.from, options.to),
                                                    *parse_elapsed(options.every), kMostPictures);
  for (size_t i = 0; i < times.size(); ++i)
    OutputFile::check(series.name(i + 1), source.name(), options.existing());
  Progress progress("pictures", times.size(), Progress::Unit::pictures);
  Doubts doubts(source);
  for (size_t i = 0; i < times.size(); ++i) {
    write_picture(source, times[i], series.name(i + 1), options, &doubts);
    progress.update(i + 1);
  }
  progress.clear();
  doubts.tell();
}

// "0:01:30.5", as precise as the viewer is.
std::string short_elapsed(uint64_t start, uint64_t time) {
  const std::string text = elapsed_time(start, time);
  return text.substr(0, text.size() - 2);
}

std::string whole_seconds(uint64_t time) {
  const std::string text = local_time(time);
  return text.substr(0, text.rfind('.'));
}

void write_sheet(const Source &source, const Options &options) {
  const Grid grid = *parse_grid(options.sheet);
  Sheet sheet(parse_size(options.size).value_or(kUsualOnSheet));
  const PictureSize size = sheet.size(grid);
  if (!is_allowed(size))
    throw SourceError("a sheet of up to " + std::to_string(size.width) + 'x' +
                      std::to_string(size.height) + " pixels is too large: take a smaller --size");
  if (!options.to_standard_output())
    OutputFile::check(options.out, source.name(), options.existing());
  const Stretch stretch = source.stretch(options.from, options.to);
  const uint64_t places = uint64_t{grid.columns} * grid.rows;
  const std::vector<uint64_t> times =
      options.every.empty() ? spread_times(stretch, places)
                            : regular_times(stretch, *parse_elapsed(options.every), places);
  Progress progress("pictures", times.size(), Progress::Unit::pictures);
  Doubts doubts(source);
  for (const uint64_t time : times) {
    RgbImage picture = picture_at(source, time, options, kUsualOnSheet);
    sheet.add(std::move(picture), short_elapsed(source.all().from, time), whole_seconds(time),
              doubts.look(time));
    progress.update(static_cast<uint64_t>(&time - times.data()) + 1);
  }
  progress.clear();
  std::vector<PngText> texts = {{"Software", software()},
                                {"Creation Time", exact_time(times.front())},
                                {"qom:from", elapsed_time(source.all().from, times.front())},
                                {"qom:to", elapsed_time(source.all().from, times.back())}};
  for (PngText &text : doubts.texts()) texts.push_back(std::move(text));
  write(sheet.draw(grid.columns), texts, options.out,
        "a sheet from " + source.describe(times.front()), source, options);
  doubts.tell();
}

// What no single option tells; an empty text when nothing is wrong.
std::string what_is_wrong(const Options &options) {
  const bool is_series = !options.every.empty() && options.sheet.empty();
  if (options.at.empty() && options.every.empty() && options.sheet.empty())
    return "one of --at, --every and --sheet is needed: which pictures?";
  if (is_series && !Series::is_good(options.out))
    return "with --every, OUT needs one place for the number, such as out-%03d.png";
  if (options.to_standard_output() && isatty(STDOUT_FILENO) == 1)
    return "standard output is a terminal, which shows no pictures";
  return "";
}

int make_pictures(const Options &options) {
  return take_out(options, [&options](Source &source) {
    if (!options.sheet.empty())
      write_sheet(source, options);
    else if (!options.every.empty())
      write_series(source, options);
    else
      write_one(source, options);
  });
}

}  // namespace

void add_picture_command(CLI::App &app, int &status) {
  const auto options = std::make_shared<Options>();
  Subcommand command(app, "picture", "Writes pictures of a recording as PNG files");
  add_takeout_options(command, options.get(),
                      "the new PNG file; - for standard output; with --every a name such as "
                      "out-%03d.png");
  command.option("--at", "T", &options->at, "the picture of this time", check_moment);
  command.option("--every", "LENGTH", &options->every,
                 "a picture each so long, from --from to --to", check_length);
  command.option("--sheet", "4x3", &options->sheet,
                 "one contact sheet of so many columns and rows, evenly from --from to --to, or "
                 "with --every",
                 check_grid);
  command.exclude("--at", {"--every", "--sheet", "--from", "--to"});
  command.option("--size", "WxH", &options->size,
                 "fit each picture into this size; on sheets 480x270 at most when not given",
                 check_size);
  command.flag("--no-cursor", &options->no_cursor, "leave the mouse cursor out");
  command.does(status, [options] {
    const std::string wrong = what_is_wrong(*options);
    if (!wrong.empty()) throw UsageError(wrong);
    return make_pictures(*options);
  });
}
