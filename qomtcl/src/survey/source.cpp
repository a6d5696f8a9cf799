#include "survey/source.h"

namespace {

int pause_asked(void *context) noexcept {
  return static_cast<const Source *>(context)->is_cancelled() ? 1 : 0;
}

}  // namespace

Source::~Source() {
  close();
}

QomReader *Source::reader() {
  if (!reader_) reader_ = qom_reader_open(path_.c_str());
  return reader_;
}

QomScreen *Source::screen() {
  if (screen_ || !reader()) return screen_;
  QomScreenOptions options{};
  options.pause = pause_asked;
  options.context = this;
  screen_ = qom_screen_open(reader_, &options);
  return screen_;
}

void Source::close() {
  if (screen_) qom_screen_close(screen_);
  if (reader_) (void)qom_reader_close(reader_);
  screen_ = nullptr;
  reader_ = nullptr;
}
