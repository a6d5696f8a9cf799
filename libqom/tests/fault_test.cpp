// Every write, sync, read and allocation fails once: no crash, no leak, every loss reported.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <thread>

#include "faults.h"
#include "fixture.h"

namespace {

using faults::Call;

class Fault : public RecordingTest {
 protected:
  Fault() : written_(every_record(sample_header())), texts_(describe_all(written_)) {}

  // Runs the work with its n-th call of the kind failing for n = 1, 2, ... until it gets through;
  // it tells whether nothing failed. Each try has a thread of its own, so that what the library
  // keeps for a thread is made anew.
  static void fail_every(
      Call call, int error, const std::function<bool()> &work,
      const std::function<void()> &check = [] {}) {
    bool failed = true;
    for (size_t n = 1; failed; ++n) {
      ASSERT_LT(n, 200u);
      const size_t files = faults::open_files();
      const size_t blocks = faults::allocated();
      bool good = false;
      std::thread([&] {
        faults::fail(call, n, error);
        good = work();
        failed = faults::clear();
      }).join();
      // Some memory is a matter of speed alone.
      EXPECT_TRUE(good != failed || (good && call == Call::allocation)) << n;
      EXPECT_TRUE(faults::allocated() == blocks || n == 1) << n;
      EXPECT_EQ(faults::open_files(), files) << n;
      check();
    }
  }

  // Whether a call of the library succeeded; if not, it has to say why.
  static bool succeeds(bool result, int error) {
    EXPECT_TRUE(result || (errno == error && *qom_reader_error() != 0)) << strerror(errno);
    errno = 0;
    return result;
  }

  // Writes everything. After a call that failed all others have to fail, with the same errno.
  bool write_all(int error) {
    const QomHeader header = sample_header();
    accepted_ = 0;
    std::filesystem::remove(path);
    QomWriter *writer = qom_writer_create(path.c_str(), &header);
    if (!succeeds(writer, error)) {
      EXPECT_FALSE(std::filesystem::exists(path)) << "a file that could not be begun is left";
      return false;
    }
    bool good = true;
    const auto expect = [&](int result) {
      const bool before = good;
      good = succeeds(result == 0, error);
      EXPECT_TRUE(before || !good) << "goes on after a failure";
    };
    for (const Record &record : written_) {
      if (record == written_[5]) expect(qom_writer_flush(writer));
      expect(qom_writer_append(writer, record.get()));
      accepted_ += good;
    }
    expect(qom_writer_close(writer));
    return good;
  }

  // Reads everything, with the whole index or by the overview. What does not fail must be what was
  // written.
  bool read_all(int error, bool whole) {
    errno = 0;
    const Reader reader(qom_reader_open(path.c_str()));
    if (!succeeds(reader && (whole ? qom_reader_index(reader.get()) != nullptr
                                   : qom_reader_index_length(reader.get()) > 0),
                  error))
      return false;
    bool good = true;
    for (size_t i = 0; i < qom_reader_index_length(reader.get()); ++i) {
      const Record record(qom_record_at_index(reader.get(), i));
      good = succeeds(record != nullptr, error) && good;
      EXPECT_TRUE(!record || describe(record.get()) == texts_[i]) << i;
    }
    const auto visit = [](void *, const QomScanEvent *) { return 0; };
    return succeeds(qom_reader_scan(reader.get(), visit, nullptr) == 0, error) && good;
  }

  std::vector<Record> written_;
  Texts texts_;
  size_t accepted_ = 0;  // records before the first failure
};

TEST_F(Fault, EveryFailingWriteAndSyncIsReportedAndLosesNothingBefore) {
  std::vector<size_t> accepted;  // before each call that failed
  const auto check = [&] {
    accepted.push_back(std::filesystem::exists(path) ? accepted_ : SIZE_MAX);
    if (!std::filesystem::exists(path)) return;
    // A record whose sync failed is not accepted and may be there all the same.
    const Texts found = records();
    ASSERT_GE(found.size(), accepted_);
    ASSERT_LE(found.size(), texts_.size());
    EXPECT_TRUE(std::equal(found.begin(), found.end(), texts_.begin()));
  };
  fail_every(
      Call::write, ENOSPC, [this] { return write_all(ENOSPC); }, check);
  accepted.clear();
  fail_every(
      Call::sync, EIO, [this] { return write_all(EIO); }, check);
  const size_t all = written_.size();
  EXPECT_EQ(accepted, (std::vector<size_t>{SIZE_MAX, 5, 5, all, all}))
      << "begin, with the folder, flush and close sync";
}

TEST_F(Fault, EveryFailingReadIsReported) {
  for (const bool finished : {true, false}) {
    write(sample_header(), written_, finished);
    for (const bool whole : {true, false})
      fail_every(Call::read, EIO, [this, whole] { return read_all(EIO, whole); });
  }
  put(Bytes(1) + contents());  // a copy of the head has to be looked for
  fail_every(Call::read, EIO, [this] { return read_all(EIO, true); });
}

TEST_F(Fault, ShortAndInterruptedCallsAreContinued) {
  for (const bool finished : {true, false}) {
    faults::trickle(7);
    write(sample_header(), written_, finished);
    EXPECT_EQ(records(), texts_);
    EXPECT_EQ(info().state, finished ? QOM_STATE_FINISHED : QOM_STATE_UNFINISHED);
    faults::clear();
  }
}

// --- memory ------------------------------------------------------------------------------------

#ifndef __SANITIZE_ADDRESS__
// Whether blocks become lossy ones, and those pixels.
bool lossy_comes_back(const QomImageBlocks &blocks) {
  const Record packed(
      reinterpret_cast<QomRecord *>(qom_image_blocks_compress_lossy(&blocks, xRGB8888, 75)));
  return !qom_can_compress_lossy() || (packed && uncompressed_in_parts(packed, 5000));
}

TEST_F(Fault, EveryFailingAllocationIsReportedAndLeaksNothing) {
  const QomHeader header = sample_header();
  const Record plain = image(header, 1, 40, 40);
  const Record blocks = image_blocks(header, 1);
  Bytes square(8 + size_t{4} * 64 * 64);
  square[4] = square[6] = 64;
  const QomImageBlocks film = {QOM_IMAGE_BLOCKS, 1, static_cast<uint32_t>(square.size()),
                               square.data()};
  fail_every(Call::allocation, ENOMEM, [&] {
    unlink(path.c_str());
    size_t accepted = 0;
    QomWriter *writer = qom_writer_create(path.c_str(), &header);
    for (const Record &record : written_)
      if (writer && qom_writer_append(writer, record.get()) == 0) ++accepted;
    // A record that finds no memory is refused; the others and the index are written.
    const bool closed = writer && qom_writer_close(writer) == 0;
    EXPECT_TRUE(closed || !writer);
    return closed && accepted == written_.size() && compressed(plain) && compressed(blocks) &&
           lossy_comes_back(film);
  });
  EXPECT_EQ(records(), texts_);
  for (const bool finished : {true, false}) {
    write(header, written_, finished);
    fail_every(Call::allocation, ENOMEM, [this] {
      const Reader reader(qom_reader_open(path.c_str()));
      QomActivity activity;
      bool good = reader && qom_reader_activity(reader.get(), &activity) == 0 &&
                  qom_reader_index(reader.get());
      for (size_t i = 0; good && i < written_.size(); ++i) {
        const Record record(qom_record_at_index(reader.get(), i));
        const Record copy(record ? qom_record_dup(record.get()) : nullptr);
        good = copy && (!is_compressed(record) ||
                        (uncompressed(record) && uncompressed_in_parts(record, 1)));
      }
      return succeeds(good, ENOMEM);
    });
  }
}

TEST_F(Fault, NoMemoryIsTakenForPixelsThatAreNotThere) {
  forge::Recording recording;
  const Bytes cursor = {0, 4, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0};
  const Bytes few = {0x28, 0xB5, 0x2F, 0xFD, 0x20, 0x04, 0x21, 0, 0, 1, 2, 3, 4};  // states 4 bytes
  const Bytes cut = {0x28, 0xB5, 0x2F, 0xFD, 0xA0, 0, 0, 0x40, 0, 0x21, 0, 0, 1};  // and has one
  for (const Bytes &stored : {few, cut})
    recording.add(QOM_CURSOR_IMAGE, cursor + stored, 0,
                  QOM_MAX_CURSOR_SIDE * QOM_MAX_CURSOR_SIDE * 4, qom::codec_zstd);
  put(recording.bytes);
  const Reader reader = open();
  EXPECT_EQ(qom_reader_index_length(reader.get()), 2u);
  faults::clear();
  for (const size_t i : {0, 1}) EXPECT_FALSE(qom_record_at_index(reader.get(), i));
  for (const PixelFormat format : {RGB565, xRGB8888}) {  // plain, and packed
    const Record lie = compressed(image(sample_header(format), 1, 4, 4));
    auto &image = as<QomCompressedImage>(lie);
    image.width = QOM_MAX_SIDE;
    image.height = format == RGB565 ? 8192 : 4096;
    image.length = QOM_MAX_DATA;
    EXPECT_FALSE(uncompressed(lie));
    EXPECT_FALSE(uncompressed(keep(QomCompressedImageBlocks{
        QOM_COMPRESSED_IMAGE_BLOCKS, 1, QOM_MAX_DATA, image.compressed_length, image.data})));
  }
  EXPECT_LT(faults::largest_allocation(), size_t{1} << 20);
}
#endif

}  // namespace
