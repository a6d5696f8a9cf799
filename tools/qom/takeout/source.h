// A recording of which something is taken out: its screen at any moment, and where it can be
// trusted.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "moment.h"
#include "qom/screen.h"
#include "recording.h"

namespace qomtool {

// Why nothing can be taken out, at which moment, in words without the recording's name.
struct SourceError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A stretch of a recording, both ends included: microseconds since the epoch.
struct Stretch {
  uint64_t from;
  uint64_t to;
};

class Source {
 public:
  // `recording` is an open one. Throws SourceError when it holds no picture, or none that can be
  // shown. Where the recording is damaged, all of it is read to know which pictures can be trusted.
  Source(const std::string &name, Recording recording);

  const std::string &name() const { return name_; }
  const Recording &recording() const { return recording_; }
  QomScreen *screen() const { return screen_.get(); }

  // From the first picture, from which times are counted, to the last record.
  const Stretch &all() const { return all_; }

  // The time that a good moment (moment.h) means. One outside of the recording means its first
  // picture or its end, which is said on standard error. Throws NoSuchRecord.
  uint64_t time_of(const std::string &moment) const;

  // The same for --from and --to, where an empty text means the whole of that side. Throws
  // SourceError when they are in the wrong order, and NoSuchRecord.
  Stretch stretch(const std::string &from, const std::string &to) const;

  // "0:01:30.500 (2026-11-22 21:33:05.123)", for messages.
  std::string describe(uint64_t time) const;

  // Brings the screen to a time. Throws SourceError.
  void go_to(uint64_t time) const;

  // Whether the picture of the screen, which was brought to `time`, is what was recorded.
  bool is_trusted(uint64_t time) const;

  // The areas of the screen's picture that are lossy: near what was recorded, and not the same.
  std::vector<QomRectangle> lossy() const;

 private:
  struct CloseScreen {
    void operator()(QomScreen *screen) const { qom_screen_close(screen); }
  };

  void find_untrusted();

  std::string name_;
  Recording recording_;
  std::unique_ptr<QomScreen, CloseScreen> screen_;
  Stretch all_ = {};
  std::vector<QomStretch> untrusted_;  // by time
};

}  // namespace qomtool
