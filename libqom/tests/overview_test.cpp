// Recordings that open by their overview: what it saves, what it tells, and what becomes of lies.
// And the sources that bytes come from.
#include <algorithm>
#include <cerrno>

#include "file/reader.h"
#include "fixture.h"

namespace {

using forge::Recording;

// Bytes as functions give them, honest or not; counts what is asked for.
struct Counting {
  enum class Answers { honest, short_ones, too_many, failures, nothing, noise, endless };

  Bytes bytes;
  Answers answers = Answers::honest;
  size_t calls = 0;
  size_t given = 0;  // bytes

  QomSource source() {
    return {[](void *self) { return static_cast<Counting *>(self)->size(); },
            [](void *self, uint64_t offset, void *to, size_t length) {
              return static_cast<Counting *>(self)->read(offset, static_cast<uint8_t *>(to),
                                                         length);
            },
            [](void *) { return 7; }, this};
  }

 private:
  int64_t size() const {
    return answers == Answers::endless ? INT64_MAX : static_cast<int64_t>(bytes.size());
  }

  int64_t read(uint64_t offset, uint8_t *to, size_t length) {
    // The first call is for the head; without it there is nothing to be wrong about.
    if (++calls > 1) switch (answers) {
        case Answers::short_ones:
          length = std::min<size_t>(length, 1000);
          break;
        case Answers::too_many:
          return static_cast<int64_t>(length) + 1;
        case Answers::failures:
          errno = calls % 2 ? EINTR : 0;
          return INT64_MIN;
        case Answers::nothing:
          return 0;
        case Answers::noise:
          std::fill_n(to, length, static_cast<uint8_t>(calls));
          return static_cast<int64_t>(length);
        default:
          break;
      }
    if (offset >= bytes.size()) return 0;
    length = std::min(length, bytes.size() - offset);
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), length, to);
    given += length;
    return static_cast<int64_t>(length);
  }
};

std::string numbers(std::initializer_list<uint64_t> list) {
  std::string text;
  for (const uint64_t number : list) text += std::to_string(number) + ' ';
  return text;
}

// What the reader answers about a record when it is asked for nothing else.
std::string answers_about(QomReader *reader, size_t i) {
  QomIndexEntry entry = {};
  if (!qom::reader_entry(reader, i, &entry)) return qom_reader_error();
  size_t first = 0, end = 0;
  qom_checkpoint_before(reader, i, &first, &end);
  return numbers({static_cast<uint64_t>(entry.position), entry.timestamp, entry.type, entry.flags,
                  entry.area, entry.length, first, end, qom_index_at_time(reader, entry.timestamp),
                  qom::reader_count_until(reader, entry.timestamp),
                  qom_index_at_time(reader, entry.timestamp + 1)});
}

class OverviewTest : public RecordingTest {
 protected:
  // Pictures, texts, moves and checkpoints over many index parts.
  void write_long() {
    QomWriter *writer = create();
    for (uint64_t at = 0; at < 5; ++at) {
      append_checkpoint(writer, 10000 * at + 5000);
      append_positions(writer, 4000, 10000 * at + 5000);
      append(writer, list(image(sample_header(), 10000 * at + 9500, 60, 40),
                          keep(QomRecord{QOM_DEBUG, 10000 * at + 9600})));
    }
    close(writer);
  }

  static std::string answers(QomReader *reader) {
    std::string text = numbers({qom::reader_count(reader), qom::reader_first_image(reader)});
    for (size_t i = 0; i < qom::reader_count(reader); ++i) text += answers_about(reader, i) + '\n';
    return text;
  }

  // Answers from the overview and the parts must be those of the index, at the latest when the
  // generation tells that they were not. Returns whether it did.
  bool same_as_index() { return same_as_index(contents()); }
  static bool same_as_index(const Bytes &bytes) {
    const Reader whole(qom_reader_open_memory(bytes.data(), bytes.size()));
    EXPECT_TRUE(qom_reader_index(whole.get()));
    const Reader reader(qom_reader_open_memory(bytes.data(), bytes.size()));
    const std::string first = answers(reader.get());
    const uint64_t generation = qom::reader_generation(reader.get());
    EXPECT_EQ(generation == 0 ? first : answers(reader.get()), answers(whole.get()));
    EXPECT_EQ(qom::reader_generation(reader.get()), generation);
    return generation > 0;
  }
};

// --- sources -----------------------------------------------------------------------------------

TEST_F(OverviewTest, EverySourceGivesTheSameRecords) {
  write(sample_header(), every_record(sample_header()));
  const Texts whole = records();
  for (const size_t cut : {0, 60, 700, 900}) {
    truncate(contents().size() - cut);
    Counting counting{contents()};
    const QomSource source = counting.source();
    const Bytes bytes = contents();
    const Reader file = open();
    for (QomReader *reader :
         {qom_reader_open_source(&source), qom_reader_open_memory(bytes.data(), bytes.size())}) {
      ASSERT_TRUE(reader) << qom_reader_error();
      EXPECT_EQ(answers(reader), answers(file.get()));
      for (size_t i = 0; i < qom_reader_index_length(reader); ++i)
        EXPECT_EQ(describe(Record(qom_record_at_index(reader, i)).get()), whole[i]);
      EXPECT_EQ(qom_reader_close(reader), counting.calls > 0 ? 7 : 0);
      counting.calls = 0;
    }
  }
}

TEST_F(OverviewTest, ASourceThatAnswersNonsenseEndsInAnError) {
  write_long();
  using Answers = Counting::Answers;
  for (const Answers answers : {Answers::short_ones, Answers::too_many, Answers::failures,
                                Answers::nothing, Answers::noise, Answers::endless}) {
    SCOPED_TRACE(static_cast<int>(answers));
    Counting counting{contents(), answers};
    const QomSource source = counting.source();
    const Reader reader(qom_reader_open_source(&source));
    if (!reader) continue;
    errno = -1;
    const QomRecord *record = qom_record_at_index(reader.get(), 9000);
    EXPECT_EQ(record != nullptr, answers == Answers::short_ones);
    EXPECT_TRUE(record || errno != -1);
    qom_record_free(const_cast<QomRecord *>(record));
    const int error = errno;
    EXPECT_TRUE(answers != Answers::too_many || error == EIO);
    EXPECT_LT(counting.calls, 3000u);
  }
  errno = 0;
  const QomSource none = {nullptr, nullptr, nullptr, nullptr};
  EXPECT_FALSE(qom_reader_open_source(&none));
  EXPECT_EQ(errno, EINVAL);
}

// --- opening -----------------------------------------------------------------------------------

TEST_F(OverviewTest, AnswersAreThoseOfTheIndexAndCostLittle) {
  write_long();
  EXPECT_FALSE(same_as_index());
  EXPECT_EQ(info().state, QOM_STATE_FINISHED);
  Counting counting{contents()};
  const QomSource source = counting.source();
  const Reader reader(qom_reader_open_source(&source));
  EXPECT_EQ(qom_reader_index_length(reader.get()), 5u * 4004);
  EXPECT_EQ(counting.calls, 3u) << "the head, the end mark and the overview";
  size_t first = 0, end = 0;
  const size_t target = qom::reader_count_until(reader.get(), 38000);
  ASSERT_TRUE(qom_checkpoint_before(reader.get(), target - 1, &first, &end));
  EXPECT_EQ(first, 3u * 4004);
  counting.calls = counting.given = 0;
  qom::reader_expect(reader.get(), first, target);
  for (size_t i = first; i < target; ++i) EXPECT_TRUE(Record(qom_record_at_index(reader.get(), i)));
  EXPECT_EQ(counting.calls, 1u);
  const auto all = entries();
  EXPECT_EQ(counting.given, static_cast<size_t>(all[target - 1].position - all[first].position) +
                                qom::frame_head_bytes + all[target - 1].length);
}

// A part of the index is damaged: the first answers may be those of the overview, and then the
// chain is asked.
TEST_F(OverviewTest, APartThatDoesNotHoldIsNoticed) {
  write_long();
  const Bytes good = contents();
  for (size_t at = good.size() - 64; at > good.size() - 64 - 5 * 98304; at -= 40000) {
    Bytes bytes = good;
    bytes[at - 7] ^= 1;
    put(bytes);
    EXPECT_TRUE(same_as_index()) << at;
    EXPECT_EQ(info().state, QOM_STATE_DAMAGED);
  }
}

// --- what it tells -----------------------------------------------------------------------------

TEST_F(OverviewTest, AreasAreRoundedDownToTwelveBits) {
  uint16_t last = 0;
  for (uint64_t pixels = 0; pixels < uint64_t{1} << 30; pixels += 1 + pixels / 5000) {
    const uint16_t code = qom::encode_area(pixels);
    const uint64_t area = qom::decode_area(code);
    ASSERT_TRUE(code >= last && area <= pixels && pixels - area <= pixels / 2048) << pixels;
    ASSERT_EQ(qom::encode_area(area), code);
    last = code;
  }
  EXPECT_EQ(qom::decode_area(qom::encode_area(4095)), 4095u);
  EXPECT_EQ(qom::encode_area(UINT64_MAX), UINT16_MAX);
}

TEST_F(OverviewTest, TheStripCountsWhatIsNoCheckpoint) {
  QomWriter *writer = create();
  const QomHeader header = sample_header();
  append(writer, list(image(header, 2000, 10, 10), position(2001), position(2001)));
  append_checkpoint(writer, 2002);
  char user[] = "ada";
  append(writer, list(keep(QomLastInput{QOM_LAST_INPUT, 2001 + 4096, user, user}),
                      text_record(QOM_FOOTER_ITEM_APPFMT, 2001 + 4096, "x"),
                      text_record(QOM_FOOTER_ITEM_HOST, 2001 + 4096, "x")));
  const size_t size = close(writer);
  for (const bool finished : {true, false}) {
    if (!finished) truncate(size);
    EXPECT_EQ(records().size(), 8u);  // and the second reader counts the same
    const Reader reader = open();
    QomActivity activity;
    ASSERT_EQ(qom_reader_activity(reader.get(), &activity), 0);
    EXPECT_EQ(numbers({activity.start, activity.width, activity.count}), "2000 2 2049 ");
    const QomActivityStep *steps = activity.steps;
    EXPECT_EQ(numbers({steps[0].bytes, steps[0].area, steps[0].moves}), "444 100 2 ");
    EXPECT_EQ(numbers({steps[1].bytes, steps[1].area}), "0 0 ");
    EXPECT_EQ(numbers({steps[2048].input, steps[2048].apps}), "1 1 ");
    EXPECT_EQ(qom_index_entry_area(entries().data()), 100u);
  }
}

// --- lies --------------------------------------------------------------------------------------

// Eight records with a checkpoint, in parts of three.
Recording small_recording(const std::function<void(qom::Overview *)> &lie = {}) {
  Recording recording(forge::header_payload(), 2);
  for (int i = 0; i < 3; ++i) recording.add(QOM_CURSOR_POSITION, Bytes(4));
  const size_t state = recording.add(QOM_SCREEN_CHANGE, Bytes(4));
  recording.add(QOM_COMPRESSED_IMAGE, forge::geometry(1, 1), 0, 4, qom::codec_zstd);
  recording.add_checkpoint(state, 2);
  for (int i = 0; i < 3; ++i) recording.add(QOM_DEBUG);
  recording.finish_with_overview({{state, 2}}, 3, lie);
  return recording;
}

// Every byte of the overview, the index and the end mark is wrong in turn, and every checksum
// right. Whatever is not seen to be wrong may only be the strip.
TEST_F(OverviewTest, LiesInOneByteAreFoundOutOrHarmless) {
  const Bytes good = small_recording().bytes;
  put(good);
  EXPECT_EQ(records().size(), 8u);
  EXPECT_EQ(info().state, QOM_STATE_FINISHED);
  const size_t head = static_cast<size_t>(entries()[7].position) + qom::frame_head_bytes;
  size_t believed = 0;
  for (size_t at = head; at < good.size(); ++at)
    for (const int mask : {1, 4, 0x80, 0xFF}) {
      SCOPED_TRACE(std::to_string(at) + " ^ " + std::to_string(mask));
      Bytes bytes = good;
      bytes[at] = static_cast<uint8_t>(bytes[at] ^ mask);
      forge::repair(&bytes);
      believed += !same_as_index(bytes);
      ASSERT_FALSE(HasFailure());
    }
  EXPECT_GT(believed, 100u);
}

// What a single byte does not reach.
TEST_F(OverviewTest, LiesThatAgreeWithEachOtherAreFoundOut) {
  using qom::Overview;
  const std::pair<const char *, void (*)(Overview *)> lies[] = {
      {"parts without end", [](Overview *o) { o->head.parts = UINT32_MAX; }},
      {"checkpoints without end", [](Overview *o) { o->head.checkpoints = UINT32_MAX; }},
      {"parts cut elsewhere", [](Overview *o) { ++o->parts[0].entries, --o->parts[1].entries; }},
      {"parts that overlap",
       [](Overview *o) { o->parts[1].record_position = o->parts[0].record_position; }},
      {"a part beyond", [](Overview *o) { o->parts[2].record_position = UINT64_MAX - 64; }},
      {"times without end", [](Overview *o) { o->parts[2].last_time = UINT64_MAX; }},
      {"a checkpoint beyond",
       [](Overview *o) { o->checkpoints[0].first_record = uint64_t{1} << 40; }},
      {"a long checkpoint", [](Overview *o) { o->checkpoints[0].records = UINT32_MAX; }},
      {"a checkpoint in another part",
       [](Overview *o) { ++o->parts[0].checkpoints, --o->parts[1].checkpoints; }},
      {"an image that is none", [](Overview *o) { o->head.first_image = 0; }},
      {"other sums", [](Overview *o) { o->strip.steps[0].bytes = 99; }}};
  index_lies = true;
  for (const auto &[what, lie] : lies) {
    SCOPED_TRACE(what);
    put(small_recording(lie).bytes);
    same_as_index();
    EXPECT_EQ(records().size(), 8u);
    EXPECT_EQ(info().state, QOM_STATE_DAMAGED);
  }
}

}  // namespace
