#include "film_format.h"

#include "text/quote.h"

namespace qomtool {
namespace {

using Words = std::vector<std::string>;

struct Kind {
  const char *ending;
  std::optional<FilmFormat> usual;
  std::optional<FilmFormat> lossless;
};

Words operator+(Words all, const Words &more) {
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

// The pictures get into the film with their times. When twenty seconds and twenty pictures have
// passed, there is one that players can begin with: they have little to decode before any time.
Words timing(uint32_t ticks) {
  return {"-fps_mode",
          "passthrough",
          "-enc_time_base",
          "1:" + std::to_string(ticks),
          "-force_key_frames",
          "expr:if(isnan(prev_forced_t),1,gte(t,prev_forced_t+20)*gte(n,prev_forced_n+20))"};
}

const std::vector<Kind> &kinds() {
  static const Words colours = {"-color_range", "tv",    "-color_primaries", "bt709",
                                "-color_trc",   "bt709", "-colorspace",      "bt709"};
  // No pictures that refer to later ones, whose times would have to be known before stillness has
  // ended. Every pixel is worth the same, and the search that other presets spend their time on
  // finds nothing in text.
  static const Words x264 = {"-preset", "ultrafast", "-bf", "0", "-x264-params", "cabac=1"};
  static const Words h264 = Words{"-c:v", "libx264", "-qp", "22"} + x264;
  static const Words exact_h264 = Words{"-c:v", "libx264rgb", "-qp", "0"} + x264;
  static const Words vp9 = {"-c:v",          "libvpx-vp9", "-deadline",      "realtime",
                            "-cpu-used",     "8",          "-row-mt",        "1",
                            "-tune-content", "screen",     "-lag-in-frames", "0"};
  static const Words mp4 = {"-movflags", "+faststart", "-f", "mp4"};
  static const Words webm = {"-f", "webm"};
  static const Words mkv = {"-f", "matroska"};
  static const Words gif = {
      "-f", "png_pipe", "-i", "pipe:1", "-filter_complex", "paletteuse=dither=none", "-f", "gif"};
  const auto yuv = [](Words options) { return FilmFormat{RawPixels::yuv420p, std::move(options)}; };
  const auto rgb = [](Words options) { return FilmFormat{RawPixels::rgb, std::move(options)}; };
  static const std::vector<Kind> all = {
      {"mp4", yuv(h264 + colours + mp4), rgb(exact_h264 + mp4)},
      {"webm", yuv(vp9 + Words{"-crf", "24", "-b:v", "0"} + colours + webm),
       rgb(vp9 + Words{"-lossless", "1", "-pix_fmt", "gbrp"} + webm)},
      {"mkv", rgb(exact_h264 + mkv), rgb(exact_h264 + mkv)},
      {"gif", FilmFormat{RawPixels::rgb, gif, true}, std::nullopt}};
  return all;
}

const Kind *kind_of(const std::string &name) {
  for (const Kind &kind : kinds())
    if (name.ends_with(std::string(".") + kind.ending)) return &kind;
  return nullptr;
}

}  // namespace

FilmFormat palette_format() {
  return {RawPixels::rgb,
          {"-vf", "palettegen=stats_mode=full", "-c:v", "png", "-f", "image2pipe", "pipe:1"}};
}

std::string check_film_name(const std::string &name) {
  if (kind_of(name)) return "";
  return quoted(name) + " tells no kind of film: its ending may be .mp4, .webm, .mkv or .gif";
}

std::optional<FilmFormat> film_format(const std::string &name, bool lossless, uint32_t ticks) {
  const Kind *kind = kind_of(name);
  std::optional<FilmFormat> format = lossless ? kind->lossless : kind->usual;
  if (!format) return std::nullopt;
  format->options = format->options + timing(ticks);
  if (kind->ending == std::string("gif"))  // the last picture would last as long as the one before
    format->options = format->options + Words{"-final_delay", std::to_string(100 / ticks)};
  return format;
}

}  // namespace qomtool
