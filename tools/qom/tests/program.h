// Runs the built program in a folder of its own.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace qomtool {

struct Outcome {
  int status;  // exit status, or the negative number of the signal that ended the program
  std::string out;
  std::string err;
};

// A test with an empty folder, which is removed after it.
class ProgramTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::string path(const std::string &name) const { return folder_ + '/' + name; }

  // Runs qom with the arguments. Files that it writes may grow to `largest_file` bytes. One that
  // does not end within a minute is ended.
  Outcome qom(const std::vector<std::string> &arguments, const std::string &input = "",
              uint64_t largest_file = UINT64_MAX);

  // Makes a recording from a text, which must be a good one.
  void make(const std::string &name, const std::string &text);

 private:
  std::string folder_;
};

std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &bytes);

// A text with a record of every type and two checkpoints, small enough to damage everywhere.
std::string small_text();

}  // namespace qomtool
