#include "program.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>

namespace qomtool {

Outcome ProgramTest::qom(Texts arguments, const std::string &input, uint64_t largest_file) {
  write_file(file(".in"), input);
  arguments.insert(arguments.begin(), QOM_PROGRAM);
  Process program(arguments, [&] {
    dup2(::open(file(".in").c_str(), O_RDONLY), STDIN_FILENO);
    constexpr int written = O_WRONLY | O_CREAT | O_TRUNC;
    dup2(::open(file(".out").c_str(), written, 0600), STDOUT_FILENO);
    dup2(::open(file(".err").c_str(), written, 0600), STDERR_FILENO);
    const rlimit limit{largest_file, largest_file};
    setrlimit(RLIMIT_FSIZE, &limit);
    setenv("TZ", "UTC", 1);
  });
  const int status = program.wait();
  return {status, read_file(file(".out")), read_file(file(".err")), program.memory()};
}

void ProgramTest::make(const std::string &name, const std::string &text) {
  const Outcome made = qom({"make", "-", file(name)}, text);
  ASSERT_EQ(made.status, 0) << made.err;
}

std::string read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void write_file(const std::string &path, const std::string &bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

bool contains(const std::string &text, const std::string &part) {
  return text.find(part) != std::string::npos;
}

std::string small_text() {
  static const std::string state = R"(
screen-change +1 8x4
compressed-image +0 8x4 0,0 random 2
cursor-image +0.5 2x2 1,1 hot 0,0 serial 8 fill 80808080
last-input +0 "bob" -
footer-item-app +0 "xterm"
footer-item-appfmt +0 "%s"
footer-item-host +0 "h"
footer-item-ip +0 ""
footer-item-sid +0 -
footer-item-tid +0 "t"
)";
  return R"(qom-text 1
start 1000000000
screen 8x4
format RGB565
pad 32
user "alice"
)" + state +
         R"(
cursor-position +0.25 -3,2
image +0 3x1 -1,-1 rows
  1111 2222 3333 | 4455
image-blocks +1
  block 3x1 0,0 rows
    1111 2222 3333 | 4455
end
compressed-image-blocks +0
  block 3x2 1,1 random 7
  block 1x1 0,0 fill 00ff
end
gap +0 +30.5 stopped
gap 5 7.25 clock-set -3600.5
gap +0 +0 77 0.000001
film +0 +7.5 4x3 1,0 2500 75
film 5 +0 8x4 0,0 0 1
header +0
  version 9
  screen 4x4
  format PALETTE8
  palette 0000 8000 ffff 0001
end
debug +0
checkpoint-begin)" +
         state + "checkpoint-end\nscreen-change +10 8x4\ncheckpoint-begin" + state +
         "checkpoint-end\ndone +0.000001\n";
}

}  // namespace qomtool
