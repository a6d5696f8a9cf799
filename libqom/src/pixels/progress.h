// How far work has come that is done part by part.
#pragma once

namespace qom {

enum class Progress {
  paused,  // there is more to do
  done,
  failed,  // qom_reader_error() and errno say why
};

}  // namespace qom
