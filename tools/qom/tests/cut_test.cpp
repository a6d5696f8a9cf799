// qom cut: what is shown later, what must be gone, what is told.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "program.h"
#include "session.h"

namespace qomtool {
namespace {

struct Area {
  int x, y, width, height;
  bool holds(int px, int py) const {
    return px >= x && py >= y && px < x + width && py < y + height;
  }
  std::string text() const {
    return std::to_string(width) + 'x' + std::to_string(height) + '+' + std::to_string(x) + '+' +
           std::to_string(y);
  }
};
using Areas = std::vector<Area>;

bool hold(const Areas &areas, int x, int y) {
  return std::any_of(areas.begin(), areas.end(), [=](const Area &a) { return a.holds(x, y); });
}

// Whether the cursor has a pixel in one of the areas, or points into one.
bool is_over(const Areas &areas, const QomCursorImage &cursor, int x, int y) {
  bool over = hold(areas, x + cursor.xhot, y + cursor.yhot);
  for (int row = 0; row < cursor.height; ++row)
    for (int column = 0; column < cursor.width; ++column)
      over = over || hold(areas, x + column, y + row);
  return over;
}

std::vector<Rgb> blackened(std::vector<Rgb> pixels, const Areas &areas, int width) {
  for (size_t i = 0; i < pixels.size(); ++i)
    if (hold(areas, static_cast<int>(i) % width, static_cast<int>(i) / width)) pixels[i] = Rgb{};
  return pixels;
}

class Cut : public ProgramTest {
 protected:
  // A random session with records of every type, checkpoints and gap marks.
  void record(const QomHeader &header, unsigned seed, int count) {
    Session session(header, xRGB8888, seed);
    QomWriter *writer = create(header);
    for (int i = 0; i < count; ++i) {
      const uint64_t time = session.state.time;
      const QomGap gap{time, time + 5, i % 2 ? 7 : 0,
                       static_cast<uint8_t>(i % 2 ? QOM_GAP_CLOCK_SET : QOM_GAP_LATE), 0};
      if (i % 13 == 5) {
        const QomFilmArea film{time - 5, time, 1, 2, 3, 4, 500, 75, 0};
        EXPECT_EQ(qom_writer_gap(writer, &gap), 0);
        EXPECT_EQ(qom_writer_film_area(writer, &film), 0);
      }
      if (i % 31 == 20) {
        EXPECT_EQ(qom_writer_begin_checkpoint(writer), 0);
        append(writer, session.restate());
        EXPECT_EQ(qom_writer_end_checkpoint(writer), 0) << qom_reader_error();
      } else if (i % 17 == 3) {
        append(writer, list(image_blocks(header, time), keep(QomRecord{QOM_DEBUG, time})));
      } else {
        append(writer, list(session.next()));
      }
    }
    close(writer);
  }

  static Texts marks(QomReader *reader, uint64_t begin, uint64_t end) {
    Texts all;
    size_t count = 0;
    const QomGap *gaps = qom_reader_gaps(reader, &count);
    for (size_t i = 0; i < count; ++i)
      if (gaps[i].end > begin && gaps[i].begin < end)
        all.push_back(std::to_string(gaps[i].begin) + ' ' + std::to_string(gaps[i].reason));
    const QomFilmArea *film = qom_reader_film_areas(reader, &count);
    for (size_t i = 0; i < count; ++i)
      if (film[i].end > begin && film[i].begin < end)
        all.push_back(std::to_string(std::max(film[i].begin, begin)) + " film " +
                      std::to_string(std::min(film[i].end, end)));
    return all;
  }

  // Each picture of the cut is that of the original, but for the areas.
  void compare(QomReader *original, QomReader *cut, uint64_t end, const Areas &areas) {
    const Screen before(qom_screen_open(original, nullptr));
    const Screen after(qom_screen_open(cut, nullptr));
    const uint64_t begin = qom_info_header(cut)->timestamp;
    std::set<uint64_t> times = {begin, end};
    const QomIndexEntry *entries = qom_reader_index(original);
    for (size_t i = 0; i < qom_reader_index_length(original); ++i)
      if (entries[i].timestamp >= begin && entries[i].timestamp <= end)
        times.insert(entries[i].timestamp);
    for (const uint64_t time : times) {
      ASSERT_EQ(qom_screen_go_to_time(before.get(), time), QOM_SCREEN_REACHED);
      ASSERT_EQ(qom_screen_go_to_time(after.get(), time), QOM_SCREEN_REACHED);
      QomPicture picture;
      ASSERT_EQ(qom_screen_picture(before.get(), 0, &picture), 0);
      int x, y;
      const QomCursorImage *cursor = qom_screen_cursor(before.get(), &x, &y);
      const bool hidden = cursor && is_over(areas, *cursor, x, y);
      for (const bool with_cursor : {false, true})
        ASSERT_EQ(picture_of(after.get(), with_cursor),
                  blackened(picture_of(before.get(), with_cursor && !hidden), areas, picture.width))
            << time;
      ASSERT_EQ(qom_screen_has_picture(after.get()), qom_screen_has_picture(before.get()));
      for (int i = 0; i < QOM_TEXT_COUNT; ++i)
        ASSERT_EQ(text_of(after.get(), i), text_of(before.get(), i));
    }
  }

  nlohmann::json info_of(const std::string &name) {
    return nlohmann::json::parse(qom({"info", "--json", file(name)}).out);
  }
};

TEST_F(Cut, LaterMomentsAreThoseOfTheOriginal) {
  std::vector<RgbValue> palette(256);
  for (size_t i = 0; i < palette.size(); ++i)
    palette[i] = {static_cast<uint16_t>(i * 77 + 30), static_cast<uint16_t>(i * 991), 7, 0};
  palette[99] = {};
  unsigned seed = 0;
  for (const PixelFormat format : {PALETTE8, RGB332, RGB565, BGR565, xRGB8888, BGRx8888})
    for (int round = 0; round < 6; ++round) {
      QomHeader header = sample_header(format, static_cast<uint8_t>(8 << seed % 3));
      if (format == PALETTE8) header.palette = palette.data();
      header.palette_size = format == PALETTE8 ? 256 : 0;
      Random random(++seed);
      record(header, seed, 150);
      const Reader original = open();
      const std::vector<QomIndexEntry> all = entries();
      const auto records = static_cast<unsigned>(all.size());
      const size_t from = round == 0 ? 0 : pick(random, records);
      const size_t to = from + pick(random, records - static_cast<unsigned>(from));
      Areas areas;
      Texts command = {"cut", path, file("cut"), "--force", "--to", "#" + std::to_string(to)};
      if (round > 0) command.insert(command.end(), {"--from", "#" + std::to_string(from)});
      for (int i = 0; i < round % 3; ++i) {
        areas.push_back({static_cast<int>(pick(random, 40)), static_cast<int>(pick(random, 30)),
                         1 + static_cast<int>(pick(random, 20)),
                         1 + static_cast<int>(pick(random, 20))});
        command.insert(command.end(), {"--mask", areas.back().text()});
      }
      std::string words = pixel_format_string(format);
      for (const std::string &word : command) words += ' ' + word;
      SCOPED_TRACE(words);
      const Outcome outcome = qom(command);
      ASSERT_EQ(outcome.status, 0) << outcome.err;
      ASSERT_TRUE(outcome.err.empty() || contains(outcome.err, "reaches to the mask"));
      ASSERT_TRUE(contains(qom({"verify", file("cut")}).out, ": good, finished"));

      const Reader cut(qom_reader_open(file("cut").c_str()));
      const uint64_t begin = round == 0 ? header.timestamp : all[from].timestamp;
      ASSERT_EQ(qom_info_header(cut.get())->timestamp, begin);
      compare(original.get(), cut.get(), all[to].timestamp, areas);
      // Behind what the cut begins with come the records of the original, one by one.
      size_t place = round == 0 ? 0 : from;
      while (round > 0 && place < records && all[place].timestamp == begin) ++place;
      const size_t end = qom_index_at_time(original.get(), all[to].timestamp + 1);
      const size_t stop = all[end].timestamp > all[to].timestamp ? end : end + 1;
      const size_t restated = qom_reader_index_length(cut.get()) - (stop - place);
      for (size_t i = place; areas.empty() && i < stop; ++i) {
        const Record ours(qom_record_at_index(cut.get(), restated + i - place));
        const Record theirs(qom_record_at_index(original.get(), i));
        ASSERT_EQ(describe(ours.get()), describe(theirs.get()));
      }
      for (size_t i = place; i < stop; ++i) {
        size_t first = SIZE_MAX, last = 0, cut_first, cut_last;
        if (!qom_checkpoint_before(original.get(), i, &first, &last) || first != i || last > stop)
          continue;
        ASSERT_EQ(qom_checkpoint_before(cut.get(), restated + i - place, &cut_first, &cut_last), 1);
        ASSERT_EQ(cut_first, restated + i - place);
        ASSERT_EQ(cut_last - cut_first, last - first);
      }
      ASSERT_EQ(marks(cut.get(), begin, all[to].timestamp),
                marks(original.get(), begin, all[to].timestamp));
    }
}

// Pixels in an area, and whatever else could hold them, have bytes that occur nowhere else.
class Marked {
 public:
  static constexpr uint8_t secret = 0xA5;

  Marked(const QomHeader &header, const Area &area, unsigned seed)
      : header_(header), area_(area), random_(seed) {}

  Record next(uint64_t time) {
    const int x = static_cast<int>(pick(random_, 60)) - 10;
    const int y = static_cast<int>(pick(random_, 50)) - 10;
    switch (pick(random_, 6)) {
      case 0:
        return rectangle(time, 0, 0, header_.width, header_.height);
      case 1:
        return compressed(rectangle(time, 0, 0, header_.width, header_.height));
      case 2:
        return compressed(blocks(time));
      case 3:
        return blocks(time);
      case 4:
        return cursor(time, x, y);
      default:
        return rectangle(time, x, y, side(), side());
    }
  }

 private:
  int side() { return 1 + static_cast<int>(pick(random_, 25)); }
  uint8_t harmless() { return static_cast<uint8_t>(pick(random_, 128)); }

  Bytes pixels(int x, int y, int width, int height) {
    const size_t pixel = pixel_format_bytes_per_pixel(header_.pixel_format);
    const size_t stride = stride_in_bytes(static_cast<uint32_t>(width),
                                          static_cast<uint8_t>(pixel * 8), header_.scanline_pad);
    Bytes bytes(stride * static_cast<size_t>(height), secret);
    for (int row = 0; row < height; ++row)
      for (int column = 0; column < width; ++column)
        for (size_t i = 0; i < pixel && !area_.holds(x + column, y + row); ++i)
          bytes[static_cast<size_t>(row) * stride + static_cast<size_t>(column) * pixel + i] =
              harmless();
    return bytes;
  }
  Record rectangle(uint64_t time, int x, int y, int width, int height) {
    Bytes data = pixels(x, y, width, height);
    return keep(QomImage{QOM_IMAGE, time, static_cast<uint16_t>(width),
                         static_cast<uint16_t>(height), static_cast<int16_t>(x),
                         static_cast<int16_t>(y), header_.pixel_format, header_.scanline_pad,
                         static_cast<uint32_t>(data.size() / static_cast<size_t>(height)),
                         static_cast<uint32_t>(data.size()), data.data()});
  }
  Record blocks(uint64_t time) {
    Bytes data;
    for (unsigned count = 1 + pick(random_, 4); count > 0; --count) {
      const auto x = static_cast<int16_t>(pick(random_, 50));
      const auto y = static_cast<int16_t>(pick(random_, 50));
      const int width = side(), height = side();
      for (const int value : {+x, +y, width, height})
        forge::append(&data, static_cast<uint16_t>(value));
      forge::append(&data, pixels(x, y, width, height));
    }
    return keep(
        QomImageBlocks{QOM_IMAGE_BLOCKS, time, static_cast<uint32_t>(data.size()), data.data()});
  }
  Record cursor(uint64_t time, int x, int y) {
    QomCursorImage image{QOM_CURSOR_IMAGE,
                         time,
                         6,
                         6,
                         static_cast<int16_t>(x),
                         static_cast<int16_t>(y),
                         2,
                         6,
                         0,
                         144,
                         nullptr};
    const bool over = is_over({area_}, image, x - 2, y - 6);
    Bytes data(144, secret);
    for (uint8_t &byte : data) byte = over ? secret : harmless();
    image.cursor_serial = over ? 0xA5A5A5A5 : 0;
    image.data = data.data();
    return keep(image);
  }

  QomHeader header_;
  Area area_;
  Random random_;
};

// Bytes of a record that come from pixels, as a reader gets them.
Bytes pixels_of(const Record &record) {
  const Record plain = is_compressed(record) ? uncompressed(record) : Record();
  const Record &shown = plain ? plain : record;
  const auto bytes = [](const auto &r) { return Bytes(r.data, r.data + r.length); };
  if (shown->type == QOM_IMAGE) return bytes(::as<QomImage>(shown));
  if (shown->type == QOM_CURSOR_IMAGE) return bytes(::as<QomCursorImage>(shown));
  return shown->type == QOM_IMAGE_BLOCKS ? bytes(::as<QomImageBlocks>(shown)) : Bytes();
}

TEST_F(Cut, NothingOfAMaskedAreaIsLeft) {
  unsigned seed = 0;
  for (const PixelFormat format : {PALETTE8, RGB332, BGR565, RGBx8888, xRGB8888, ARGB8888})
    for (const uint8_t pad : std::initializer_list<uint8_t>{0, 16, 32}) {
      SCOPED_TRACE(std::string(pixel_format_string(format)) + " padded to " + std::to_string(pad));
      const Area area = {5 + static_cast<int>(++seed), 9, 17, 11};
      const QomHeader header = sample_header(format, pad);
      Marked marked(header, area, seed);
      std::vector<Record> session;
      for (uint64_t time = 2000; time < 2080; ++time) session.push_back(marked.next(time));
      write(header, session);
      const std::string run(4, static_cast<char>(Marked::secret));
      ASSERT_TRUE(contains(read_file(path), run));
      Texts command = {"cut", path, file("cut"), "--force", "--mask", area.text()};
      if (format != ARGB8888 && seed % 2) command.insert(command.end(), {"--from", "#40"});
      const Outcome outcome = qom(command);
      ASSERT_EQ(outcome.status, 0) << outcome.err;
      EXPECT_FALSE(contains(read_file(file("cut")), run));
      const Reader cut(qom_reader_open(file("cut").c_str()));
      size_t cursors = 0;
      for (size_t i = 0; i < qom_reader_index_length(cut.get()); ++i) {
        const Record record(qom_record_at_index(cut.get(), i));
        ASSERT_TRUE(record);
        const Bytes bytes = pixels_of(record);
        ASSERT_EQ(std::count(bytes.begin(), bytes.end(), Marked::secret), 0)
            << describe(record.get());
        if (record->type != QOM_CURSOR_IMAGE) continue;
        ++cursors;
        const auto &cursor = ::as<QomCursorImage>(record);
        EXPECT_FALSE(area.holds(cursor.x, cursor.y));
        EXPECT_NE(cursor.cursor_serial, 0xA5A5A5A5);
      }
      EXPECT_GT(cursors, 0u);
    }
}

TEST_F(Cut, ACursorThatLeavesAMaskHasItsShapeAgain) {
  make("r",
       "qom-text 1\nscreen 40x30\nformat xRGB8888\ncompressed-image +1 40x30 0,0 random 1\n"
       "cursor-position +1 12,12\ncursor-image +1 2x2 1,1 hot 0,0 serial 8 fill ff112233\n"
       "cursor-position +1 12,12\ncursor-position +1 13,13\n"
       "cursor-image +1 2x2 14,14 hot 0,0 serial 9 fill ff445566\ncursor-position +1 5,5\n"
       "cursor-position +1 6,6\n");
  ASSERT_EQ(qom({"cut", file("r"), file("cut"), "--mask", "20x20+10+10"}).status, 0);
  const std::string dump = qom({"dump", "--text", file("cut")}).out;
  std::vector<std::string> lines;
  std::istringstream all(dump);
  for (std::string line; std::getline(all, line);)
    if (line.starts_with("cursor-")) lines.push_back(line.substr(0, line.find(" serial")));
  EXPECT_EQ(lines,
            (Texts{"cursor-position +1 -32768,-32768", "cursor-image +1 2x2 1,1 hot 0,0",
                   "cursor-image +1 1x1 -32768,-32768 hot 0,0", "cursor-position +1 -32768,-32768",
                   "cursor-image +1 1x1 -32768,-32768 hot 0,0", "cursor-image +1 2x2 5,5 hot 0,0",
                   "cursor-position +1 6,6"}))
      << dump;
}

TEST_F(Cut, LastsAsLongAsWasAsked) {
  make("r",
       "qom-text 1\nscreen 8x8\nformat RGB332\ncompressed-image +1 8x8 0,0 fill 03\n"
       "cursor-position +4 3,3\ndone +9\n");
  for (const auto &[from, to, length, records] : {std::tuple{"0", "6.5", 6'500'000, 4},
                                                  {"5", "6.5", 1'500'000, 3},
                                                  {"0", "4", 4'000'000, 3},
                                                  {"2", "2", 0, 2}}) {
    const Outcome made =
        qom({"cut", file("r"), file("cut"), "--force", "--from", from, "--to", to});
    ASSERT_EQ(made.status, 0) << made.err;
    const auto info = info_of("cut");
    EXPECT_EQ(info["duration_us"], length);
    EXPECT_EQ(info["records"]["count"], records);
    EXPECT_EQ(qom({"verify", file("cut")}).status, 0);
  }
}

TEST_F(Cut, SaysWhatItWasCutOutOf) {
  record(sample_header(), 3, 100);
  ASSERT_EQ(qom({"cut", path, file("one"), "--from", "#20", "--mask", "8x4+1+2"}).status, 0);
  ASSERT_EQ(qom({"cut", file("one"), file("two"), "--to", "#60", "--mask", "3x3+0+0", "--mask",
                 "1x1+9+9"})
                .status,
            0);
  const Outcome beside =
      qom({"cut", path, file("beside"), "--mask", "9x9+0+60000", "--mask", "1x1+0+0"});
  EXPECT_EQ(beside.status, 0);
  EXPECT_TRUE(contains(beside.err, "no screen of the stretch reaches to the mask 9x9+0+60000\n"));
  EXPECT_FALSE(contains(beside.err, "1x1+0+0"));
  ASSERT_EQ(qom({"repair", file("two"), file("three")}).status, 0);
  const auto origins = info_of("three")["cut_out_of"];
  ASSERT_EQ(origins.size(), 2u);
  EXPECT_EQ(origins, info_of("two")["cut_out_of"]);
  const std::string name = std::filesystem::path(path).filename();
  EXPECT_EQ(origins[0]["file"], name);
  EXPECT_EQ(origins[0]["masks"], nlohmann::json({"8x4+1+2"}));
  EXPECT_EQ(origins[0]["begin_us"], entries()[20].timestamp);
  EXPECT_EQ(origins[1]["start_us"], entries()[20].timestamp);
  EXPECT_EQ(origins[1]["masks"], nlohmann::json({"3x3+0+0", "1x1+9+9"}));
  for (const auto &[i, original] : {std::pair<size_t, std::string>{0, path}, {1, file("one")}}) {
    Process sum({"sha256sum", original});
    EXPECT_EQ(sum.wait(), 0);
    EXPECT_EQ(origins[i]["sha256"], sum.output().substr(0, 64));
    EXPECT_EQ(origins[i]["file_bytes"], std::filesystem::file_size(original));
  }
  const std::string table = qom({"info", file("two")}).out;
  EXPECT_TRUE(contains(table, "\nand that of   ")) << table;
  EXPECT_TRUE(contains(table, "masked: 8x4+1+2\n")) << table;
  ASSERT_EQ(qom({"cut", path, file("four"), "--no-hash"}).status, 0);
  EXPECT_TRUE(info_of("four")["cut_out_of"][0]["sha256"].is_null());
}

TEST_F(Cut, WhatCannotBeReadIsToldAndMarked) {
  record(sample_header(), 5, 120);
  const std::vector<QomIndexEntry> all = entries();
  // Of these blocks nothing is restated by the next records.
  const auto is_good = [](const QomIndexEntry &entry) {
    const QomIndexEntry *next = &entry + 1;
    while (next->timestamp <= (&entry)[2].timestamp && next->type != QOM_SCREEN_CHANGE &&
           next->type != QOM_IMAGE && next->type != QOM_COMPRESSED_IMAGE)
      ++next;
    return entry.type == QOM_COMPRESSED_IMAGE_BLOCKS && next > &entry + 2 &&
           next->timestamp > (&entry)[2].timestamp;
  };
  const auto found = std::find_if(all.begin() + 40, all.end() - 20, is_good);
  const std::string number = std::to_string(found - all.begin());
  const Bytes sound = contents();
  for (const size_t at : {size_t{33}, size_t{3}}) {  // in the payload; in the head
    Bytes bytes = sound;
    bytes[static_cast<size_t>(found->position) + at] ^= 1;
    if (at == 3) bytes.resize(bytes.size() - 64);  // then the index comes from the frames
    put(bytes);
    const Outcome outcome = qom({"cut", path, file("cut"), "--force", "--from", "#10"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(contains(outcome.err, "left out: ")) << outcome.err;
    EXPECT_EQ(contains(outcome.err, "record #" + number), at == 33) << outcome.err;
    const auto info = info_of("cut");
    EXPECT_EQ(info["cut_out_of"][0]["lost_places"], 1);
    EXPECT_EQ(info["cut_out_of"][0]["sure_at_begin"], true);
    const auto damaged = [](const nlohmann::json &gap) { return gap["reason"] == "damaged"; };
    EXPECT_EQ(std::count_if(info["not_recorded"].begin(), info["not_recorded"].end(), damaged), 1);
    // Directly behind the damage nothing restates the picture.
    const size_t behind = static_cast<size_t>(found - all.begin()) + 1;
    const Outcome later =
        qom({"cut", path, file("cut"), "--force", "--from", "#" + std::to_string(behind)});
    EXPECT_TRUE(contains(later.err, "damaged before --from")) << later.err;
    EXPECT_EQ(info_of("cut")["cut_out_of"][0]["sure_at_begin"], false);
  }
}

TEST_F(Cut, WhatCannotBeCutLeavesNothing) {
  record(sample_header(), 6, 60);
  make("empty", "qom-text 1\nscreen 8x8\nformat RGB332\n");
  make("still", "qom-text 1\nscreen 8x8\nformat RGB332\nfooter-item-app +1 \"a\"\ndebug +1\n");
  write_file(file("there"), "kept");
  const std::string out = file("out");
  const struct {
    Texts arguments;
    int status;
    const char *said;
  } wrong[] = {{{path, out, "--from", "#40", "--to", "#9"}, 1, "is behind --to"},
               {{path, out, "--from", "99"}, 1, "is behind the end"},
               {{path, out, "--from", "#999"}, 1, "there is no record #999, the last one is #"},
               {{file("empty"), out}, 1, "holds no records"},
               {{file("still"), out, "--to", "1970-01-01 00:00:00"}, 1, "behind --to"},
               {{path, file("there")}, 1, "exists already"},
               {{path, path, "--force"}, 1, "the recording itself"},
               {{path, file("no/where")}, 1, "No such file"},
               {{path, out, "--mask", "0x4+1+1"}, 2, "is not an area"},
               {{path, out, "--mask", "4x4+1"}, 2, "is not an area"},
               {{path, out, "--mask", "4x4+65533+1"}, 2, "may reach to 65536 at the right"},
               {{file("there"), out}, 3, "not a recording"}};
  const auto count = [this] {
    return std::distance(std::filesystem::directory_iterator(folder), {});
  };
  qom({"--version"});
  const auto files = count();
  for (const auto &[arguments, status, said] : wrong) {
    Texts command = arguments;
    command.insert(command.begin(), "cut");
    const Outcome outcome = qom(command);
    EXPECT_EQ(outcome.status, status) << outcome.err;
    EXPECT_TRUE(contains(outcome.err, said)) << outcome.err;
  }
  const Outcome full = qom({"cut", path, out}, "", 5000);
  EXPECT_EQ(full.status, 1);
  EXPECT_TRUE(contains(full.err, "File too large; nothing is left")) << full.err;
  EXPECT_EQ(count(), files);
  EXPECT_EQ(read_file(file("there")), "kept");
  // Without a picture there is no checkpoint, but everything else.
  const Outcome still = qom({"cut", file("still"), out, "--from", "#0"});
  ASSERT_EQ(still.status, 0);
  EXPECT_TRUE(contains(still.err, "nothing was on the screen yet")) << still.err;
  EXPECT_TRUE(contains(qom({"verify", out}).out, "2 records, 0 checkpoints"));
}

}  // namespace
}  // namespace qomtool
