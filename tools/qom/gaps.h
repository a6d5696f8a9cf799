// Stretches that were not recorded, in words.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "qom/qom.h"

namespace qomtool {

// All of a recording's; empty also when they cannot be read.
std::span<const QomGap> gaps_of(QomReader *reader);

// "stopped", "suspended", "late", "clock-set" or "damaged"; the number of another reason.
std::string gap_reason(uint8_t reason);

// The inverse; nothing for a word that is neither.
std::optional<uint8_t> gap_reason(std::string_view word);

// "0:00:30.000 from 0:01:00.000 on (2026-11-22 21:33:05.123): the machine slept", for a recording
// that began at `start`.
std::string gap_text(const QomGap &gap, uint64_t start);

}  // namespace qomtool
