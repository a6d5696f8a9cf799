// qom export: a stretch of a recording as a film.
#include <cmath>
#include <memory>

#include "arguments.h"
#include "clock.h"
#include "commands.h"
#include "film.h"
#include "moment.h"
#include "options.h"
#include "scaling.h"
#include "text/quote.h"

namespace {

using namespace qomtool;

constexpr double kMostPictures = 60;  // a second
constexpr double kSlowest = 0.1;
constexpr double kFastest = 1000;

struct Options : TakeoutOptions {
  std::string speed = "1";
  std::string skip_idle;
  std::string fps = "10";
  std::string size;
  bool no_cursor = false;
  bool clock = false;
  bool texts = false;
  bool lossless = false;
};

std::string check_speed(const std::string &text) {
  const double speed = decimal(text).value_or(0);
  if (kSlowest <= speed && speed <= kFastest) return "";
  return qomtool::quoted(text) + " is no speed: write 2 or 0.5, from 0.1 to 1000";
}

std::string check_pictures(const std::string &text) {
  const double count = decimal(text).value_or(0);
  if (1 <= count && count <= kMostPictures && count == std::floor(count)) return "";
  return qomtool::quoted(text) + " is no number of pictures: write a whole one, 1 to 60";
}

uint32_t pictures_of(const Options &options) {
  return static_cast<uint32_t>(*decimal(options.fps));
}

FilmWishes wishes_of(const Options &options, const Source &source) {
  FilmWishes wishes;
  wishes.stretch = source.stretch(options.from, options.to);
  wishes.pace.pictures = pictures_of(options);
  wishes.pace.speed = static_cast<uint32_t>(std::lround(*decimal(options.speed) * 1000));
  if (!options.skip_idle.empty()) wishes.pace.skips_idle = parse_elapsed(options.skip_idle);
  wishes.size = parse_size(options.size);
  wishes.with_cursor = !options.no_cursor;
  wishes.in_natural_size = options.lossless && options.size.empty();
  wishes.caption = {options.texts, options.clock};
  return wishes;
}

int export_film(const Options &options) {
  return take_out(options, [&options](Source &source) {
    write_film(source, wishes_of(options, source),
               *film_format(options.out, options.lossless, pictures_of(options)), options.out,
               options.existing());
  });
}

}  // namespace

void add_export_command(CLI::App &app, int &status) {
  const auto options = std::make_shared<Options>();
  Subcommand command(app, "export", "Writes a film of a recording, with ffmpeg");
  add_takeout_options(command, options.get(),
                      "the new film: .mp4 (H.264), .webm (VP9), .mkv (H.264, exact) or .gif",
                      check_film_name);
  command.option("--speed", "N", &options->speed, "so many times real time, 0.1 to 1000",
                 check_speed);
  command.option("--skip-idle", "LENGTH", &options->skip_idle,
                 "shorten stretches of the recording in which nothing changes to this length",
                 check_length);
  command.option("--fps", "MAX", &options->fps,
                 "at most so many pictures a second, 1 to 60; 10 when not given", check_pictures);
  command.option("--size", "WxH", &options->size,
                 "fit the film into this size; that of the largest screen when not given",
                 check_size);
  command.flag("--no-cursor", &options->no_cursor, "leave the mouse cursor out");
  command.flag("--clock", &options->clock,
               "write date, time and offset from UTC under the picture");
  command.flag("--texts", &options->texts, "write the texts of the recording under the picture");
  command.flag("--lossless", &options->lossless,
               "keep every pixel as it was; not every player shows such a film");
  command.does(status, [options] {
    if (!film_format(options->out, options->lossless, pictures_of(*options)))
      throw UsageError("a GIF has 256 colours at most: it cannot be --lossless");
    return export_film(*options);
  });
}
