/*
 * desktop_recording.h - recordings of a desktop at work, written as the recorder writes them:
 * one record of blocks for each picture that changed, and checkpoints.
 */
#ifndef QOM_BENCH_DESKTOP_RECORDING_H
#define QOM_BENCH_DESKTOP_RECORDING_H

#include <qom/writer.h>

#include <memory>
#include <string>
#include <vector>

#include "desktop_content.h"

namespace bench {

enum class Activity {
  day,  /* text: long calm stretches, typing, and one minute in six that scrolls all the time */
  busy, /* text: two windows that scroll and a third with typing, in every picture */
  film, /* photo-like: a film of 640x360 and typing beside it, in every picture */
};

class DesktopRecording {
 public:
  /* Writes to `path` and, if it is not empty, the same without checkpoints to `plain`. Ends
     the process with a message when a file cannot be written. */
  DesktopRecording(Activity activity, const std::string &path, const std::string &plain = "");
  ~DesktopRecording();
  DesktopRecording(const DesktopRecording &) = delete;
  DesktopRecording &operator=(const DesktopRecording &) = delete;

  /* Draws and records the next picture, a tenth of a second after the last one. */
  void next();

  const Desktop &desktop() const { return desktop_; }

  /* Where the cursor is, an opaque black square. */
  const Area &cursor() const { return cursor_; }

 private:
  std::vector<Area> act();
  void append(const void *record);
  void append_blocks(const std::vector<Area> &areas);
  void append_cursor_image();
  void move_cursor();
  void append_picture();
  void checkpoint();
  bool checkpoint_is_due() const;
  uint64_t time() const;

  Activity activity_;
  Desktop desktop_;
  std::vector<QomWriter *> writers_; /* the first one gets the checkpoints */
  Area cursor_ = {0, 0, 16, 16};
  std::mt19937 random_{7};
  int picture_ = 0;
  int picture_of_checkpoint_ = 0;
  uint64_t bytes_since_ = 0; /* since the last checkpoint */
  uint64_t pixels_since_ = 0;
  uint64_t checkpoint_bytes_ = 0;
  bool checkpointing_ = false;
};

}  // namespace bench

#endif
