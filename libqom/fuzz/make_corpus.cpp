// make_corpus FOLDER: writes the seeds that the kept corpus began with, one folder per target.
#include <filesystem>
#include <fstream>
#include <string>

#include "base/records.h"
#include "file/origins.h"
#include "forge.h"
#include "pixels/cursor_packing.h"
#include "pixels/packing.h"
#include "qom/writer.h"

namespace {

using forge::Bytes;
using forge::Recording;
using qom::RecordPtr;

std::filesystem::path top;

void save(const std::string &target, const std::string &name, const Bytes &bytes) {
  std::filesystem::create_directories(top / target);
  std::ofstream(top / target / name, std::ios::binary)
      .write(reinterpret_cast<const char *>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

void save_recording(const std::string &name, const Recording &recording) {
  save("open", name, recording.bytes);
  save("index", name, recording.bytes);
}

Bytes pixels(size_t length) {
  Bytes bytes(length);
  for (size_t i = 0; i < length; ++i) bytes[i] = static_cast<uint8_t>(i * i / 7);
  return bytes;
}

Bytes operator+(Bytes a, const Bytes &b) {
  forge::append(&a, b);
  return a;
}

// What the library makes of an image: codec byte and compressed bytes.
Bytes compressed(uint16_t width, uint16_t height, const Bytes &data, PixelFormat format) {
  const auto bytes = static_cast<uint32_t>(data.size());
  const QomImage image = {QOM_IMAGE,
                          0,
                          width,
                          height,
                          0,
                          0,
                          format,
                          32,
                          bytes / height,
                          bytes,
                          const_cast<uint8_t *>(data.data())};
  const RecordPtr<QomCompressedImage> packed(qom_image_compress(&image));
  return {packed->data, packed->data + packed->compressed_length};
}

Bytes block(uint16_t width, uint16_t height, const Bytes &data) {
  Bytes bytes;
  for (const uint16_t number : {uint16_t{3}, uint16_t{65535}, width, height})
    forge::append(&bytes, number);
  return bytes + data;
}

void add_records(Recording *recording) {
  recording->add(QOM_DEBUG);
  recording->add(QOM_HEADER, forge::header_payload());
  recording->add(QOM_IMAGE, forge::geometry(3, 2) + pixels(24), 0, 24);
  const Bytes cursor = {1, 0, 2, 0, 0, 0, 0, 0, 1, 0, 1, 0, 7, 0, 0, 0};
  recording->add(QOM_CURSOR_IMAGE, cursor + pixels(8), 0, 8);
  recording->add(QOM_CURSOR_POSITION, {1, 0, 255, 255});
  recording->add(QOM_LAST_INPUT, forge::text("user") + forge::text(""));
  recording->add(QOM_FOOTER_ITEM_HOST, forge::text("host"));
  const Bytes blocks = block(1, 1, pixels(4)) + block(2, 3, pixels(24));
  recording->add(QOM_IMAGE_BLOCKS, blocks, 0, static_cast<uint32_t>(blocks.size()));
  Bytes copy;
  for (const uint16_t number :
       {uint16_t{0}, uint16_t{65535}, uint16_t{2}, uint16_t{3}, uint16_t{1}, uint16_t{0}})
    forge::append(&copy, number);
  recording->add(QOM_COPY_AREA, copy, 0, 24);
}

size_t add_state(Recording *recording) {
  const size_t position = recording->add(QOM_SCREEN_CHANGE, {16, 0, 8, 0});
  const Bytes data = compressed(16, 8, pixels(512), xRGB8888);
  recording->add(QOM_COMPRESSED_IMAGE, forge::geometry(16, 8) + Bytes(data.begin() + 1, data.end()),
                 0, 512, data[0]);
  return position;
}

// What versions 1.1 and 1.2 added.
void save_additions() {
  Recording recording;
  recording.add(QOM_DEBUG);
  Bytes mark;
  forge::append(&mark, qom::GapMark{1000, 2000, -5, QOM_GAP_STOPPED, {}});
  recording.add(qom::frame_gap, mark);
  Bytes film;
  forge::append(&film, qom::FilmAreaMark{1000, 2000, 1, 2, 3, 4, 500, 75, {}});
  recording.add(qom::frame_film_area, film);
  const Bytes geometry = {16, 0, 8, 0, 0, 0, 0, 0, 1, 0, 1, 0, 7, 0, 0, 0};
  Bytes flat(512, 0x55);
  const QomCursorImage cursor = {QOM_CURSOR_IMAGE, 0, 16, 8, 0, 0, 1, 1, 7, 512, flat.data()};
  size_t length = 0;
  const auto packed = qom::pack_cursor(&cursor, &length);
  recording.add(QOM_CURSOR_IMAGE, geometry + Bytes(packed.get(), packed.get() + length), 0, 512,
                qom::codec_zstd);
  QomRectangle mask = {1, 2, 3, 4};
  char name[] = "hour.qom";
  const QomOrigin origin = {1000, 2000, 3000, 4000, 0, 0, 1, {5}, name, 1, &mask};
  qom::Array<uint8_t> encoded;
  qom::encode_origin(origin, &encoded);
  recording.add(qom::frame_origin, Bytes(encoded.begin(), encoded.end()));
  recording.finish();
  save_recording("additions", recording);
}

// What version 1.2 added.
void save_overviews() {
  for (const uint32_t part_entries : {3, 4096}) {
    Recording recording(forge::header_payload(), 2);
    recording.add_head_copy();
    add_records(&recording);
    const size_t state = add_state(&recording);
    recording.add_checkpoint(state, 2);
    recording.add(QOM_DEBUG, {}, part_entries == 3 ? 1500 : 90000);
    recording.finish_with_overview({{state, 2}}, part_entries);
    save_recording(part_entries == 3 ? "overview" : "overview_compressed", recording);
  }
}

void save_recordings() {
  save_additions();
  save_overviews();
  Recording all;
  all.add_head_copy();
  add_records(&all);
  const size_t state = add_state(&all);
  all.add_checkpoint(state, 2);
  save_recording("unfinished", all);
  const size_t position = all.bytes.size();
  all.add_index(qom::frame_index_part, {}, all.entries, {{state, 2}});
  all.add_end_mark(position, all.entries.size(), 1);
  save_recording("finished", all);
  all.bytes[8] ^= 2;
  save("open", "broken_head", all.bytes);

  Recording chain;
  add_records(&chain);
  const size_t first = chain.entries.size();
  const size_t block = chain.add_index(qom::frame_index_block, {}, chain.entries);
  const size_t later = add_state(&chain);
  chain.add_checkpoint(later, 2);
  chain.add_index(qom::frame_index_block, {0, block, first, 0, 0},
                  {chain.entries.begin() + static_cast<std::ptrdiff_t>(first), chain.entries.end()},
                  {{later, 2}});
  chain.add(QOM_DONE);
  save_recording("chain", chain);
  save_recording("empty", Recording(forge::header_payload(PALETTE8, 0)));
}

void save_pixels() {
  const Bytes square = pixels(1024);
  for (const PixelFormat format : {xRGB8888, RGB565, PALETTE8}) {
    const auto bytes = static_cast<uint16_t>(pixel_format_bytes_per_pixel(format));
    const auto width = static_cast<uint16_t>(16);
    const auto height = static_cast<uint16_t>(1024 / bytes / width);
    Bytes head(12);
    forge::put(&head, 0, width);
    forge::put(&head, 2, height);
    head[4] = static_cast<uint8_t>(format);
    head[5] = 32;
    head[6] = 1;
    forge::put(&head, 8, uint16_t{1024});
    save("decompress", pixel_format_string(format),
         head + compressed(width, height, square, format));
    const Bytes data = pixels(size_t{4} * bytes * 3);
    save("blocks", pixel_format_string(format),
         Bytes{static_cast<uint8_t>(format), 32} + block(4, 3, data) + block(4, 3, data));
  }
}

// Blocks of few colours, of many, and of so many that only their residuals are stored.
Bytes blocks_like(const std::string &content) {
  const uint16_t side = 20;
  Bytes data(size_t{4} * side * side);
  for (size_t i = 0; i < data.size(); ++i) {
    const size_t pixel = i / 4;
    const size_t shade = content == "few" ? pixel / 7 % 2 : content == "many" ? pixel % 24 : pixel;
    data[i] = static_cast<uint8_t>(shade * (3 + i % 4) + (content == "photo" ? i * i % 5 : 0));
  }
  return block(side, side, data);
}

void save_packed() {
  for (const std::string name : {"few", "many", "photo", "all"}) {
    const Bytes blocks = name == "all" ? blocks_like("photo") + blocks_like("few") +
                                             blocks_like("photo") + blocks_like("many")
                                       : blocks_like(name);
    const auto length = static_cast<uint16_t>(blocks.size());
    qom::Packed packed;
    if (!qom::pack_blocks(blocks.data(), length, &packed)) continue;
    save("packing", name,
         Bytes{static_cast<uint8_t>(length >> 8 | (packed.strips > 0 ? 0x80 : 0)),
               static_cast<uint8_t>(length)} +
             Bytes(packed.bytes.begin(), packed.bytes.end()));
    const QomImageBlocks plain = {QOM_IMAGE_BLOCKS, 0, length,
                                  const_cast<uint8_t *>(blocks.data())};
    const RecordPtr<QomCompressedImageBlocks> record(qom_image_blocks_compress(&plain));
    Bytes head(12);
    forge::put(&head, 8, length);
    save("decompress", "packed_" + name,
         head + Bytes(record->data, record->data + record->compressed_length));
    save("blocks", name, Bytes{xRGB8888, 32} + blocks);
  }
}

// What lossy pixels are stored as: of blocks, and of an image with a mark and a lossy area.
void save_lossy() {
  Bytes data(size_t{48} * 40 * 4);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i / 190 + i % 4 * 60);
  const Bytes blocks = block(48, 40, data) + block(2, 2, pixels(16));
  const QomImageBlocks plain = {QOM_IMAGE_BLOCKS, 0, static_cast<uint32_t>(blocks.size()),
                                const_cast<uint8_t *>(blocks.data())};
  const RecordPtr<QomCompressedImageBlocks> stills(
      qom_image_blocks_compress_lossy(&plain, xRGB8888, 30));
  Bytes head(12);
  forge::put(&head, 8, static_cast<uint16_t>(blocks.size()));
  const Bytes packed(stills->data, stills->data + stills->compressed_length);
  save("decompress", "lossy_blocks", head + packed);

  QomImage image = {};
  image.type = QOM_IMAGE;
  image.width = 48;
  image.height = 40;
  image.pixel_format = xRGB8888;
  image.scanline_pad = 32;
  image.bytes_per_line = 192;
  image.length = static_cast<uint32_t>(data.size());
  image.data = data.data();
  const QomRectangle area = {5, 3, 40, 30};
  const RecordPtr<QomCompressedImage> still(qom_image_compress_lossy(&image, &area, 1, 30));
  head = forge::geometry(48, 40);
  forge::put(&head, 4, uint16_t{32 << 8 | xRGB8888});
  forge::put(&head, 6, uint16_t{1});
  save("decompress", "lossy_image",
       head + Bytes(still->data, still->data + still->compressed_length));

  Recording recording;
  add_state(&recording);
  recording.add(QOM_COMPRESSED_IMAGE_BLOCKS, Bytes(packed.begin() + 1, packed.end()), 0,
                static_cast<uint32_t>(blocks.size()), packed[0]);
  recording.finish();
  save_recording("lossy", recording);
}

void save_scripts() {
  save("writer", "texts", {6, 3, 0, 128, 1, 1, 3, 'a', 'b', 'c', 2, 0, 0, 7, 1, 1, 2, 'u', 'v'});
  save("writer", "images", {4, 2, 0, 200, 3, 9, 5, 4, 7, 4, 9, 3, 2, 1, 5, 1, 6, 0, 7, 0});
  save("writer", "gap_and_cursor", {6, 3, 0, 128, 0, 1, 0, 0, 9, 8, 5, 30, 1, 8, 3, 40, 200});
  save("writer", "blocks", {6, 0, 255, 255, 0, 1, 1, 0, 2, 0, 12, 5, 0, 0, 1, 1, 0, 2, 0, 12});
}

}  // namespace

int main(int argc, char *argv[]) {
  if (argc != 2) return 2;
  top = argv[1];
  save_recordings();
  save_pixels();
  save_packed();
  save_lossy();
  save_scripts();
}
