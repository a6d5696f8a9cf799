// Builds the index of the input from its end mark, from its chain and by walking.
#include "forge.h"
#include "memory_file.h"
#include "repairing_mutator.h"

namespace {

using fuzz::require;

void look_at(const qom::Index &index, size_t size) {
  uint64_t end = 0;
  uint64_t time = 0;
  for (const QomIndexEntry &entry : index.entries) {
    const auto position = static_cast<uint64_t>(entry.position);
    require(position >= end && position < size, "records do not overlap and lie in the file");
    end = position + qom::frame_head_bytes + entry.length;
    require(end <= size, "records end in the file");
    require(entry.timestamp >= time && entry.timestamp <= QOM_MAX_TIME, "times never decrease");
    time = entry.timestamp;
  }
  size_t last = 0;
  for (const qom::Checkpoint &checkpoint : index.checkpoints) {
    require(checkpoint.first >= last && checkpoint.first < checkpoint.end,
            "checkpoints do not overlap");
    last = checkpoint.end;
    require(last <= index.entries.size(), "checkpoints lie in the index");
  }
}

}  // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size,
                                          unsigned seed) {
  return fuzz::mutate_recording(data, size, max_size, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const char *path = fuzz::memory_file(data, size);
  for (const qom::IndexSource source :
       {qom::IndexSource::end_mark, qom::IndexSource::chain, qom::IndexSource::walk}) {
    qom::Index index;
    if (forge::load(path, source, &index)) look_at(index, size);
  }
  return 0;
}
