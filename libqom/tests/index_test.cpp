// The index by end mark, by chain and by walking; checkpoints; times.
#include <algorithm>
#include <cerrno>

#include "fixture.h"

namespace {

using qom::CheckpointSpan;
using qom::IndexSource;

class IndexTest : public RecordingTest {
 protected:
  // The index that all three ways give.
  std::string same_index() {
    const std::string index = index_from(path, IndexSource::end_mark);
    EXPECT_EQ(index, index_from(path, IndexSource::chain));
    EXPECT_EQ(index, index_from(path, IndexSource::walk));
    return index;
  }

  void append_positions(QomWriter *writer, int count, uint64_t time = 1000) {
    for (int i = 0; i < count; ++i)
      ASSERT_EQ(qom_writer_append(writer, position(time + static_cast<uint64_t>(i)).get()), 0);
  }

  // "first-end", or "none".
  static std::string checkpoint_before(QomReader *reader, size_t index) {
    size_t first = 777;
    size_t end = 777;
    if (!qom_checkpoint_before(reader, index, &first, &end)) {
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
  append_positions(writer, 10, 200000);
  const size_t size = contents().size();
  close(writer);
  const std::string whole = same_index();
  EXPECT_EQ(info().state, QOM_STATE_FINISHED);
  EXPECT_EQ(info().checkpoint_count, 2u);
  truncate(size);
  EXPECT_EQ(same_index(), whole);
  EXPECT_EQ(info().state, QOM_STATE_UNFINISHED);
  for (const size_t cut : {10, 50, 5000, 40 * 4096, 2000000}) {
    truncate(size - cut);
    same_index();
  }
}

// What a way to the index reads is seen by damaging what it does not need.
TEST_F(IndexTest, ComesFromTheChainWhereThereIsOne) {
  QomWriter *writer = create();
  append_positions(writer, 9000);
  const size_t size = contents().size();
  close(writer);
  const std::string whole = same_index();
  const auto first = static_cast<size_t>(qom_reader_index(open().get())[0].position);
  Bytes bytes = contents();
  bytes[first] ^= 1;  // a walk loses the first record
  put(bytes);
  EXPECT_EQ(index_from(path, IndexSource::end_mark), whole);
  EXPECT_EQ(index_from(path, IndexSource::chain), whole);
  EXPECT_NE(index_from(path, IndexSource::walk), whole);
  truncate(size);
  EXPECT_EQ(index_from(path, IndexSource::end_mark), whole);
}

TEST_F(IndexTest, BlocksComeAfterMegabytesToo) {
  const QomHeader header = sample_header();
  std::vector<Record> written;
  for (uint64_t i = 0; i < 12; ++i) written.push_back(image(header, 1000 + i, 1024, 256));
  write(header, written);
  const std::string whole = same_index();
  Bytes bytes = contents();
  bytes[static_cast<size_t>(qom_reader_index(open().get())[0].position)] ^= 1;
  put(bytes);
  EXPECT_EQ(index_from(path, IndexSource::chain), whole);
}

TEST_F(IndexTest, ABrokenChainIsTakenUpBeforeTheBreakOrWalkedAround) {
  QomWriter *writer = create();
  append_positions(writer, 13000);
  const size_t size = contents().size();
  close(writer);
  truncate(size);
  const std::string whole = same_index();
  const Bytes good = contents();
  std::vector<size_t> blocks;
  for (size_t at = 0; at + 4 < good.size(); ++at)
    if (std::equal(qom::sync_word, qom::sync_word + 4, good.begin() + static_cast<long>(at)) &&
        good[at + 4] == qom::frame_index_block)
      blocks.push_back(at);
  ASSERT_EQ(blocks.size(), 3u);
  for (const size_t block : blocks)
    for (const size_t offset : {5u, 40u, 100u}) {
      Bytes bytes = good;
      bytes[block + offset] ^= 1;
      put(bytes);
      EXPECT_EQ(index_from(path, IndexSource::end_mark), whole) << block << "+" << offset;
    }
}

TEST_F(IndexTest, AnEmptyRecordingHasNoRecordsAndNoError) {
  for (const bool finish : {false, true}) {
    put({});
    std::remove(path.c_str());
    write(sample_header(), {}, finish);
    const Reader reader = open();
    errno = -1;
    EXPECT_FALSE(qom_reader_index(reader.get()));
    EXPECT_EQ(errno, 0);
    EXPECT_STREQ(qom_reader_error(), "the recording holds no records");
    EXPECT_EQ(qom_reader_index_length(reader.get()), 0u);
    EXPECT_EQ(qom_index_at_time(reader.get(), 5), 0u);
    EXPECT_EQ(checkpoint_before(reader.get(), 0), "none");
    EXPECT_FALSE(qom_record_at_index(reader.get(), 0));
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(info().state, finish ? QOM_STATE_FINISHED : QOM_STATE_UNFINISHED);
  }
}

TEST_F(IndexTest, ATimeLeadsToTheFirstRecordNotBeforeIt) {
  std::vector<Record> written;
  for (const uint64_t time : {1000, 1000, 2000, 2000, 3000}) written.push_back(position(time));
  write(sample_header(), written);
  const Reader reader = open();
  const std::pair<uint64_t, size_t> expected[] = {{0, 0},    {1000, 0}, {1001, 2}, {2000, 2},
                                                  {2001, 4}, {3000, 4}, {3001, 4}, {UINT64_MAX, 4}};
  for (const auto &[time, index] : expected)
    EXPECT_EQ(qom_index_at_time(reader.get(), time), index) << time;
}

TEST_F(IndexTest, TimesThatGoBackAreRaisedAndReported) {
  forge::Recording recording;
  for (const uint64_t time : {2000, 1500, 999, 3000, 2999}) recording.add(QOM_DEBUG, {}, time);
  put(recording.bytes);
  for (const bool finished : {false, true}) {
    if (finished) {
      recording.finish();
      put(recording.bytes);
    }
    same_index();
    EXPECT_EQ(info().times_raised, 3u);
    EXPECT_EQ(records(), (std::vector<std::string>{"QOM_DEBUG at 2000", "QOM_DEBUG at 2000",
                                                   "QOM_DEBUG at 2000", "QOM_DEBUG at 3000",
                                                   "QOM_DEBUG at 3000"}));
    EXPECT_EQ(qom_reader_index(open().get())[1].flags, QOM_ENTRY_TIME_RAISED);
  }
}

TEST_F(IndexTest, UnknownFramesArePassedOver) {
  forge::Recording recording(forge::header_payload(), 9);
  recording.add(QOM_DEBUG);
  recording.add(17, {1, 2, 3});
  recording.add(223, Bytes(100000, 0xB3));
  recording.add(228);
  recording.add(QOM_DONE);
  put(recording.bytes);
  EXPECT_EQ(records(), (std::vector<std::string>{"QOM_DEBUG at 1000", "QOM_DONE at 1001"}));
  EXPECT_EQ(info().unknown_records, 3u);
  EXPECT_EQ(info().minor_version, 9);
  EXPECT_EQ(info().state, QOM_STATE_UNFINISHED);
  EXPECT_EQ(scan(), (std::vector<QomScanKind>{QOM_SCAN_RECORD, QOM_SCAN_UNKNOWN, QOM_SCAN_UNKNOWN,
                                              QOM_SCAN_UNKNOWN, QOM_SCAN_RECORD}));
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
  ASSERT_EQ(qom_writer_append(writer, screen_change(4000, 8, 4).get()), 0);
  close(writer);
  for (int cut = 0; cut < 2; ++cut) {
    if (cut) truncate(size);
    const Reader reader = open();
    const char *expected[] = {"none", "none", "2-4", "2-4", "2-4", "2-4", "6-8", "6-8"};
    for (size_t i = 0; i < 8; ++i) EXPECT_EQ(checkpoint_before(reader.get(), i), expected[i]) << i;
    EXPECT_EQ(checkpoint_before(reader.get(), 1000), "6-8");
    EXPECT_EQ(info().checkpoint_count, 2u);
  }
  truncate(size - 1);  // the second one's mark is torn
  EXPECT_EQ(checkpoint_before(open().get(), 7), "2-4");
}

TEST_F(IndexTest, ACheckpointThatIsNotWholeIsRefusedAndItsRecordsStay) {
  const QomHeader header = sample_header();
  QomWriter *writer = create();
  const auto attempt = [&](std::vector<Record> run) {
    EXPECT_EQ(qom_writer_begin_checkpoint(writer), 0);
    EXPECT_EQ(qom_writer_begin_checkpoint(writer), -1);
    EXPECT_EQ(errno, EINVAL);
    append(writer, run);
    return qom_writer_end_checkpoint(writer);
  };
  const auto run = [](auto... records) {
    std::vector<Record> list;
    (list.push_back(std::move(records)), ...);
    return list;
  };
  const auto change = [] { return screen_change(1000, 8, 4); };
  const auto whole = [&] { return compressed_image(header, 1000, 8, 4); };
  EXPECT_EQ(qom_writer_end_checkpoint(writer), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(attempt(run()), -1);
  EXPECT_EQ(attempt(run(change())), -1);
  EXPECT_EQ(attempt(run(whole())), -1);
  EXPECT_EQ(attempt(run(whole(), change())), -1);
  EXPECT_EQ(attempt(run(change(), compressed_image(header, 1000, 8, 3))), -1);
  EXPECT_EQ(attempt(run(change(), image(header, 1000, 8, 4))), -1);
  const auto shifted = [&](int16_t x, int16_t y) {
    Record record = whole();
    reinterpret_cast<QomCompressedImage *>(record.get())->x = x;
    reinterpret_cast<QomCompressedImage *>(record.get())->y = y;
    return record;
  };
  EXPECT_EQ(attempt(run(change(), shifted(1, 0))), -1);
  EXPECT_EQ(attempt(run(change(), shifted(0, -1))), -1);
  EXPECT_EQ(attempt(run(change(), whole(), screen_change(1000, 8, 5))), -1);
  EXPECT_EQ(attempt(run(change(), whole())), 0);
  append(writer, run(text_record(QOM_FOOTER_ITEM_IP, 1000, "ip")));
  EXPECT_EQ(attempt(run(change(), whole())), -1);
  EXPECT_EQ(attempt(run(change(), whole(), text_record(QOM_FOOTER_ITEM_IP, 1000, "ip"))), 0);
  std::vector<Record> many = run(change(), whole(), text_record(QOM_FOOTER_ITEM_IP, 1000, "ip"));
  while (many.size() < 256) many.push_back(position(1000));
  EXPECT_EQ(attempt(std::move(many)), 0);
  EXPECT_EQ(attempt({}), -1);
  const size_t written = 0 + 1 + 1 + 2 + 2 + 2 + 2 + 2 + 3 + 2 + 1 + 2 + 3 + 256;
  close(writer);
  EXPECT_EQ(records().size(), written);
  EXPECT_EQ(info().checkpoint_count, 3u);
  same_index();
}

TEST_F(IndexTest, ACheckpointOfTooManyRecordsIsRefused) {
  QomWriter *writer = create();
  ASSERT_EQ(qom_writer_begin_checkpoint(writer), 0);
  append(writer, every_record(sample_header()));
  append_positions(writer, 250, 2000000);
  EXPECT_EQ(qom_writer_append(writer, screen_change(2001000, 8, 4).get()), 0);
  EXPECT_EQ(qom_writer_append(writer, compressed_image(sample_header(), 2001000, 8, 4).get()), 0);
  EXPECT_EQ(qom_writer_end_checkpoint(writer), -1);
  EXPECT_EQ(errno, EINVAL);
  close(writer);
  EXPECT_EQ(info().checkpoint_count, 0u);
}

TEST_F(IndexTest, ACheckpointIsNeverCutByAnIndexBlock) {
  QomWriter *writer = create();
  for (int i = 0; i < 4095; ++i) append_positions(writer, 1);
  ASSERT_EQ(qom_writer_begin_checkpoint(writer), 0);
  append(writer, every_record(sample_header()));
  close(writer);
  const auto kinds = scan();
  const auto block = std::find(kinds.begin(), kinds.end(), QOM_SCAN_INDEX);
  EXPECT_EQ(block - kinds.begin(), 4095 + static_cast<long>(every_record(sample_header()).size()));
}

TEST_F(IndexTest, ADamagedMarkIsNoCheckpoint) {
  QomWriter *writer = create();
  append_checkpoint(writer, 1000);
  const size_t size = contents().size();
  close(writer);
  truncate(size);
  Bytes bytes = contents();
  bytes[size - 1] ^= 0x80;  // of the number of records
  bytes[size - 8] ^= 3;
  put(bytes);
  EXPECT_EQ(info().checkpoint_count, 0u);
  EXPECT_EQ(info().state, QOM_STATE_DAMAGED);
  bytes[size - 1] ^= 0x80;
  put(bytes);  // one record in place of two, which would be a mark that counts
  EXPECT_EQ(info().checkpoint_count, 0u);
}

TEST_F(IndexTest, HostileCheckpointMarksAreIgnored) {
  forge::Recording recording;
  const Bytes image = forge::geometry(1, 1);
  const size_t a = recording.add(QOM_DEBUG);
  const size_t b = recording.add(QOM_COMPRESSED_IMAGE, image, 0, 4, qom::codec_zstd);
  const size_t c = recording.add(QOM_DEBUG);
  const size_t d = recording.add(QOM_COMPRESSED_IMAGE, image, 0, 4, qom::codec_zstd);
  recording.add(QOM_DEBUG);
  const size_t gap = recording.add(QOM_COMPRESSED_IMAGE, image, 0, 4, qom::codec_zstd);
  recording.add(200);
  recording.add(QOM_DEBUG);
  const size_t many = recording.add(QOM_COMPRESSED_IMAGE, image, 0, 4, qom::codec_zstd);
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
  put(recording.bytes);
  const size_t size = recording.bytes.size();
  for (const bool finished : {false, true}) {
    if (finished) {
      recording.add_index(qom::frame_index_part, {}, recording.entries, marks);
      recording.add_end_mark(size, recording.entries.size(), marks.size());
      put(recording.bytes);
    }
    const Reader reader = open();
    EXPECT_EQ(checkpoint_before(reader.get(), 0), "none");
    EXPECT_EQ(checkpoint_before(reader.get(), 1), "1-2");
    EXPECT_EQ(checkpoint_before(reader.get(), 2), "2-4");
    EXPECT_EQ(checkpoint_before(reader.get(), 1000), "2-4");
    EXPECT_EQ(info().state, finished ? QOM_STATE_FINISHED : QOM_STATE_UNFINISHED);
    same_index();
  }
}

}  // namespace
