#include "repairing_mutator.h"

#include <algorithm>
#include <cstring>
#include <random>

#include "forge.h"

namespace fuzz {
namespace {

// Positions of the sync words: where frames begin.
std::vector<size_t> frames(const uint8_t *data, size_t size) {
  std::vector<size_t> found;
  const uint8_t *at = data;
  const uint8_t *end = data + size;
  for (;;) {
    at = std::search(at, end, qom::sync_word, qom::sync_word + sizeof qom::sync_word);
    if (at == end) return found;
    found.push_back(static_cast<size_t>(at - data));
    ++at;
  }
}

// Copies a run of frames to the place of another, or takes one out.
size_t move_frames(uint8_t *data, size_t size, size_t max_size, std::minstd_rand *random) {
  const auto places = frames(data, size);
  if (places.size() < 3) return 0;
  size_t pick[3];
  for (size_t &place : pick) place = places[(*random)() % places.size()];
  std::sort(pick, pick + 2);
  const forge::Bytes run(data + pick[0], data + pick[1]);
  if ((*random)() % 3 == 0) {
    std::memmove(data + pick[0], data + pick[1], size - pick[1]);
    return size - run.size();
  }
  if (size + run.size() > max_size) return 0;
  std::memmove(data + pick[2] + run.size(), data + pick[2], size - pick[2]);
  std::copy(run.begin(), run.end(), data + pick[2]);
  return size + run.size();
}

// Changes one byte of a frame head or of the first fields behind it.
size_t change_head(uint8_t *data, size_t size, std::minstd_rand *random) {
  const auto places = frames(data, size);
  if (places.empty()) return 0;
  const size_t at = places[(*random)() % places.size()] + 4 + (*random)() % 60;
  if (at >= size) return 0;
  constexpr uint8_t telling[] = {0,   1,   2,   3,   4,   8,   15,  16,  32, 127,
                                 128, 224, 225, 226, 227, 228, 229, 230, 255};
  data[at] = (*random)() % 2 ? telling[(*random)() % sizeof telling]
                             : static_cast<uint8_t>(data[at] + (*random)() % 9 - 4);
  return size;
}

}  // namespace

size_t mutate_recording(uint8_t *data, size_t size, size_t max_size, unsigned seed) {
  std::minstd_rand random(seed + 1);
  size_t mutated = 0;
  const unsigned kind = random() % 8;
  if (kind < 2) mutated = move_frames(data, size, max_size, &random);
  if (kind >= 2 && kind < 5) mutated = change_head(data, size, &random);
  if (mutated == 0) mutated = LLVMFuzzerMutate(data, size, max_size);
  if (random() % 16 != 0) forge::repair(data, mutated, random() % 4 != 0);
  if (random() % 16 == 0 && mutated > 20) data[random() % 20] ^= 1;  // a copy of the head stands in
  return mutated;
}

}  // namespace fuzz
