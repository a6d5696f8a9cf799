// Runs the built program in a folder of the test's own.
#pragma once

#include "fixture.h"
#include "process.h"

namespace qomtool {

struct Outcome {
  int status;  // as of Process::wait()
  std::string out;
  std::string err;
  size_t memory;  // bytes that it had in use at most
};

class ProgramTest : public RecordingTest {
 protected:
  std::string file(const std::string &name) const { return folder + '/' + name; }

  // Runs qom with the arguments. Files that it writes may grow to `largest_file` bytes.
  Outcome qom(Texts arguments, const std::string &input = "", uint64_t largest_file = UINT64_MAX);

  // Makes a recording from a text, which must be a good one.
  void make(const std::string &name, const std::string &text);
};

std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &bytes);
bool contains(const std::string &text, const std::string &part);

// A text with a record of every type and two checkpoints, small enough to damage everywhere.
std::string small_text();

}  // namespace qomtool
