#include "survey/happenings.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>

#include "handles.h"

namespace {

constexpr size_t kBatch = 500; /* happenings that a script gets at once */

template <typename Typed>
const Typed *as(const QomRecord *record) {
  return reinterpret_cast<const Typed *>(record);
}

int stop_asked(void *context, uint64_t) noexcept {
  return static_cast<const Source *>(context)->is_cancelled() ? 1 : 0;
}

/* What records of a type tell; null for those that tell nothing here. */
const char *kind_of(uint8_t type) {
  switch (type) {
    case QOM_FOOTER_ITEM_APP:
      return "app";
    case QOM_FOOTER_ITEM_HOST:
      return "host";
    case QOM_FOOTER_ITEM_IP:
      return "ip";
    case QOM_LAST_INPUT:
      return "user";
    case QOM_SCREEN_CHANGE:
      return "size";
    default:
      return nullptr;
  }
}

std::string size_text(int width, int height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

std::string text_of(const QomRecord *record) {
  if (record->type == QOM_SCREEN_CHANGE) {
    const auto *change = as<QomScreenChange>(record);
    return size_text(change->width, change->height);
  }
  const char *text = record->type == QOM_LAST_INPUT ? as<QomLastInput>(record)->user
                                                    : as<QomFooterItem>(record)->item;
  return text ? text : "";
}

/* Keeps of each kind what differs from the last. */
class Teller {
 public:
  /* The size is that of the header at first, and the texts are empty. */
  Teller(const QomHeader *header, std::vector<Happening> *found) : found_(found) {
    last_["size"] = size_text(header->width, header->height);
  }

  void tell(uint64_t time, const char *kind, const std::string &text) {
    std::string &last = last_[kind];
    if (last == text) return;
    last = text;
    found_->push_back({time, kind, text});
  }

 private:
  std::map<std::string, std::string> last_; /* by kind */
  std::vector<Happening> *found_;
};

void texts_find(Source &source, QomReader *reader, std::vector<Happening> *found) {
  const QomIndexEntry *entries = qom_reader_index(reader);
  const size_t length = entries ? qom_reader_index_length(reader) : 0;
  Teller teller(qom_info_header(reader), found);
  for (size_t i = 0; i < length && !source.is_cancelled(); ++i) {
    const char *kind = kind_of(entries[i].type);
    if (!kind) continue;
    const RecordHandle<QomRecord> record(qom_record_at_index(reader, i));
    if (record) teller.tell(entries[i].timestamp, kind, text_of(record.get()));
  }
}

Tcl_Obj *text_object(const std::string &text) {
  return Tcl_NewStringObj(text.c_str(), static_cast<int>(text.size()));
}

Tcl_Obj *happening_list(const Happening &happening) {
  Tcl_Obj *list = Tcl_NewListObj(0, nullptr);
  Tcl_ListObjAppendElement(nullptr, list,
                           Tcl_NewWideIntObj(static_cast<Tcl_WideInt>(happening.time)));
  Tcl_ListObjAppendElement(nullptr, list, Tcl_NewStringObj(happening.kind, -1));
  Tcl_ListObjAppendElement(nullptr, list, text_object(happening.text));
  return list;
}

Tcl_Obj *happenings_list(const std::vector<Happening> &all, size_t first, size_t last) {
  Tcl_Obj *list = Tcl_NewListObj(0, nullptr);
  for (size_t i = first; i < std::min(last, all.size()); ++i)
    Tcl_ListObjAppendElement(nullptr, list, happening_list(all[i]));
  return list;
}

}  // namespace

std::vector<Happening> happenings_find(Source &source) {
  std::vector<Happening> found;
  QomReader *reader = source.reader();
  if (!reader) return found;
  texts_find(source, reader, &found);
  return found;
}

bool untrusted_find(Source &source, std::vector<QomStretch> *stretches) {
  QomReader *reader = source.reader();
  QomStretch *found = nullptr;
  size_t count = 0;
  if (!reader || qom_screen_untrusted(reader, stop_asked, &source, &found, &count) != 0)
    return false;
  const std::unique_ptr<QomStretch, void (*)(void *)> owned(found, free);
  const size_t length = qom_reader_index_length(reader);
  const QomIndexEntry *entries = qom_reader_index(reader);
  const uint64_t last = length > 0 && entries ? entries[length - 1].timestamp : 0;
  for (size_t i = 0; i < count; ++i)
    stretches->push_back({found[i].begin, std::max(found[i].begin, std::min(found[i].end, last))});
  return true;
}

Tcl_Obj *stretches_list(const std::vector<QomStretch> &stretches) {
  Tcl_Obj *list = Tcl_NewListObj(0, nullptr);
  for (const QomStretch &stretch : stretches)
    for (const uint64_t time : {stretch.begin, stretch.end})
      Tcl_ListObjAppendElement(nullptr, list, Tcl_NewWideIntObj(static_cast<Tcl_WideInt>(time)));
  return list;
}

void HappeningsTask::deliver(QomView *view, bool done) {
  if (!done) return;
  if (!script_) return Tcl_SetObjResult(view->interp, happenings_list(found_, 0, found_.size()));
  for (size_t i = 0; i < found_.size(); i += kBatch) {
    script_.call(view, {Tcl_NewStringObj("batch", -1), happenings_list(found_, i, i + kBatch)});
    if (!view->tkwin) return;
  }
  script_.call(view, {Tcl_NewStringObj("done", -1)});
}

void UntrustedTask::deliver(QomView *view, bool done) {
  if (!done) return;
  if (!script_) return Tcl_SetObjResult(view->interp, stretches_list(found_));
  script_.call(view, {stretches_list(found_)});
}
