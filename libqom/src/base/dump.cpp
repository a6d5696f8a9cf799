// One readable line per record on standard output, and one per text it holds.
#include <cstdio>
#include <string_view>

#include "base/records.h"
#include "base/terminal_text.h"
#include "qom/qom.h"

namespace {

constexpr size_t max_shown = 200;   // bytes of a text
constexpr uint32_t max_copies = 4;  // areas of a record

const char *byte_or_bytes(uint32_t count) {
  return count == 1 ? "byte" : "bytes";
}

// Texts come from the file: nothing of them may reach a terminal that could steer it.
void print_text(const char *name, const char *text) {
  if (!text) {
    std::printf("    %s none\n", name);
    return;
  }
  std::printf("    %s \"", name);
  std::string_view left = text;
  for (size_t room = max_shown; !left.empty();) {
    const qom::TextPiece piece = qom::first_piece(left);
    if (piece.length > room) break;
    const std::string_view bytes = left.substr(0, piece.length);
    if (bytes == "\"" || bytes == "\\") std::putchar('\\');
    if (piece.printable)
      (void)std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    else
      for (const char byte : bytes) std::printf("\\x%02x", static_cast<unsigned char>(byte));
    room -= piece.length;
    left.remove_prefix(piece.length);
  }
  std::printf("\"%s\n", left.empty() ? "" : " ...");
}

template <typename Image>
void print_geometry(const Image *image) {
  std::printf(" %ux%u%+d%+d %s pad %u", image->width, image->height, image->x, image->y,
              pixel_format_string(image->pixel_format), image->scanline_pad);
}

void print_header(const QomHeader *header) {
  std::printf(" version %u %ux%u depth %u %s pad %u palette %u keycodes %u..%u\n", header->version,
              header->width, header->height, header->depth,
              pixel_format_string(header->pixel_format), header->scanline_pad, header->palette_size,
              header->min_keycode, header->max_keycode);
  print_text("user", header->user);
  print_text("tfn", header->tfn);
}

void print_cursor(const QomCursorImage *cursor) {
  std::printf(" %ux%u at %d,%d hot %u,%u serial %u, %u bytes\n", cursor->width, cursor->height,
              cursor->x, cursor->y, cursor->xhot, cursor->yhot, cursor->cursor_serial,
              cursor->length);
}

void print_copies(const QomCopyArea *area) {
  for (uint32_t i = 0; i < area->count && i < max_copies; ++i) {
    const QomCopy &copy = area->copies[i];
    std::printf("%s %ux%u%+d%+d to %+d%+d", i == 0 ? "" : ",", copy.width, copy.height, copy.x,
                copy.y, copy.to_x, copy.to_y);
  }
  if (area->count > max_copies) std::printf(" and %u more", area->count - max_copies);
  std::putchar('\n');
}

// Ends the line of a record with compressed pixels.
void print_lossy(const QomRecord *record) {
  const size_t areas = qom_lossy_areas(record, nullptr, 0);
  if (areas > 0) std::printf(", %zu lossy %s", areas, areas == 1 ? "area" : "areas");
  std::putchar('\n');
}

// Ends the line that the caller has begun.
void print_fields(const QomRecord *record) {
  switch (record->type) {
    case QOM_HEADER:
      return print_header(reinterpret_cast<const QomHeader *>(record));
    case QOM_IMAGE: {
      auto image = reinterpret_cast<const QomImage *>(record);
      print_geometry(image);
      std::printf(", %u %s\n", image->length, byte_or_bytes(image->length));
      return;
    }
    case QOM_COMPRESSED_IMAGE: {
      auto image = reinterpret_cast<const QomCompressedImage *>(record);
      print_geometry(image);
      std::printf(", %u %s compressed to %u", image->length, byte_or_bytes(image->length),
                  image->compressed_length);
      return print_lossy(record);
    }
    case QOM_CURSOR_IMAGE:
      return print_cursor(reinterpret_cast<const QomCursorImage *>(record));
    case QOM_CURSOR_POSITION: {
      auto position = reinterpret_cast<const QomCursorPosition *>(record);
      std::printf(" %d,%d\n", position->x, position->y);
      return;
    }
    case QOM_SCREEN_CHANGE: {
      auto change = reinterpret_cast<const QomScreenChange *>(record);
      std::printf(" %ux%u\n", change->width, change->height);
      return;
    }
    case QOM_LAST_INPUT: {
      auto input = reinterpret_cast<const QomLastInput *>(record);
      std::putchar('\n');
      print_text("user", input->user);
      print_text("tfn", input->tfn);
      return;
    }
    case QOM_IMAGE_BLOCKS:
      std::printf(" %u bytes\n", reinterpret_cast<const QomImageBlocks *>(record)->length);
      return;
    case QOM_COMPRESSED_IMAGE_BLOCKS: {
      auto blocks = reinterpret_cast<const QomCompressedImageBlocks *>(record);
      std::printf(" %u bytes compressed to %u", blocks->length, blocks->compressed_length);
      return print_lossy(record);
    }
    case QOM_COPY_AREA:
      return print_copies(reinterpret_cast<const QomCopyArea *>(record));
    default:
      std::putchar('\n');
      if (qom::is_footer_type(record->type))
        print_text("item", reinterpret_cast<const QomFooterItem *>(record)->item);
  }
}

}  // namespace

extern "C" void qom_record_dump(const void *data) {
  auto record = static_cast<const QomRecord *>(data);
  if (!record) {
    std::puts("no record");
    return;
  }
  std::printf("%llu.%06llu %s", static_cast<unsigned long long>(record->timestamp / 1000000),
              static_cast<unsigned long long>(record->timestamp % 1000000),
              qom_record_type_to_string(static_cast<QomRecordType>(record->type)));
  print_fields(record);
}
