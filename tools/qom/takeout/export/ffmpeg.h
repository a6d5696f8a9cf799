// The program ffmpeg, at work on one film.
#pragma once

#include <sys/types.h>

#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "descriptor.h"
#include "output_file.h"

namespace qomtool {

// It failed; why, for the person at the terminal.
struct FfmpegError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// It could not be started.
struct FfmpegMissing : FfmpegError {
  using FfmpegError::FfmpegError;
};

// An empty file in memory. Throws FfmpegMissing.
void open_in_memory(Descriptor *file);

// Reads from a pipe and gets nothing else of this program: no environment, no other descriptor, and
// no keys that are pressed at the terminal. It ends when this program does, in whatever way, and
// with its object when it has not been waited for.
class Ffmpeg {
 public:
  // Starts it with what follows its input on its command line. It is a writer of `output`. Standard
  // output is the file `side`, from its beginning, which it may read or write (pipe:1), or nothing
  // when that is negative. Throws FfmpegMissing.
  Ffmpeg(const std::vector<std::string> &options, OutputFile *output, int side = -1);
  ~Ffmpeg();
  Ffmpeg(const Ffmpeg &) = delete;
  Ffmpeg &operator=(const Ffmpeg &) = delete;

  // Writes all of it. Throws FfmpegError when it has ended.
  void write(std::span<const uint8_t> bytes);

  // Tells it that there is no more, and waits until the film is written. Throws FfmpegError when it
  // is not.
  void finish();

 private:
  void start(const std::vector<std::string> &command, int side);
  int wait();
  [[noreturn]] void fail();
  [[noreturn]] void fail_after(int status) const;
  std::string last_words() const;

  OutputFile *output_;
  pid_t process_ = -1;
  Descriptor pipe_;
  Descriptor words_;  // what it says on standard error
};

}  // namespace qomtool
