// The lines that describe a header, in the head of a text and in a header record.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qom/qom.h"
#include "text/lines.h"

namespace qomtool {

// Collects header lines and owns what the header points to.
class HeaderParser {
 public:
  // A header with the defaults of docs/text.md and no line seen.
  HeaderParser() { reset(); }
  ~HeaderParser() = default;
  HeaderParser(const HeaderParser &) = delete;
  HeaderParser &operator=(const HeaderParser &) = delete;
  void reset();

  // True when the keyword begins a header line; then the rest of the line has been taken over.
  // The line for the time is the caller's. Throws TextError.
  bool take(std::string_view keyword, Words &words);

  // Fills in what follows from other lines; `line` is the last line of the header. Throws when a
  // line that has no default is missing.
  void finish(unsigned long line);

  QomHeader header{};

 private:
  bool seen(std::string_view keyword) const;
  void take_fields(std::string_view keyword, Words &words);
  void take_palette_entry(Words &words);

  std::vector<RgbValue> palette_;
  std::optional<std::string> user_;
  std::optional<std::string> tfn_;
  uint32_t seen_ = 0;  // bits of the lines met
};

}  // namespace qomtool
