// Who may read what the program makes out of a file: nobody who may not read the file.
#pragma once

#include <cstdio>
#include <string>

namespace qomtool {

// Takes every permission from the files that are created from now on that the source does not give.
// A source that is no regular file, or that cannot be looked at, takes none.
void create_no_wider_than(const std::string &source);
void create_no_wider_than(std::FILE *source);

}  // namespace qomtool
