// Brings a recording to the disk beside its making.
#ifndef QOM_RECORD_DISK_SYNC_H
#define QOM_RECORD_DISK_SYNC_H

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "qom/writer.h"

namespace qom::record {

// A thread flushes the writer a second after something was written. A disk that takes longer delays
// the next flush and nothing else.
class DiskSync {
 public:
  // The writer outlives the object; until then nobody else flushes or closes it.
  explicit DiskSync(QomWriter *writer);
  // Waits for a flush that is under way; what was written since is left to the writer's close.
  ~DiskSync();
  DiskSync(const DiskSync &) = delete;
  DiskSync &operator=(const DiskSync &) = delete;

  // Something was written.
  void written();

  // Why a flush failed, in words; empty while none did. The writer is of no use then.
  std::string failure();

 private:
  void run();

  QomWriter *writer_;
  std::mutex mutex_;  // of what follows
  std::condition_variable changed_;
  bool written_ = false;
  bool stopped_ = false;
  std::string failure_;
  std::thread thread_;
};

}  // namespace qom::record

#endif
