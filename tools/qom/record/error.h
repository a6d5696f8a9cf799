// Why a recording could not begin or go on, in words for the person who started it.
#ifndef QOM_RECORD_ERROR_H
#define QOM_RECORD_ERROR_H

#include <stdexcept>

namespace qom::record {

struct RecordError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace qom::record

#endif
