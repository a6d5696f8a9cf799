// Writers that are killed, and a disk that is full.
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <random>

#include "fixture.h"

namespace {

class Crash : public RecordingTest {
 protected:
  void expect_positions(size_t count) {
    const auto found = records();
    EXPECT_EQ(found.size(), count);
    for (size_t i = 0; i < found.size(); ++i)
      ASSERT_EQ(found[i], describe(position(1000 + i).get()));
    EXPECT_EQ(info().state, QOM_STATE_UNFINISHED);
  }
};

// Appends without end and tells of each record that was appended.
[[noreturn]] void write_for_ever(const char *path, int told) {
  const QomHeader header = sample_header();
  QomWriter *writer = qom_writer_create(path, &header);
  for (uint64_t i = 0;; ++i) {
    const QomCursorPosition record = {QOM_CURSOR_POSITION, 1000 + i, 0, 0};
    if (qom_writer_append(writer, &record) != 0) _exit(1);
    if (i % 500 == 0 && qom_writer_flush(writer) != 0) _exit(1);
    if (::write(told, "", 1) != 1) _exit(1);
  }
}

TEST_F(Crash, AKilledWriterLosesNothingThatWasAppended) {
  std::minstd_rand random(1);
  for (int round = 0; round < 30; ++round) {
    int told[2];
    ASSERT_EQ(pipe(told), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) write_for_ever(path.c_str(), told[1]);
    ::close(told[1]);
    char bytes[4096];
    size_t appended = 0;
    ssize_t got;
    for (const size_t wanted = 1 + random() % 9000; appended < wanted;
         appended += static_cast<size_t>(got)) {
      got = ::read(told[0], bytes, sizeof bytes);
      ASSERT_GT(got, 0) << "the writer failed";
    }
    ASSERT_EQ(kill(child, SIGKILL), 0);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    while ((got = ::read(told[0], bytes, sizeof bytes)) > 0) appended += static_cast<size_t>(got);
    ::close(told[0]);

    // The last one may be there without having been told of.
    const size_t found = qom_reader_index_length(open().get());
    EXPECT_GE(found, appended);
    EXPECT_LE(found, appended + 1);
    expect_positions(found);
    ASSERT_EQ(unlink(path.c_str()), 0);
  }
}

TEST_F(Crash, AFullDiskIsReportedAndTheFileOpens) {
  if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=128k") != 0)
    GTEST_SKIP() << "only root can make a small disk";
  QomWriter *writer = create();
  size_t accepted = 0;
  while (qom_writer_append(writer, position(1000 + accepted).get()) == 0) ++accepted;
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(qom_writer_flush(writer), -1);
  EXPECT_EQ(qom_writer_close(writer), -1);
  EXPECT_EQ(errno, ENOSPC) << "what happened before";
  EXPECT_GT(accepted, 1000u);
  expect_positions(accepted);
  EXPECT_EQ(umount(folder.c_str()), 0);
}

}  // namespace
