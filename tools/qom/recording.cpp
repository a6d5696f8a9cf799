#include "recording.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "text/quote.h"

namespace qomtool {
namespace {

bool is_of_first_picture(const QomIndexEntry &entry) {
  return entry.type == QOM_COMPRESSED_IMAGE || entry.type == QOM_COMPRESSED_IMAGE_BLOCKS;
}

bool is_image(const QomIndexEntry &entry) {
  return entry.type == QOM_IMAGE;
}

std::string fault_of_blocks(const QomImageBlocks &blocks, const QomHeader *header) {
  QomImage image;
  size_t offset = 0;
  for (;;) {
    const int found = qom_image_blocks_next(&blocks, header, &offset, &image);
    if (found == 0) return "";
    if (found < 0) return qom_reader_error();
  }
}

}  // namespace

void complain(const std::string &file, const std::string &what) {
  complain(quoted_name(file) + ": " + what);
}

void complain(const std::string &what) {
  std::fprintf(stderr, "qom: %s\n", printable(what).c_str());
}

Recording recording_of(ReaderPtr reader) {
  Recording recording;
  if (!reader) return recording;
  if (qom_reader_info(reader.get(), &recording.info) != 0) {
    const int why = errno;
    reader.reset();
    errno = why;
    return recording;
  }
  recording.header = qom_info_header(reader.get());
  recording.index = qom_reader_index(reader.get());
  recording.length = qom_reader_index_length(reader.get());
  recording.reader = std::move(reader);
  return recording;
}

Recording open_recording(const std::string &path) {
  Recording recording = recording_of(ReaderPtr(qom_reader_open(path.c_str())));
  if (!recording) complain(path, qom_reader_error());
  return recording;
}

const QomIndexEntry *first_picture(const Recording &recording) {
  const QomIndexEntry *end = recording.index + recording.length;
  const QomIndexEntry *found = std::find_if(recording.index, end, is_of_first_picture);
  if (found == end) found = std::find_if(recording.index, end, is_image);
  return found == end ? nullptr : found;
}

std::string fault_of(const QomRecord *record, const QomHeader *header) {
  switch (record->type) {
    case QOM_COMPRESSED_IMAGE: {
      const ImagePtr image(qom_image_uncompress(&as<QomCompressedImage>(record)));
      return image ? "" : qom_reader_error();
    }
    case QOM_COMPRESSED_IMAGE_BLOCKS: {
      const BlocksPtr blocks(qom_image_blocks_uncompress(&as<QomCompressedImageBlocks>(record)));
      return blocks ? fault_of_blocks(*blocks, header) : qom_reader_error();
    }
    case QOM_IMAGE_BLOCKS:
      return fault_of_blocks(as<QomImageBlocks>(record), header);
    default:
      return "";
  }
}

}  // namespace qomtool
