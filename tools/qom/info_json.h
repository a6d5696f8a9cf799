// What `qom info --json` tells, for programs.
#pragma once

#include <nlohmann/json.hpp>

#include "recording.h"

namespace qomtool {

// An open recording, but for the name of its file. Texts are bytes as they are recorded, which need
// not be UTF-8.
nlohmann::ordered_json info_json(const Recording &recording);

}  // namespace qomtool
