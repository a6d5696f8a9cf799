#include "file_mode.h"

#include <sys/stat.h>

namespace qomtool {
namespace {

void take_away(const struct stat &source) {
  constexpr mode_t all = S_IRWXU | S_IRWXG | S_IRWXO;
  if (S_ISREG(source.st_mode)) umask(umask(all) | (all & ~source.st_mode));
}

}  // namespace

void create_no_wider_than(const std::string &source) {
  struct stat status;
  if (stat(source.c_str(), &status) == 0) take_away(status);
}

void create_no_wider_than(std::FILE *source) {
  struct stat status;
  if (fstat(fileno(source), &status) == 0) take_away(status);
}

}  // namespace qomtool
