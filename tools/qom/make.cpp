#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "commands.h"
#include "file_mode.h"
#include "progress.h"
#include "qom/writer.h"
#include "recording.h"
#include "subcommand.h"
#include "text/parser.h"
#include "text/quote.h"

namespace {

using namespace qomtool;

struct Options {
  std::string text;
  std::string out;
};

struct CloseFile {
  void operator()(std::FILE *file) const {
    if (file != stdin) (void)std::fclose(file);  // only read
  }
};
using FilePtr = std::unique_ptr<std::FILE, CloseFile>;

// The output file until it is whole; one that is not kept is removed.
class Output {
 public:
  Output(const std::string &path, const QomHeader &header)
      : path_(path), writer_(qom_writer_create(path.c_str(), &header)), exists_(writer_) {}
  ~Output() {
    if (writer_) qom_writer_close(writer_);
    if (exists_) unlink(path_.c_str());
  }
  Output(const Output &) = delete;
  Output &operator=(const Output &) = delete;

  QomWriter *writer() { return writer_; }

  bool finish() {
    const bool whole = qom_writer_close(writer_) == 0;
    writer_ = nullptr;
    if (whole) exists_ = false;
    return whole;
  }

 private:
  std::string path_;
  QomWriter *writer_;
  bool exists_;  // and must go
};

FilePtr open_text(const std::string &path) {
  if (path == "-") return FilePtr(stdin);
  FilePtr file(std::fopen(path.c_str(), "re"));
  if (!file) complain(path, std::strerror(errno));
  return file;
}

uint64_t size_of(std::FILE *file) {
  struct stat state;
  if (fstat(fileno(file), &state) != 0 || !S_ISREG(state.st_mode)) return 0;
  return static_cast<uint64_t>(state.st_size);
}

int apply(QomWriter *writer, TextParser::Item item, const TextParser &parser) {
  switch (item) {
    case TextParser::Item::checkpoint_begin:
      return qom_writer_begin_checkpoint(writer);
    case TextParser::Item::checkpoint_end:
      return qom_writer_end_checkpoint(writer);
    case TextParser::Item::gap:
      return qom_writer_gap(writer, &parser.gap());
    case TextParser::Item::film_area:
      return qom_writer_film_area(writer, &parser.film_area());
    default:
      return qom_writer_append(writer, parser.record());
  }
}

// Writes every record of the text. False when a write failed, which concerns the output; what the
// writer refuses is the text's fault and thrown.
bool write_records(TextParser &parser, QomWriter *writer, Progress &progress) {
  bool checkpoint = false;
  TextParser::Item item;
  while ((item = parser.next()) != TextParser::Item::end) {
    if (apply(writer, item, parser) != 0) {
      if (errno == EINVAL) throw TextError(parser.line(), qom_reader_error());
      return false;
    }
    if (item == TextParser::Item::checkpoint_begin) checkpoint = true;
    if (item == TextParser::Item::checkpoint_end) checkpoint = false;
    progress.update(parser.bytes_read());
  }
  if (checkpoint) throw TextError(parser.line(), "the text ends inside of a checkpoint");
  return true;
}

int make_from(std::FILE *text, const std::string &out) {
  TextParser parser(text);
  Progress progress("making", size_of(text), Progress::Unit::bytes);
  create_no_wider_than(text);
  Output output(out, parser.header());
  if (!output.writer()) {
    if (errno == EINVAL) throw TextError(parser.header_line(), qom_reader_error());
    complain(out, qom_reader_error());
    return kFailed;
  }
  if (write_records(parser, output.writer(), progress) && output.finish()) return kGood;
  progress.clear();
  complain(out, std::string(qom_reader_error()) + "; the file is not kept");
  return kFailed;
}

int make(const Options &options) {
  const FilePtr text = open_text(options.text);
  if (!text) return kUnreadable;
  const std::string name = options.text == "-" ? "standard input" : quoted_name(options.text);
  try {
    return make_from(text.get(), options.out);
  } catch (const TextError &error) {
    if (error.line() == 0) {
      complain(name + ": " + error.what());
      return kUnreadable;
    }
    std::fprintf(stderr, "%s:%lu: %s\n", name.c_str(), error.line(),
                 printable(error.what()).c_str());
    return kFailed;
  }
}

}  // namespace

void add_make_command(CLI::App &app, int &status) {
  const auto options = std::make_shared<Options>();
  Subcommand command(app, "make", "Makes a recording from its text form");
  command.file("TEXT", &options->text, "the text; - for standard input");
  command.recording("OUT", &options->out, "the recording, which must not exist yet");
  command.does(status, [options] { return make(*options); });
}
