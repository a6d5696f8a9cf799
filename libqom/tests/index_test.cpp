// The index by end mark, by chain and by walking; checkpoints; times.
#include <algorithm>
#include <cerrno>

#include "file/origins.h"
#include "fixture.h"

namespace {

using qom::CheckpointSpan;
using qom::IndexSource;

class IndexTest : public RecordingTest {
 protected:
  // The index that all three ways give. (EXPECT_EQ would compare long ones line with line.)
  std::string same_index() {
    std::string index = index_from(path, IndexSource::end_mark);
    EXPECT_TRUE(index == index_from(path, IndexSource::chain));
    EXPECT_TRUE(index == index_from(path, IndexSource::walk));
    return index;
  }

  // "first-end", or "none".
  static std::string checkpoint_before(const Reader &reader, size_t index) {
    size_t first = 777;
    size_t end = 777;
    if (!qom_checkpoint_before(reader.get(), index, &first, &end)) {
      EXPECT_EQ(first, 777u);
      return "none";
    }
    return std::to_string(first) + "-" + std::to_string(end);
  }
};

TEST_F(IndexTest, IsTheSameByEveryWayFinishedOrCut) {
  QomWriter *writer = create();
  append_positions(writer, 4090);
  append_checkpoint(writer, 70000);
  append_positions(writer, 66000, 70000);  // more than one index part
  append_checkpoint(writer, 200000);
  for (uint64_t i = 0; i < 12; ++i)  // blocks come after so many megabytes, too
    append(writer, list(image(sample_header(), 200000 + i, 1024, 256)));
  const size_t size = close(writer);
  const std::string whole = same_index();
  EXPECT_EQ(info().state, QOM_STATE_FINISHED);
  truncate(size);
  EXPECT_TRUE(same_index() == whole);
  EXPECT_EQ(info().state, QOM_STATE_UNFINISHED);
  // What a way to the index reads is seen by damaging what it does not need.
  Bytes bytes = contents();
  bytes[static_cast<size_t>(entries()[0].position)] ^= 1;
  put(bytes);
  EXPECT_TRUE(index_from(path, IndexSource::chain) == whole);
  EXPECT_NE(index_from(path, IndexSource::walk), whole);
  for (const size_t cut : {10, 50, 5000, 2000000, 14000000}) {
    truncate(size - cut);
    EXPECT_TRUE(index_from(path, IndexSource::end_mark) == index_from(path, IndexSource::chain));
  }
}

TEST_F(IndexTest, ABrokenChainIsTakenUpBeforeTheBreakOrWalkedAround) {
  QomWriter *writer = create();
  append_positions(writer, 13000);
  truncate(close(writer));
  const std::string whole = same_index();
  const Bytes good = contents();
  std::vector<size_t> blocks;
  const auto note = [](void *all, const QomScanEvent *event) {
    if (event->kind == QOM_SCAN_INDEX)
      static_cast<std::vector<size_t> *>(all)->push_back(static_cast<size_t>(event->position));
    return 0;
  };
  ASSERT_EQ(qom_reader_scan(open().get(), note, &blocks), 0);
  EXPECT_EQ(blocks.size(), 3u);
  for (const size_t block : blocks)
    for (const size_t offset : {5, 40, 100}) {
      Bytes bytes = good;
      bytes[block + offset] ^= 1;
      put(bytes);
      EXPECT_TRUE(index_from(path, IndexSource::end_mark) == whole) << block << "+" << offset;
    }
}

TEST_F(IndexTest, ATimeLeadsToTheFirstRecordNotBeforeIt) {
  write(sample_header(),
        list(position(1000), position(1000), position(2000), position(2000), position(3000)));
  const Reader reader = open();
  const std::pair<uint64_t, size_t> expected[] = {{0, 0},    {1000, 0}, {1001, 2}, {2000, 2},
                                                  {2001, 4}, {3000, 4}, {3001, 4}, {UINT64_MAX, 4}};
  for (const auto &[time, index] : expected)
    EXPECT_EQ(qom_index_at_time(reader.get(), time), index) << time;
  write(sample_header(), {});
  const Reader empty = open();
  errno = -1;
  EXPECT_FALSE(qom_reader_index(empty.get()));
  EXPECT_EQ(errno, 0) << "no records and no error";
  EXPECT_EQ(qom_index_at_time(empty.get(), 5), 0u);
  EXPECT_FALSE(qom_record_at_index(empty.get(), 0));
}

TEST_F(IndexTest, TimesThatGoBackAreRaisedAndReported) {
  forge::Recording recording;
  for (const uint64_t time : {2000, 1500, 999, 3000, 2999}) recording.add(QOM_DEBUG, {}, time);
  for (const bool finished : {false, true}) {
    if (finished) recording.finish();
    put(recording.bytes);
    same_index();
    EXPECT_EQ(info().times_raised, 3u);
    EXPECT_EQ(records(), (Texts{"QOM_DEBUG at 2000", "QOM_DEBUG at 2000", "QOM_DEBUG at 2000",
                                "QOM_DEBUG at 3000", "QOM_DEBUG at 3000"}));
    EXPECT_EQ(entries()[1].flags, QOM_ENTRY_TIME_RAISED);
  }
}

TEST_F(IndexTest, UnknownFramesArePassedOver) {
  forge::Recording recording(forge::header_payload(), 9);
  recording.add(QOM_DEBUG);
  recording.add(18, {1, 2, 3});
  recording.add(223, Bytes(100000, 0xB3));
  recording.add(231);
  recording.add_head_copy();
  recording.add(QOM_DONE);
  put(recording.bytes);
  EXPECT_EQ(records(), (Texts{"QOM_DEBUG at 1000", "QOM_DONE at 1001"}));
  EXPECT_EQ(info().unknown_records, 3u);
  EXPECT_EQ(info().minor_version, 9);
  EXPECT_EQ(scan(), (std::vector<QomScanKind>{QOM_SCAN_RECORD, QOM_SCAN_UNKNOWN, QOM_SCAN_UNKNOWN,
                                              QOM_SCAN_UNKNOWN, QOM_SCAN_HEAD, QOM_SCAN_RECORD}));
}

// --- stretches that were not recorded ---------------------------------------------------------

TEST_F(IndexTest, GapsAreFoundWhereverTheyLieAndLiesArePassedOver) {
  forge::Recording recording;
  const auto mark = [&recording](uint64_t begin, uint64_t end, size_t bytes = qom::gap_bytes,
                                 int64_t offset = -7) {
    Bytes payload;
    forge::append(&payload, qom::GapMark{begin, end, offset, QOM_GAP_LATE, {}});
    payload.resize(bytes);
    recording.add(qom::frame_gap, payload);
  };
  mark(1, 1);
  recording.add(QOM_DEBUG);
  recording.add_index(qom::frame_index_block, {}, recording.entries);
  mark(3, 2);                 // ends before it begins
  mark(3, QOM_MAX_TIME + 1);  // and this one never
  mark(3, 4, 31);
  mark(3, 4, 32, INT64_MIN);
  mark(3, 4);
  recording.bytes.back() = 1;  // its checksum is wrong
  forge::append(&recording.bytes, Bytes(50, 0xB3));
  mark(4, 40);
  const auto film = [&recording](qom::FilmAreaMark area, size_t bytes = qom::film_area_bytes) {
    Bytes payload;
    forge::append(&payload, area);
    payload.resize(bytes);
    recording.add(qom::frame_film_area, payload);
  };
  film({3, 4, 5, 6, 7, 8, 500, 100, {}});
  film({4, 3, 5, 6, 7, 8, 500, 100, {}});
  film({3, QOM_MAX_TIME + 1, 5, 6, 7, 8, 500, 100, {}});
  film({3, 4, 5, 6, 0, 8, 500, 100, {}});
  film({3, 4, 5, 6, 7, QOM_MAX_SIDE - 5, 500, 100, {}});
  film({3, 4, 65535, 6, 7, 8, 500, 100, {}});
  film({3, 4, 5, 6, 7, 8, 500, 101, {}});
  film({3, 4, 5, 6, 7, 8, 500, 100, {}}, 31);
  for (const bool finished : {false, true}) {
    if (finished) recording.finish();
    put(recording.bytes);
    EXPECT_EQ(records().size(), 1u);  // and the second reader finds the same gaps
    const Reader reader = open();
    size_t count = 0;
    const QomGap *gaps = qom_reader_gaps(reader.get(), &count);
    ASSERT_EQ(count, 2u);
    for (size_t i = 0; i < count; ++i) EXPECT_EQ(gaps[i].record, i);
    const auto kinds = scan();
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), QOM_SCAN_GAP), 2);
    const QomFilmArea *areas = qom_reader_film_areas(reader.get(), &count);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(areas[0].height, 8);
    EXPECT_EQ(areas[0].rate, 500u);
    EXPECT_EQ(areas[0].record, 1u);
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), QOM_SCAN_FILM_AREA), 1);
  }
}

// --- what was cut out of what -----------------------------------------------------------------

TEST_F(IndexTest, OriginsComeBackInTheirOrderAndLiesArePassedOver) {
  QomRectangle masks[] = {{0, 0, 65536, 1}, {65535, 7, 1, 65529}};
  char name[] = "of an \"hour\".qom";
  const QomOrigin good = {5, 6, QOM_MAX_TIME, 8, 9, 1, 1, {1, 2, 3}, name, 2, masks};
  const QomOrigin least = {};
  forge::Recording recording;
  size_t offered = 0;
  const auto add = [&](const QomOrigin &origin, size_t at = 0, uint8_t byte = 5, int more = 0) {
    qom::Array<uint8_t> encoded;
    ASSERT_TRUE(qom::encode_origin(origin, &encoded));
    Bytes payload(encoded.begin(), encoded.end());
    payload[at] = byte;
    payload.resize(payload.size() + static_cast<size_t>(more));
    recording.add(qom::frame_origin, payload);
    ++offered;
  };
  add(good);  // before a record: what follows it has another origin
  recording.add(QOM_DEBUG);
  add(good, 0, 7);    // begins behind its end
  add(good, 23, 65);  // a start beyond all times
  add(good, 80, 1);   // a mask that hangs over the edge
  add(good, 90, 0);   // and one that is empty
  add(good, 77, 4);   // more masks than there may be, and than there are bytes
  add(good, 116, 0);  // a name with an end in it
  add(good, 112, 17);
  add(good, 0, 5, 1);
  add(good);
  add(least, 0, 0);
  for (const bool finished : {false, true}) {
    if (finished) recording.finish();
    put(recording.bytes);
    EXPECT_EQ(records().size(), 1u);  // and the second reader finds the same origins
    const Reader reader = open();
    size_t count = 0;
    const QomOrigin *origins = qom_reader_origins(reader.get(), &count);
    ASSERT_EQ(count, 2u) << "of " << offered;
    EXPECT_STREQ(origins[0].name, name);
    EXPECT_EQ(origins[0].masks[1].height, 65529);
    EXPECT_EQ(origins[1].name, nullptr);
  }
}

// --- checkpoints -----------------------------------------------------------------------------

TEST_F(IndexTest, CheckpointsAreFoundInFinishedAndUnfinishedRecordings) {
  QomWriter *writer = create();
  append_positions(writer, 2);
  append_checkpoint(writer, 2000);
  append_positions(writer, 2, 2000);
  append_checkpoint(writer, 3000);
  const size_t size = contents().size();
  ASSERT_EQ(qom_writer_begin_checkpoint(writer), 0);
  append(writer, list(screen_change(4000, 8, 4)));
  close(writer);
  for (const bool cut : {false, true}) {
    if (cut) truncate(size);
    std::string found;
    for (size_t i = 0; i < 8; ++i) found += checkpoint_before(open(), i) + ' ';
    EXPECT_EQ(found, "none none 2-4 2-4 2-4 2-4 6-8 6-8 ");
  }
  truncate(size - 1);  // the second one's mark is torn
  EXPECT_EQ(checkpoint_before(open(), 7), "2-4");
}

TEST_F(IndexTest, ACheckpointThatIsNotWholeIsRefusedAndItsRecordsStay) {
  QomWriter *writer = create();
  size_t written = 0;
  const QomGap gap = {5, 6, 0, QOM_GAP_LATE, 0};
  const QomFilmArea film = {5, 6, 0, 0, 1, 1, 0, 0, 0};
  const auto record = [](char letter) {
    if (letter == 's' || letter == 'S') return screen_change(1000, 8, letter == 's' ? 4 : 5);
    if (letter == 't') return text_record(QOM_FOOTER_ITEM_IP, 1000, "ip");
    if (letter == 'p') return position(1000);
    Record plain = image(sample_header(), 1000, 8, letter == 'h' ? 3 : 4);  // half of the screen
    as<QomImage>(plain).x = letter == 'x' ? 1 : 0;
    as<QomImage>(plain).y = letter == 'y' ? -1 : 0;
    return letter == 'u' ? std::move(plain) : compressed(plain);  // uncompressed
  };
  const auto attempt = [&](const std::string &run) {
    EXPECT_EQ(qom_writer_end_checkpoint(writer), -1) << "none is open";
    EXPECT_EQ(qom_writer_begin_checkpoint(writer), 0);
    EXPECT_EQ(qom_writer_begin_checkpoint(writer), -1);
    EXPECT_EQ(qom_writer_gap(writer, &gap), -1);
    EXPECT_EQ(qom_writer_film_area(writer, &film), -1);
    for (const char letter : run) append(writer, list(record(letter)));
    written += run.size();
    return qom_writer_end_checkpoint(writer) == 0;
  };
  for (const char *run : {"", "s", "i", "is", "sh", "su", "sx", "sy", "siS"})
    EXPECT_FALSE(attempt(run)) << run;
  EXPECT_TRUE(attempt("si"));
  EXPECT_TRUE(attempt("sit"));
  EXPECT_FALSE(attempt("si")) << "from now on the text has to be restated";
  EXPECT_TRUE(attempt("sit" + std::string(253, 'p')));
  EXPECT_FALSE(attempt("sit" + std::string(254, 'p')));
  close(writer);
  EXPECT_EQ(records().size(), written);
  EXPECT_EQ(info().checkpoint_count, 3u);
  same_index();
}

TEST_F(IndexTest, ACheckpointIsNeverCutByAnIndexBlock) {
  QomWriter *writer = create();
  append_positions(writer, 4095);
  ASSERT_EQ(qom_writer_begin_checkpoint(writer), 0);
  append_positions(writer, 10, 6000);
  close(writer);
  const auto kinds = scan();
  const auto found = std::find(kinds.begin(), kinds.end(), QOM_SCAN_INDEX) - kinds.begin();
  EXPECT_EQ(found, 1 + 4095 + 10 + 2) << "copies of the head in front of all, and of the overview";
}

TEST_F(IndexTest, HostileCheckpointMarksAreIgnored) {
  forge::Recording recording;
  const auto add_picture = [&recording] {
    return recording.add(QOM_COMPRESSED_IMAGE, forge::geometry(1, 1), 0, 4, qom::codec_zstd);
  };
  const size_t a = recording.add(QOM_DEBUG);
  const size_t b = add_picture();
  const size_t c = recording.add(QOM_DEBUG);
  const size_t d = add_picture();
  recording.add(QOM_DEBUG);
  const size_t gap = add_picture();
  recording.add(200);
  recording.add(QOM_DEBUG);
  const size_t many = add_picture();
  for (int i = 0; i < 300; ++i) recording.add(QOM_DEBUG);
  const std::vector<CheckpointSpan> marks = {
      {b, 2},       // the one that is good
      {b, 1},       // the same records again: the shorter one stays
      {c, 2},       // overlaps it
      {a, 1},       // no picture in it
      {gap, 2},     // another frame within
      {many, 257},  // too many
      {many, 400},  // more than there are
      {d, 0},      {d, 257}, {d, UINT64_MAX}, {d + 1, 1}, {0, 1}, {UINT64_MAX, 1}};
  for (const CheckpointSpan &mark : marks) recording.add_checkpoint(mark.position, mark.count);
  recording.add(qom::frame_checkpoint, Bytes(15));
  const size_t size = recording.bytes.size();
  for (const bool finished : {false, true}) {
    if (finished) {
      recording.add_index(qom::frame_index_part, {}, recording.entries, marks);
      recording.add_end_mark(size, recording.entries.size(), marks.size());
    }
    put(recording.bytes);
    EXPECT_EQ(records().size(), recording.entries.size());  // the second reader knows which it has
    EXPECT_EQ(checkpoint_before(open(), 1), "1-2");
    EXPECT_EQ(checkpoint_before(open(), 1000), "2-4");
    EXPECT_EQ(info().state, finished ? QOM_STATE_FINISHED : QOM_STATE_UNFINISHED);
    same_index();
  }
}

}  // namespace
