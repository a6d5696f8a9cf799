// Every write, sync, read and allocation fails once: no crash, no leak, every loss reported.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <thread>

#include "faults.h"
#include "fixture.h"

namespace {

using faults::Call;

class Fault : public RecordingTest {
 protected:
  Fault() : written_(every_record(sample_header())) {
    for (int i = 0; i < 3; ++i) written_.push_back(position(written_.back()->timestamp));
  }

  struct Outcome {
    size_t accepted = 0;    // records before the first failure
    bool reported = false;  // some call failed
  };
  // Writes everything. After a call that failed all others have to fail, with the same errno.
  Outcome write_all(int error) {
    const QomHeader header = sample_header();
    Outcome outcome;
    const auto expect = [&outcome, error](int result) {
      if (result != 0) {
        EXPECT_EQ(errno, error);
        EXPECT_STRNE(qom_reader_error(), "");
      }
      EXPECT_TRUE(result != 0 || !outcome.reported) << "goes on after a failure";
      outcome.reported = result != 0;
      errno = 0;
    };
    QomWriter *writer = qom_writer_create(path.c_str(), &header);
    if (!writer) {
      expect(-1);
      EXPECT_FALSE(std::filesystem::exists(path)) << "a file that could not be begun is left";
      return outcome;
    }
    for (const Record &record : written_) {
      if (record == written_[5]) expect(qom_writer_flush(writer));
      expect(qom_writer_append(writer, record.get()));
      if (!outcome.reported) ++outcome.accepted;
    }
    expect(qom_writer_close(writer));
    return outcome;
  }

  // Reads everything. Returns whether nothing failed; what fails must say so, and what does not
  // must be what was written.
  bool read_all(int error, const std::vector<std::string> &expected) {
    const auto reported = [error] {
      EXPECT_EQ(errno, error);
      EXPECT_STRNE(qom_reader_error(), "");
      return false;
    };
    errno = 0;
    const Reader reader(qom_reader_open(path.c_str()));
    if (!reader || !qom_reader_index(reader.get())) return reported();
    bool good = true;
    for (size_t i = 0; i < qom_reader_index_length(reader.get()); ++i) {
      errno = 0;
      const Record record(qom_record_at_index(reader.get(), i));
      good = record ? good : reported();
      EXPECT_TRUE(!record || describe(record.get()) == expected[i]) << i;
    }
    errno = 0;
    if (qom_reader_scan(
            reader.get(), [](void *, const QomScanEvent *) { return 0; }, nullptr) != 0)
      good = reported();
    return good;
  }

  std::vector<Record> written_;
};

TEST_F(Fault, EveryFailingWriteAndSyncIsReportedAndLosesNothingBefore) {
  const auto texts = describe_all(written_);
  const size_t files = faults::open_files();
  for (const auto &[call, error] : {std::pair{Call::write, ENOSPC}, {Call::sync, EIO}}) {
    bool failed = true;
    for (size_t n = 1; failed; ++n) {
      std::filesystem::remove(path);
      faults::fail(call, n, error);
      const Outcome outcome = write_all(error);
      failed = faults::clear();
      ASSERT_LT(n, 100u);
      EXPECT_EQ(outcome.reported, failed) << n;
      EXPECT_EQ(faults::open_files(), files);
      if (!std::filesystem::exists(path)) continue;
      // A record whose sync failed is not accepted and may be there all the same.
      const auto found = records();
      ASSERT_GE(found.size(), outcome.accepted);
      ASSERT_LE(found.size(), texts.size());
      EXPECT_TRUE(std::equal(found.begin(), found.end(), texts.begin())) << n;
    }
  }
}

TEST_F(Fault, EveryFailingReadIsReported) {
  write(sample_header(), written_);
  const auto texts = describe_all(written_);
  const size_t files = faults::open_files();
  for (const bool finished : {true, false}) {
    if (!finished) truncate(contents().size() - 1);
    bool failed = true;
    for (size_t n = 1; failed; ++n) {
      faults::fail(Call::read, n, EIO);
      const bool good = read_all(EIO, texts);
      failed = faults::clear();
      ASSERT_LT(n, 200u);
      EXPECT_EQ(good, !failed) << n;
      EXPECT_EQ(faults::open_files(), files);
    }
  }
}

TEST_F(Fault, ShortAndInterruptedCallsAreContinued) {
  for (const size_t bytes : {1, 7, 33}) {
    std::filesystem::remove(path);
    faults::trickle(bytes);
    write(sample_header(), written_);
    EXPECT_EQ(records(), describe_all(written_));
    EXPECT_EQ(info().state, QOM_STATE_FINISHED);
    truncate(contents().size() - 1);
    EXPECT_EQ(records(), describe_all(written_));
    faults::clear();
  }
}

#ifndef __SANITIZE_ADDRESS__
// Runs the work with its n-th allocation failing for n = 1, 2, ... until it gets through. Each
// try has a thread of its own, so that what the library keeps for a thread is made anew.
void fail_every_allocation(const std::function<bool()> &work) {
  bool failed = true;
  for (size_t n = 1; failed; ++n) {
    ASSERT_LT(n, 200u);
    const size_t before = faults::allocated();
    bool good = false;
    std::thread([&] {
      faults::fail(Call::allocation, n, ENOMEM);
      good = work();
      failed = faults::clear();
    }).join();
    EXPECT_TRUE(good || failed) << n;  // some memory is a matter of speed alone
    if (n > 1) {
      EXPECT_EQ(faults::allocated(), before) << n;
    }
  }
}

TEST_F(Fault, EveryFailingAllocationOfAWriterIsReportedAndLeaksNothing) {
  const QomHeader header = sample_header();
  const Record plain = image(header, 1, 40, 40);
  const Record blocks = image_blocks(header, 1);
  fail_every_allocation([&] {
    unlink(path.c_str());
    size_t accepted = 0;
    QomWriter *writer = qom_writer_create(path.c_str(), &header);
    for (const Record &record : written_)
      if (writer && qom_writer_append(writer, record.get()) == 0) ++accepted;
    // A record that finds no memory is refused; the others and the index are written.
    const bool closed = writer && qom_writer_close(writer) == 0;
    EXPECT_TRUE(closed || !writer);
    return closed && accepted == written_.size() && compressed(plain) && compressed(blocks);
  });
  EXPECT_EQ(records(), describe_all(written_));
}

TEST_F(Fault, EveryFailingAllocationOfAReaderIsReportedAndLeaksNothing) {
  write(sample_header(), written_);
  for (const bool finished : {true, false}) {
    if (!finished) truncate(contents().size() - 1);
    fail_every_allocation([&] {
      const Reader reader(qom_reader_open(path.c_str()));
      bool good = reader && qom_reader_index(reader.get());
      for (size_t i = 0; good && i < written_.size(); ++i) {
        const Record record(qom_record_at_index(reader.get(), i));
        const Record copy(record ? qom_record_dup(record.get()) : nullptr);
        const bool packed = record && (record->type == QOM_COMPRESSED_IMAGE ||
                                       record->type == QOM_COMPRESSED_IMAGE_BLOCKS);
        good = copy && (!packed || uncompressed(record));
      }
      if (!good) {
        EXPECT_EQ(errno, ENOMEM);
      }
      return good;
    });
  }
}

TEST_F(Fault, NoMemoryIsTakenForPixelsThatAreNotThere) {
  const Record small = compressed(image(sample_header(RGB565), 1, 4, 4));
  auto &lie = as<QomCompressedImage>(small);
  const Record blocks = keep(QomCompressedImageBlocks{QOM_COMPRESSED_IMAGE_BLOCKS, 1, QOM_MAX_DATA,
                                                      lie.compressed_length, lie.data});
  lie.width = QOM_MAX_SIDE;
  lie.height = 8192;
  lie.length = QOM_MAX_DATA;
  faults::clear();
  EXPECT_FALSE(uncompressed(small));
  EXPECT_FALSE(uncompressed(blocks));
  EXPECT_LT(faults::largest_allocation(), size_t{1} << 20);
}
#endif

}  // namespace
