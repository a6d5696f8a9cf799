#include "disk_sync.h"

namespace qom::record {

DiskSync::DiskSync(QomWriter *writer) : writer_(writer) {
  qom_writer_flush_apart(writer);
  thread_ = std::thread([this] { run(); });
}

DiskSync::~DiskSync() {
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void DiskSync::written() {
  {
    const std::lock_guard lock(mutex_);
    if (written_) return;
    written_ = true;
  }
  changed_.notify_one();
}

std::string DiskSync::failure() {
  const std::lock_guard lock(mutex_);
  return failure_;
}

void DiskSync::run() {
  std::unique_lock lock(mutex_);
  while (failure_.empty()) {
    changed_.wait(lock, [this] { return written_ || stopped_; });
    changed_.wait_for(lock, std::chrono::seconds(1), [this] { return stopped_; });
    if (stopped_) return;
    written_ = false;
    lock.unlock();
    const bool failed = qom_writer_flush(writer_) != 0;
    lock.lock();
    if (failed) failure_ = qom_reader_error();
  }
}

}  // namespace qom::record
