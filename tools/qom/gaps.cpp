#include "gaps.h"

#include <charconv>

#include "clock.h"

namespace qomtool {
namespace {

struct Reason {
  std::string_view word;
  std::string_view sentence;
};

constexpr Reason kReasons[] = {{"stopped", "the recorder did not run"},
                               {"suspended", "the machine slept"},
                               {"late", "the recorder waited for the disk or the display"},
                               {"clock-set", "the clock was set"},
                               {"damaged", "the recording was damaged, and this is left out"}};

const Reason *known(uint8_t reason) {
  return reason >= 1 && reason <= std::size(kReasons) ? &kReasons[reason - 1] : nullptr;
}

}  // namespace

std::span<const QomGap> gaps_of(QomReader *reader) {
  size_t count = 0;
  const QomGap *gaps = qom_reader_gaps(reader, &count);
  return {gaps, gaps ? count : 0};
}

std::string gap_reason(uint8_t reason) {
  return known(reason) ? std::string(known(reason)->word) : std::to_string(reason);
}

std::optional<uint8_t> gap_reason(std::string_view word) {
  for (uint8_t reason = 1; known(reason); ++reason) {
    if (known(reason)->word == word) return reason;
  }
  uint8_t number = 0;
  const char *end = word.data() + word.size();
  const auto [rest, error] = std::from_chars(word.data(), end, number);
  if (error != std::errc() || rest != end || number == 0) return std::nullopt;
  return number;
}

std::string gap_text(const QomGap &gap, uint64_t start) {
  std::string text = elapsed_time(gap.begin, gap.end) + " from " + elapsed_time(start, gap.begin) +
                     " on (" + local_time(gap.begin) + "): ";
  text += known(gap.reason) ? known(gap.reason)->sentence : "reason " + gap_reason(gap.reason);
  if (gap.clock_offset != 0) {
    const auto offset = static_cast<uint64_t>(gap.clock_offset);
    text += gap.clock_offset > 0 ? "; it is ahead of these times by " + elapsed_time(0, offset)
                                 : "; it is behind these times by " + elapsed_time(0, 0 - offset);
  }
  return text;
}

}  // namespace qomtool
