// What is appended is what is read back, and what cannot be is refused.
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "fixture.h"

namespace {

class RoundTrip : public RecordingTest {};

TEST_F(RoundTrip, EveryRecordOfEveryFormatAndPaddingComesBackAsItWas) {
  for (int format = PALETTE8; format <= BGRA8888; ++format)
    for (const int pad : {0, 8, 16, 32}) {
      const QomHeader header =
          sample_header(static_cast<PixelFormat>(format), static_cast<uint8_t>(pad));
      const auto written = every_record(header);
      write(header, written);
      EXPECT_EQ(records(), describe_all(written)) << format << " " << pad;
      std::filesystem::remove(path);
    }
}

TEST_F(RoundTrip, TheHeaderComesBackWithItsPaletteAndTexts) {
  std::vector<RgbValue> palette(65535, RgbValue{65535, 1, 2, 3});
  QomHeader header = sample_header(PALETTE8, 0);
  header.timestamp = QOM_MAX_TIME;
  header.width = header.height = QOM_MAX_SIDE;
  header.palette = palette.data();
  header.palette_size = 65535;
  std::string user(QOM_MAX_TEXT, 'u');
  char empty[] = "";
  header.user = user.data();
  header.tfn = empty;
  header.version = 200;
  write(header, {});
  header.version = 1;
  EXPECT_EQ(describe(qom_info_header(open().get())), describe(&header));

  std::filesystem::remove(path);
  header.user = header.tfn = nullptr;
  header.palette_size = 0;
  write(header, {});
  EXPECT_EQ(describe(qom_info_header(open().get())), describe(&header));
}

TEST_F(RoundTrip, TheLargestValuesComeBack) {
  QomHeader header = sample_header(PALETTE8, 8);
  std::vector<Record> written;
  written.push_back(image(header, 1000, QOM_MAX_SIDE, 1));
  written.push_back(compressed_image(header, 1000, 1, QOM_MAX_SIDE));
  Bytes cursor(QOM_MAX_CURSOR_SIDE * QOM_MAX_CURSOR_SIDE * 4, 0xAB);
  written.push_back(keep(QomCursorImage{QOM_CURSOR_IMAGE, 1000, 1024, 1024, 1, 1, 1024, 1024, 1,
                                        static_cast<uint32_t>(cursor.size()), cursor.data()}));
  const std::string text(QOM_MAX_TEXT, 't');
  written.push_back(text_record(QOM_FOOTER_ITEM_SID, 1000, text.c_str()));
  written.push_back(keep(QomImageBlocks{QOM_IMAGE_BLOCKS, QOM_MAX_TIME, 0, nullptr}));
  const QomImageBlocks none = {QOM_IMAGE_BLOCKS, QOM_MAX_TIME, 0, nullptr};
  written.emplace_back(reinterpret_cast<QomRecord *>(qom_image_blocks_compress(&none)));
  write(header, written);
  EXPECT_EQ(records(), describe_all(written));
}

TEST_F(RoundTrip, PixelsSurviveCompressionWithAndWithoutDifferences) {
  const QomHeader header = sample_header(xRGB8888, 32);
  for (const bool smooth : {false, true}) {
    const Record record = image(header, 5, 300, 200);
    auto plain = reinterpret_cast<QomImage *>(record.get());
    for (uint32_t i = 0; i < plain->length; ++i)
      plain->data[i] = static_cast<uint8_t>(smooth ? i / 4 * (i % 4 + 1) + i * i % 3 : i / 999);
    const qom::RecordPtr<QomCompressedImage> packed(qom_image_compress(plain));
    ASSERT_TRUE(packed);
    EXPECT_EQ(packed->data[0], smooth ? qom::codec_zstd_left : qom::codec_zstd_packed);
    const qom::RecordPtr<QomImage> again(qom_image_uncompress(packed.get()));
    EXPECT_EQ(describe(again.get()), describe(plain));
  }
  for (int format = PALETTE8; format <= BGRA8888; ++format) {
    const QomHeader other = sample_header(static_cast<PixelFormat>(format), 16);
    const Record plain = image_blocks(other, 7);
    const Record packed = compressed_blocks(other, 7);
    const qom::RecordPtr<QomImageBlocks> again(qom_image_blocks_uncompress(
        reinterpret_cast<const QomCompressedImageBlocks *>(packed.get())));
    EXPECT_EQ(describe(again.get()), describe(plain.get()));
  }
}

TEST_F(RoundTrip, ACopyOwnsEverything) {
  for (const Record &record : every_record(sample_header())) {
    Record copy(qom_record_dup(record.get()));
    const std::string before = describe(record.get());
    EXPECT_EQ(describe(copy.get()), before);
    const Record second(qom_record_dup(copy.get()));
    copy.reset();
    EXPECT_EQ(describe(second.get()), before);
  }
  const QomRecord unknown = {QOM_TYPE_UNKNOWN, 0};
  EXPECT_FALSE(qom_record_dup(&unknown));
  EXPECT_FALSE(qom_record_dup(nullptr));
  qom_record_free(nullptr);
}

TEST_F(RoundTrip, BlocksAreSteppedThroughInOrder) {
  const QomHeader header = sample_header(RGB565, 32);
  const Record record = image_blocks(header, 77);
  auto blocks = reinterpret_cast<const QomImageBlocks *>(record.get());
  std::string sizes;
  QomImage image;
  size_t offset = 0;
  while (qom_image_blocks_next(blocks, &header, &offset, &image) == 1) {
    sizes += std::to_string(image.width) + "x" + std::to_string(image.height) + " ";
    EXPECT_EQ(image.timestamp, 77u);
    EXPECT_EQ(image.x, -7);
    EXPECT_EQ(image.bytes_per_line, stride_in_bytes(image.width, 16, 32));
    EXPECT_EQ(image.data + image.length, blocks->data + offset);
  }
  EXPECT_EQ(sizes, "5x2 1x1 3x4 9x6 ");
  EXPECT_EQ(offset, blocks->length);
}

TEST_F(RoundTrip, AStrideIsRoundedUpToThePadding) {
  EXPECT_EQ(stride_in_bytes(3, 8, 0), 3u);
  EXPECT_EQ(stride_in_bytes(3, 8, 8), 3u);
  EXPECT_EQ(stride_in_bytes(3, 8, 16), 4u);
  EXPECT_EQ(stride_in_bytes(3, 16, 32), 8u);
  EXPECT_EQ(stride_in_bytes(5, 8, 32), 8u);
  EXPECT_EQ(stride_in_bytes(0, 32, 32), 0u);
  EXPECT_EQ(stride_in_bytes(16384, 32, 32), 65536u);
}

TEST_F(RoundTrip, NamesAreThoseOfTheEnumerations) {
  EXPECT_STREQ(qom_record_type_to_string(QOM_DONE), "QOM_DONE");
  EXPECT_STREQ(qom_record_type_to_string(QOM_FOOTER_ITEM_APPFMT), "QOM_FOOTER_ITEM_APPFMT");
  EXPECT_STREQ(qom_record_type_to_string(QOM_TYPE_UNKNOWN), "QOM_TYPE_UNKNOWN");
  EXPECT_STREQ(qom_record_type_to_string(static_cast<QomRecordType>(17)), "QOM_TYPE_UNKNOWN");
  EXPECT_STREQ(pixel_format_string(PALETTE8), "PALETTE8");
  EXPECT_STREQ(pixel_format_string(BGRA8888), "BGRA8888");
  EXPECT_STREQ(pixel_format_string(static_cast<PixelFormat>(14)), "FORMAT_UNKNOWN");
  EXPECT_EQ(pixel_format_bytes_per_pixel(BGR565), 2u);
  EXPECT_EQ(pixel_format_bytes_per_pixel(static_cast<PixelFormat>(15)), 0u);
}

TEST_F(RoundTrip, ADumpShowsNoControlCharactersOfTheFile) {
  testing::internal::CaptureStdout();
  for (const Record &record : every_record(sample_header())) qom_record_dump(record.get());
  qom_record_dump(text_record(QOM_FOOTER_ITEM_APP, 1500001, "\x1B]0;owned\a\"").get());
  qom_record_dump(nullptr);
  const std::string out = testing::internal::GetCapturedStdout();
  for (const char byte : out) EXPECT_TRUE(byte == '\n' || (byte >= ' ' && byte < 127)) << int{byte};
  EXPECT_NE(out.find("1.500001 QOM_FOOTER_ITEM_APP\n    item \"\\x1B]0;owned\\x07\\\"\"\n"),
            std::string::npos)
      << out;
}

// --- refusals --------------------------------------------------------------------------------

class Refusal : public RecordingTest {
 protected:
  // Has the writer refuse each of them, and then finish a file that holds one good record.
  template <typename T>
  void refuse(const QomHeader &header, const T &good, const std::vector<T> &bad) {
    QomWriter *writer = create(header);
    for (size_t i = 0; i < bad.size(); ++i) {
      errno = 0;
      EXPECT_EQ(qom_writer_append(writer, &bad[i]), -1) << i;
      EXPECT_EQ(errno, EINVAL) << i;
      EXPECT_STRNE(qom_reader_error(), "") << i;
    }
    EXPECT_EQ(qom_writer_append(writer, &good), 0) << qom_reader_error();
    close(writer);
    EXPECT_EQ(records(), std::vector<std::string>{describe(&good)});
    std::filesystem::remove(path);
  }

  // Variants of a record, each with one thing wrong.
  template <typename T>
  static std::vector<T> variants(const T &good, std::initializer_list<void (*)(T *)> changes) {
    std::vector<T> list;
    for (auto change : changes) {
      list.push_back(good);
      change(&list.back());
    }
    return list;
  }
};

TEST_F(Refusal, RecordsWhoseSizesDisagree) {
  const QomHeader header = sample_header(RGB565, 32);
  const Record i = image(header, 1000, 3, 2);
  const auto &good_image = *reinterpret_cast<QomImage *>(i.get());
  refuse(header, good_image,
         variants<QomImage>(
             good_image,
             {[](QomImage *x) { x->width = 0; }, [](QomImage *x) { x->height = 0; },
              [](QomImage *x) { x->width = QOM_MAX_SIDE + 1; }, [](QomImage *x) { x->length += 1; },
              [](QomImage *x) { x->bytes_per_line = 6; },
              [](QomImage *x) { x->pixel_format = BGR565; },
              [](QomImage *x) { x->scanline_pad = 16; }, [](QomImage *x) { x->data = nullptr; }}));
  const Record c = compressed_image(header, 1000, 3, 2);
  const auto &good_compressed = *reinterpret_cast<QomCompressedImage *>(c.get());
  static uint8_t no_codec[] = {9, 9, 9};
  refuse(header, good_compressed,
         variants<QomCompressedImage>(
             good_compressed, {[](QomCompressedImage *x) { x->length -= 2; },
                               [](QomCompressedImage *x) { x->compressed_length = 1; },
                               [](QomCompressedImage *x) { x->compressed_length = UINT32_MAX; },
                               [](QomCompressedImage *x) { x->data = nullptr; },
                               [](QomCompressedImage *x) { x->data = no_codec; },
                               [](QomCompressedImage *x) { x->height = 3; }}));
  const Record b = image_blocks(header, 1000);
  const auto &good_blocks = *reinterpret_cast<QomImageBlocks *>(b.get());
  refuse(header, good_blocks,
         variants<QomImageBlocks>(good_blocks,
                                  {[](QomImageBlocks *x) { x->length -= 1; },
                                   [](QomImageBlocks *x) { x->length = QOM_MAX_DATA + 1; },
                                   [](QomImageBlocks *x) { x->data = nullptr; }}));
  const Record p = compressed_blocks(header, 1000);
  const auto &good_packed = *reinterpret_cast<QomCompressedImageBlocks *>(p.get());
  refuse(header, good_packed,
         variants<QomCompressedImageBlocks>(
             good_packed, {[](QomCompressedImageBlocks *x) { x->length = QOM_MAX_DATA + 1; },
                           [](QomCompressedImageBlocks *x) { x->data = no_codec; },
                           [](QomCompressedImageBlocks *x) { x->compressed_length = 0; }}));
}

TEST_F(Refusal, CursorsTextsAndTypes) {
  const QomHeader header = sample_header();
  static Bytes pixels(4 * 4 * 4);
  const QomCursorImage cursor = {QOM_CURSOR_IMAGE, 1000, 4, 4, 0, 0, 0, 0, 0, 64, pixels.data()};
  refuse(
      header, cursor,
      variants<QomCursorImage>(
          cursor,
          {[](QomCursorImage *x) { x->width = 0; }, [](QomCursorImage *x) { x->height = 1025; },
           [](QomCursorImage *x) { x->length = 60; }, [](QomCursorImage *x) { x->xhot = 5; },
           [](QomCursorImage *x) { x->yhot = 5; }, [](QomCursorImage *x) { x->data = nullptr; }}));
  static std::string text(QOM_MAX_TEXT + 1, 't');
  const QomLastInput input = {QOM_LAST_INPUT, 1000, nullptr, nullptr};
  refuse(header, input,
         variants<QomLastInput>(
             input,
             {[](QomLastInput *x) { x->user = text.data(); },
              [](QomLastInput *x) { x->tfn = text.data(); }, [](QomLastInput *x) { x->type = 17; },
              [](QomLastInput *x) { x->type = QOM_TYPE_UNKNOWN; },
              [](QomLastInput *x) { x->type = 226; }, [](QomLastInput *x) { x->timestamp = 999; },
              [](QomLastInput *x) { x->timestamp = QOM_MAX_TIME + 1; }}));
}

TEST_F(Refusal, TimesThatGoBack) {
  QomWriter *writer = create();
  append(writer, {});
  ASSERT_EQ(qom_writer_append(writer, position(2000).get()), 0);
  EXPECT_EQ(qom_writer_append(writer, position(1999).get()), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(qom_writer_append(writer, nullptr), -1);
  EXPECT_EQ(qom_writer_append(writer, position(2000, 5).get()), 0);
  close(writer);
  EXPECT_EQ(records().size(), 2u);
}

TEST_F(Refusal, HeadersThatNoReaderWouldAccept) {
  const auto bad = variants<QomHeader>(
      sample_header(),
      {[](QomHeader *h) { h->width = 0; }, [](QomHeader *h) { h->height = QOM_MAX_SIDE + 1; },
       [](QomHeader *h) { h->width = h->height = QOM_MAX_SIDE; },  // 1 GiB of pixels
       [](QomHeader *h) { h->pixel_format = FORMAT_UNKNOWN; },
       [](QomHeader *h) { h->pixel_format = static_cast<PixelFormat>(14); },
       [](QomHeader *h) { h->depth = 0; }, [](QomHeader *h) { h->depth = 33; },
       [](QomHeader *h) { h->scanline_pad = 24; }, [](QomHeader *h) { h->palette_size = 1; },
       [](QomHeader *h) { h->timestamp = QOM_MAX_TIME + 1; }});
  for (size_t i = 0; i < bad.size(); ++i) {
    errno = 0;
    EXPECT_FALSE(qom_writer_create(path.c_str(), &bad[i])) << i;
    EXPECT_EQ(errno, EINVAL) << i;
    EXPECT_FALSE(std::filesystem::exists(path)) << i;
  }
}

TEST_F(Refusal, AFileThatExistsAndAFolderThatDoesNot) {
  put({'k', 'e', 'p', 't'});
  const QomHeader header = sample_header();
  EXPECT_FALSE(qom_writer_create(path.c_str(), &header));
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(contents(), (Bytes{'k', 'e', 'p', 't'}));
  EXPECT_FALSE(qom_writer_create((folder + "/none/recording").c_str(), &header));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(qom_writer_close(nullptr), 0);
}

TEST_F(Refusal, MalformedImagesToCompress) {
  const Record record = image(sample_header(), 0, 4, 4);
  auto bad = *reinterpret_cast<QomImage *>(record.get());
  bad.length -= 4;
  EXPECT_FALSE(qom_image_compress(&bad));
  EXPECT_EQ(errno, EINVAL);
  EXPECT_FALSE(qom_image_compress(nullptr));
  const QomImageBlocks blocks = {QOM_IMAGE_BLOCKS, 0, 8, nullptr};
  EXPECT_FALSE(qom_image_blocks_compress(&blocks));
  EXPECT_EQ(errno, EINVAL);
}

}  // namespace
