// What `qom record` was asked to do.
#ifndef QOM_RECORD_OPTIONS_H
#define QOM_RECORD_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>

#include "film_limits.h"
#include "qom/qom.h"

namespace qom::record {

// Texts of the header and the footer; those not given are found out.
struct Texts {
  std::optional<std::string> user;    // login name of the person recorded
  std::optional<std::string> tfn;     // full name
  std::optional<std::string> host;    // name of the machine
  std::optional<std::string> ip;      // its address
  std::optional<std::string> sid;     // identifier of the session
  std::optional<std::string> tid;     // identifier of the recorder
  std::optional<std::string> app;     // application; given, it stays the same all the time
  std::optional<std::string> appfmt;  // how the application's text is made, see application.h
};

inline constexpr int default_film_quality = 50;

struct Options {
  std::string output;
  std::string display;                      // empty: the environment's
  double frames_per_second = 10;            // at most so many pictures
  std::optional<double> duration;           // seconds; none: until something ends it
  uint32_t window = 0;                      // 0: the whole screen
  std::optional<PixelFormat> pixel_format;  // none: the display's own
  FilmLimits film;                          // none: film is recorded as everything else
  Texts texts;
  bool quiet = false;
};

// Fills in every text that is not given, except `app`.
void complete_texts(Texts &texts);

}  // namespace qom::record

#endif
