// What a recording was cut out of: frames behind its last record.
#pragma once

#include "base/array.h"
#include "file/scan.h"
#include "file/source.h"
#include "qom/qom.h"

namespace qom {

// Whether all of it is within the limits.
bool is_origin(const QomOrigin &origin);

// The payload of an origin's frame; false when memory is short.
bool encode_origin(const QomOrigin &origin, Array<uint8_t> *payload);

// Those of a recording, each with what it points to.
class Origins {
 public:
  Origins() = default;
  Origins(const Origins &) = delete;
  Origins &operator=(const Origins &) = delete;
  ~Origins() { clear(); }

  // Finds them between the end of the last record and the index, or `limit` when there is none.
  // What breaks a rule is passed over. False with the reason when the file cannot be read or
  // memory is short.
  bool find(Window *window, uint32_t salt, uint64_t from, uint64_t limit);

  const QomOrigin *data() const { return all_.data(); }
  size_t size() const { return all_.size(); }

 private:
  void clear();
  bool add(Window *window, const Frame &frame);

  Array<QomOrigin> all_;
  Array<uint8_t *> payloads_;  // what they point to, one for each
};

}  // namespace qom
