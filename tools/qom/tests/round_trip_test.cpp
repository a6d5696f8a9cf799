// Recordings written by the library itself, through `dump --text` and `make`, and back.
#include <algorithm>

#include "program.h"

namespace qomtool {
namespace {

class RoundTrip : public ProgramTest {
 protected:
  // What the text form does not meet in small_text(): odd palettes, plain colours of every width,
  // rectangles outside of the screen, no rectangles at all.
  void write_recording(QomHeader header) {
    RgbValue palette[] = {{1, 2, 3, 0}, {0xffff, 0, 0, 9}, {0, 0xabcd, 0, 0}};
    header.palette = palette;
    header.palette_size = 3;
    char user[] = "\x01\xff\xe2\x82 \"\\\n";
    header.user = user;
    header.timestamp = 1'700'000'000'123'457;
    QomWriter *writer = create(header);
    auto records = every_record(header);
    const uint64_t time = records.back()->timestamp;
    Record plain = image(header, time, 9, 2);
    std::fill_n(as<QomImage>(plain).data, as<QomImage>(plain).length, uint8_t{0xA7});
    as<QomImage>(plain).x = -32768;
    as<QomImage>(plain).y = 32767;
    records.push_back(compressed(plain));
    records.push_back(std::move(plain));
    records.push_back(keep(QomImageBlocks{QOM_IMAGE_BLOCKS, time, 0, nullptr}));
    append(writer, records);
    ASSERT_EQ(qom_writer_begin_checkpoint(writer), 0);
    auto state = every_record(header);
    for (Record &record : list(screen_change(time, 8, 4), compressed(image(header, time, 8, 4))))
      state.push_back(std::move(record));
    for (const Record &record : state) record->timestamp = time;
    append(writer, state);
    ASSERT_EQ(qom_writer_end_checkpoint(writer), 0) << qom_reader_error();
    close(writer);
  }

  // All records with their pixels, which two compressors may store in two ways.
  Texts pixels_and_fields() {
    Texts texts;
    const Reader reader = open();
    for (size_t i = 0; i < qom_reader_index_length(reader.get()); ++i) {
      const Record record(qom_record_at_index(reader.get(), i));
      if (!record) return {qom_reader_error()};
      const bool packed =
          (record->type == QOM_COMPRESSED_IMAGE || record->type == QOM_COMPRESSED_IMAGE_BLOCKS);
      texts.push_back(qom_record_type_to_string(static_cast<QomRecordType>(record->type)) +
                      describe(packed ? uncompressed(record).get() : record.get()));
    }
    size_t first = 0, end = 0;
    EXPECT_EQ(qom_checkpoint_before(reader.get(), SIZE_MAX, &first, &end), 1);
    texts.push_back(std::to_string(first) + '-' + std::to_string(end));
    texts.push_back(describe(qom_info_header(reader.get())));
    return texts;
  }
};

TEST_F(RoundTrip, OfEveryFormatAndPaddingGivesTheSameRecords) {
  for (int format = PALETTE8; format <= BGRA8888; ++format) {
    for (const int pad : {0, 8, 16, 32}) {
      SCOPED_TRACE(std::to_string(format) + '-' + std::to_string(pad));
      write_recording(sample_header(static_cast<PixelFormat>(format), static_cast<uint8_t>(pad)));
      const Texts written = pixels_and_fields();
      const Outcome text = qom({"dump", "--text", path});
      ASSERT_EQ(text.status, 0) << text.err;
      std::remove(path.c_str());
      make("recording", text.out);
      EXPECT_EQ(pixels_and_fields(), written);
      EXPECT_EQ(qom({"dump", "--text", path}).out, text.out);
    }
  }
}

}  // namespace
}  // namespace qomtool
