#include "state_records.h"

#include <new>

#include "qom/writer.h"

namespace qomtool {
namespace {

struct Footer {
  QomScreenText text;
  QomRecordType type;
};

constexpr Footer kFooters[] = {
    {QOM_TEXT_APP, QOM_FOOTER_ITEM_APP},   {QOM_TEXT_APPFMT, QOM_FOOTER_ITEM_APPFMT},
    {QOM_TEXT_HOST, QOM_FOOTER_ITEM_HOST}, {QOM_TEXT_IP, QOM_FOOTER_ITEM_IP},
    {QOM_TEXT_SID, QOM_FOOTER_ITEM_SID},   {QOM_TEXT_TID, QOM_FOOTER_ITEM_TID}};

class Restating {
 public:
  Restating(RawScreen &screen, uint64_t time) : screen_(screen), time_(time) {}

  StateRecords run() {
    state_.is_checkpoint = qom_screen_has_picture(screen_.get()) == 1;
    state_.exact = true;
    if (state_.is_checkpoint) add_picture();
    add_cursor();
    add_texts();
    return std::move(state_);
  }

 private:
  void add(void *record) {
    if (!record) throw std::bad_alloc();
    state_.all.emplace_back(static_cast<QomRecord *>(record));
  }
  template <typename Record>
  void add_copy(const Record &record) {
    add(qom_record_dup(&record));
  }

  void add_picture() {
    const ImagePtr picture = screen_.picture(time_, &state_.exact);
    if (!picture) throw std::bad_alloc();
    add_copy(QomScreenChange{QOM_SCREEN_CHANGE, time_, picture->width, picture->height});
    const std::vector<QomRectangle> lossy = screen_.lossy();
    add(qom_image_compress_marked(picture.get(), lossy.data(), lossy.size()));
  }

  void add_cursor() {
    int32_t x;
    int32_t y;
    const QomCursorImage *cursor = qom_screen_cursor(screen_.get(), &x, &y);
    if (!cursor) return;
    QomCursorImage image = *cursor;
    image.timestamp = time_;
    image.x = static_cast<int16_t>(x + image.xhot);
    image.y = static_cast<int16_t>(y + image.yhot);
    add_copy(image);
  }

  void add_texts() {
    for (const Footer &footer : kFooters) {
      if (const char *text = qom_screen_text(screen_.get(), footer.text))
        add_copy(QomFooterItem{static_cast<uint8_t>(footer.type), time_, const_cast<char *>(text)});
    }
    const char *user = qom_screen_text(screen_.get(), QOM_TEXT_USER);
    const char *tfn = qom_screen_text(screen_.get(), QOM_TEXT_TFN);
    if (user || tfn)
      add_copy(
          QomLastInput{QOM_LAST_INPUT, time_, const_cast<char *>(user), const_cast<char *>(tfn)});
  }

  RawScreen &screen_;
  uint64_t time_;
  StateRecords state_ = {};
};

}  // namespace

StateRecords state_records(RawScreen &screen, uint64_t time) {
  return Restating(screen, time).run();
}

}  // namespace qomtool
