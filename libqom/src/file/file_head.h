// The head of a file, and where it comes from when its own bytes are broken: one of its copies.
#pragma once

#include <cstdint>

#include "base/records.h"
#include "file/scan.h"
#include "file/source.h"
#include "qom/qom.h"

namespace qom {

struct FileHead {
  RecordPtr<QomHeader> header;
  uint8_t major_version = 0;
  uint8_t minor_version = 0;  // 255 stands for larger ones too
  uint32_t salt = 0;
  uint32_t checksum = 0;     // CRC32C of all its bytes
  uint64_t length = 0;       // bytes, from the magic to the salt
  uint64_t copied_from = 0;  // position of the head copy that it was read from; 0: from the start
};

// What the frames behind this head share.
FrameSpace frame_space(const FileHead &head);

// Reads the head of the file. Where it is broken, copies of it are looked for in the first and in
// the last `searched_bytes` of the file. False with the reason, which without a copy is what is
// wrong with the head itself.
bool read_file_head(const Source &source, Window *window, FileHead *head);

inline constexpr uint64_t searched_bytes = uint64_t{8} << 20;

}  // namespace qom
