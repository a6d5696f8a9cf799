// What a recording was cut out of, in words.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "qom/qom.h"

namespace qomtool {

// All of a recording's, the oldest first; empty also when they cannot be read.
std::span<const QomOrigin> origins_of(QomReader *reader);

std::span<const QomRectangle> masks_of(const QomOrigin &origin);

// "200x40+10+300".
std::string mask_text(const QomRectangle &mask);

// The SHA-256 in hexadecimal digits.
std::string hash_text(const QomOrigin &origin);

// For a person to read: which recording, which stretch of it, what is missing.
std::vector<std::string> origin_lines(const QomOrigin &origin);

}  // namespace qomtool
