// qom cut: a stretch of a recording as a recording of its own, without areas of its screen.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

#include "arguments.h"
#include "clock.h"
#include "commands.h"
#include "copying.h"
#include "counted.h"
#include "file_hash.h"
#include "moment.h"
#include "options.h"
#include "origins.h"
#include "output_file.h"
#include "progress.h"
#include "records.h"
#include "state_records.h"
#include "stretch.h"
#include "text/quote.h"

namespace {

using namespace qomtool;

struct Options : TakeoutOptions {
  std::vector<std::string> masks;
  bool no_hash = false;
};

struct CloseWriter {
  void operator()(QomWriter *writer) const { qom_writer_close(writer); }
};
using WriterPtr = std::unique_ptr<QomWriter, CloseWriter>;

std::vector<QomRectangle> areas_of(const Options &options) {
  std::vector<QomRectangle> areas;
  for (const std::string &text : options.masks) areas.push_back(*parse_mask(text));
  return areas;
}

// What the screen is at the begin of a stretch.
struct Beginning {
  StateRecords state = {{}, false, true};
  bool trusted = true;
  uint16_t width = 0;  // of the screen, pixels
  uint16_t height = 0;
};

Beginning beginning_of(const Recording &recording, const CutStretch &stretch) {
  Beginning beginning;
  beginning.width = recording.header->width;
  beginning.height = recording.header->height;
  if (stretch.first == 0) return beginning;
  RawScreen screen(recording.reader.get());
  QomPicture picture;
  if (!screen.is_open() || qom_screen_go(screen.get(), stretch.first) != QOM_SCREEN_REACHED ||
      qom_screen_picture(screen.get(), 0, &picture) != 0)
    throw CutError("at " + describe_time(recording, stretch.begin) + ": " + qom_reader_error());
  beginning.state = state_records(screen, stretch.begin);
  beginning.trusted = qom_screen_is_trusted(screen.get()) == 1;
  beginning.width = picture.width;
  beginning.height = picture.height;
  return beginning;
}

std::string last_part(const std::string &path) {
  return path.substr(path.rfind('/') + 1);  // npos + 1 is 0
}

// One run of `qom cut`. Everything it throws leaves no file behind.
class Cut {
 public:
  Cut(const Options &options, const Recording &recording)
      : options_(options),
        recording_(recording),
        stretch_(choose_stretch(recording, options.from, options.to)),
        masks_(areas_of(options), *recording.header),
        output_(options.out, options.file,
                options.force ? OutputFile::Existing::replaced : OutputFile::Existing::refused),
        progress_("cutting", bytes() + (options.no_hash ? 0 : recording.info.file_size),
                  Progress::Unit::bytes) {}

  void run();

 private:
  uint64_t bytes() const;
  WriterPtr create(const Beginning &beginning) const;
  void write_origins(QomWriter *writer, const Copying &copying);
  QomOrigin origin(const Copying &copying);
  void wait_for_hash();
  void report(const Copying &copying) const;
  void tell_masks_beside(uint16_t width, uint16_t height);
  void warn(const std::string &what) {
    progress_.clear();
    complain(options_.file, what);
  }

  const Options &options_;
  const Recording &recording_;
  const CutStretch stretch_;
  const Masks masks_;
  OutputFile output_;
  Progress progress_;
  std::optional<FileHash> hash_;
  std::string name_;
};

void Cut::run() {
  if (!options_.no_hash) hash_.emplace(options_.file, recording_.info.file_size);
  Beginning beginning = beginning_of(recording_, stretch_);
  if (!beginning.state.exact)
    warn("its palette has no black: the darkest colour stands for what was never drawn");
  if (!has_picture(recording_, stretch_))
    warn("nothing was on the screen yet: the new recording has no picture");
  tell_masks_beside(beginning.width, beginning.height);
  WriterPtr writer = create(beginning);
  const auto tell = [this](uint64_t done) { progress_.update(done + (hash_ ? hash_->done() : 0)); };
  Copying copying(options_.file, recording_, stretch_, masks_, writer.get(), tell, progress_);
  if (!stretch_.whole_start)
    copying.begin_with(std::move(beginning.state.all), beginning.state.is_checkpoint,
                       beginning.trusted);
  copying.copy();
  write_origins(writer.get(), copying);
  if (qom_writer_close(writer.release()) != 0) throw WriteError(qom_reader_error());
  output_.keep();
  progress_.clear();
  report(copying);
}

// Who mistook a place must not believe it masked. The size is that of the screen at the begin.
void Cut::tell_masks_beside(uint16_t width, uint16_t height) {
  if (masks_.areas().empty()) return;
  for (size_t i = stretch_.first; i < stretch_.stop; ++i) {
    if (recording_.index[i].type != QOM_SCREEN_CHANGE) continue;
    const RecordPtr record(qom_record_at_index(recording_.reader.get(), i));
    if (!record) continue;
    width = std::max(width, as<QomScreenChange>(record.get()).width);
    height = std::max(height, as<QomScreenChange>(record.get()).height);
  }
  for (const QomRectangle &mask : masks_.areas())
    if (mask.x >= width || mask.y >= height)
      warn("no screen of the stretch reaches to the mask " + mask_text(mask));
}

uint64_t Cut::bytes() const {
  if (stretch_.first == stretch_.stop) return 1;
  const QomIndexEntry &last = recording_.index[stretch_.stop - 1];
  return static_cast<uint64_t>(last.position - recording_.index[stretch_.first].position) +
         last.length;
}

WriterPtr Cut::create(const Beginning &beginning) const {
  QomHeader header = *recording_.header;
  if (!stretch_.whole_start) header.timestamp = stretch_.begin;
  header.width = beginning.width;
  header.height = beginning.height;
  WriterPtr writer(qom_writer_create(output_.path().c_str(), &header));
  if (!writer) throw WriteError(qom_reader_error());
  qom_writer_flush_apart(writer.get());  // a file that is not whole is worth nothing on the disk
  return writer;
}

void Cut::write_origins(QomWriter *writer, const Copying &copying) {
  size_t count = 0;
  const QomOrigin *earlier = qom_reader_origins(recording_.reader.get(), &count);
  for (size_t i = 0; i < count; ++i)
    if (qom_writer_origin(writer, &earlier[i]) != 0) throw WriteError(qom_reader_error());
  const QomOrigin own = origin(copying);
  if (qom_writer_origin(writer, &own) != 0) throw WriteError(qom_reader_error());
}

QomOrigin Cut::origin(const Copying &copying) {
  QomOrigin origin{};
  origin.begin = stretch_.begin;
  origin.end = stretch_.end;
  origin.start = recording_.header->timestamp;
  origin.size = recording_.info.file_size;
  origin.lost = copying.lost();
  origin.untrusted = copying.is_untrusted();
  name_ = last_part(options_.file);
  origin.name = name_.data();
  origin.mask_count = masks_.areas().size();
  origin.masks = const_cast<QomRectangle *>(masks_.areas().data());
  if (!hash_) return origin;
  wait_for_hash();
  std::string why;
  if (const auto value = hash_->value(&why)) {
    origin.has_sha256 = 1;
    std::memcpy(origin.sha256, value->data(), value->size());
  } else {
    warn("its SHA-256 will be missing: " + why);
  }
  return origin;
}

void Cut::wait_for_hash() {
  while (!hash_->wait_a_moment()) progress_.update(bytes() + hash_->done());
}

void Cut::report(const Copying &copying) const {
  std::printf("%s: %s, %s, from %s to %s\n", quoted_name(options_.out).c_str(),
              counted(copying.written(), "record").c_str(),
              counted(copying.checkpoints(), "checkpoint").c_str(),
              describe_time(recording_, stretch_.begin).c_str(),
              describe_time(recording_, stretch_.end).c_str());
}

int cut(const Options &options) {
  if (options.utc) use_utc();
  const Recording recording = open_recording(options.file);
  if (!recording) return kUnreadable;
  try {
    Cut(options, recording).run();
    return kGood;
  } catch (const CutError &error) {
    complain(options.file, error.what());
  } catch (const NoSuchRecord &error) {
    complain(options.file, error.what());
  } catch (const WriteError &error) {
    complain(options.out, std::string(error.what()) + "; nothing is left of it");
  } catch (const OutputError &error) {
    complain(error.what());
  }
  return kFailed;
}

}  // namespace

void add_cut_command(CLI::App &app, int &status) {
  const auto options = std::make_shared<Options>();
  Subcommand command(
      app, "cut", "Writes a stretch of a recording as a new one, and without areas of its screen");
  add_takeout_options(command, options.get(), "the new recording", check_recording_name);
  command.options(
      "--mask", "WxH+X+Y", &options->masks,
      "make this area of the screen black for good, and hide the cursor over it; may be "
      "given again",
      check_mask);
  command.flag("--no-hash", &options->no_hash,
               "do not read all of FILE for its SHA-256, which \"qom info\" tells of OUT");
  command.does(status, [options] {
    if (options->masks.size() > QOM_MAX_MASKS)
      throw UsageError("at most " + std::to_string(QOM_MAX_MASKS) + " masks");
    return cut(*options);
  });
}
