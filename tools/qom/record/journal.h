// The recording being written: what has been recorded so far, and when it has to be restated.
#ifndef QOM_RECORD_JOURNAL_H
#define QOM_RECORD_JOURNAL_H

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "changes.h"
#include "clock.h"
#include "cursor.h"
#include "disk_sync.h"
#include "film_limits.h"
#include "film_log.h"
#include "gap_watch.h"
#include "picture.h"
#include "qom/writer.h"

namespace qom::record {

// What was asked to be in the header beside the geometry.
struct JournalHeader {
  uint8_t depth;
  PixelFormat pixel_format;
  int width;
  int height;
  uint8_t min_keycode;
  uint8_t max_keycode;
  std::string user;
  std::string tfn;
  FilmLimits film;
};

// Every member that writes throws RecordError when the file cannot be written; the file then
// still opens with what was written before.
class Journal {
 public:
  // Creates the file, which must not exist.
  Journal(const std::string &path, const JournalHeader &header);
  ~Journal();
  Journal(const Journal &) = delete;
  Journal &operator=(const Journal &) = delete;

  // Each of these writes one record when it says something new, and nothing otherwise. Before the
  // first checkpoint they are only remembered: it states them all.
  void footer(QomRecordType item, const std::string &text);
  void last_input(const std::string &user, const std::string &tfn);
  void cursor(const CursorShape &shape, const CursorPlace &place);
  void cursor_place(const CursorPlace &place);
  void changes(const Picture &picture, const Changes &changes);

  // Writes a record that changes nothing, so that the recording shows that it still goes on.
  void sign_of_life();
  // Marks a stretch that was not recorded. Nothing is written when something was recorded since.
  void gap(const Gap &gap);
  // Tells where and when film was held back.
  void film(const FilmStretch &stretch);
  // When the last record was made (steady_time()).
  int64_t recorded() const { return recorded_; }

  // Restates everything: the size and pixels of the picture, the cursor, the texts.
  // In the areas of `lossy` the pixels are stored with losses.
  void checkpoint(const Picture &picture, const std::vector<Rectangle> &lossy = {});

  // Whether replaying the records since the last checkpoint has become so much more work than
  // reading another one that it is time for it.
  bool checkpoint_due() const;

  // Throws RecordError when what was recorded could not be brought to the disk, where it is a
  // second later unless the disk is slower.
  void check_disk() const;

  // Marks the end of the recording at the present time and finishes the file.
  void finish();

 private:
  struct CloseWriter {
    void operator()(QomWriter *writer) const { qom_writer_close(writer); }
  };

  template <class Record>
  void append(Record &record, std::optional<int64_t> time = {});
  void append_footer(QomRecordType item, const std::string &text);
  void append_last_input();
  void append_cursor();
  void append_cursor_place();
  void append_copies(const std::vector<Copy> &copies, int64_t time);
  void append_areas(const Picture &picture, const std::vector<Rectangle> &areas, int64_t time,
                    int quality);
  void append_picture(const Picture &picture, const std::vector<Rectangle> &lossy);
  [[noreturn]] void fail() const;

  std::string path_;
  RecordingClock clock_;
  PixelFormat pixel_format_;
  FilmLimits film_;
  std::unique_ptr<QomWriter, CloseWriter> writer_;
  std::unique_ptr<DiskSync> disk_;

  std::map<QomRecordType, std::string> footer_;
  std::optional<std::pair<std::string, std::string>> last_input_;  // user and tfn
  std::optional<CursorShape> cursor_;
  CursorPlace place_{0, 0};
  std::vector<uint8_t> pixels_;  // of the record being made; kept for its memory

  int64_t recorded_ = 0;               // steady_time() of the last record
  bool begun_ = false;                 // whether there was a checkpoint
  uint64_t checkpoint_bytes_ = 0;      // of the last one, as stored
  bool checkpoint_is_lossy_ = false;   // in parts
  uint64_t pixels_of_checkpoint_ = 0;  // bytes of its pixels
  int64_t checkpoint_time_ = 0;
  uint64_t bytes_since_ = 0;   // of the records after it, as stored
  uint64_t pixels_since_ = 0;  // bytes that replaying them has to move
};

}  // namespace qom::record

#endif
