/*
 * What finding moved parts of a picture costs the recorder: where nothing moved, beside the
 * compression that it cannot avoid, and where something did, beside the compression that it saves.
 */
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "cell_map.h"
#include "desktop_content.h"
#include "move_search.h"
#include "picture.h"
#include "qom/writer.h"
#include "ratio.h"

namespace {

using qom::record::CellMap;
using qom::record::Copy;
using qom::record::fine_height;
using qom::record::fine_width;
using qom::record::Grab;
using qom::record::MoveSearch;
using qom::record::Picture;
using qom::record::Rectangle;

constexpr int width = 1920;
constexpr int height = 1080;

Grab grab_of(bench::Desktop *desktop, const bench::Area &area) {
  /* Grabs begin and end between coarse cells. */
  CellMap drawn(width, height, 64, 16);
  drawn.mark({area.x, area.y, area.width, area.height});
  const Rectangle part = drawn.rectangles(0).front();
  return {part, desktop->data() + (size_t{width} * part.y + part.x) * 4, size_t{width} * 4};
}

/* An old picture and what was drawn into it. */
class Change {
 public:
  Change(bench::Desktop desktop, const std::function<bench::Area(bench::Desktop *)> &draw)
      : old_(width, height, xRGB8888, xRGB8888), desktop_(std::move(desktop)) {
    CellMap changed(width, height, fine_width, fine_height);
    old_.update(grab_of(&desktop_, {0, 0, width, height}), changed);
    grabs_ = {grab_of(&desktop_, draw(&desktop_))};
  }

  std::vector<Copy> find() { return search_.find(old_, grabs_); }

  /* The pixels that are to be recorded after the copies, as blocks. */
  std::vector<uint8_t> left_by(const std::vector<Copy> &copies) const {
    Picture picture = old_;
    for (const Copy &copy : copies) picture.copy(copy);
    CellMap changed(width, height, fine_width, fine_height);
    for (const Grab &grab : grabs_) picture.update(grab, changed);
    std::vector<uint8_t> data;
    for (const Rectangle &area : changed.rectangles(2)) {
      for (const int number : {area.x, area.y, area.width, area.height}) {
        data.push_back(static_cast<uint8_t>(number));
        data.push_back(static_cast<uint8_t>(number >> 8));
      }
      data.resize(data.size() + picture.encoded_size(area));
      picture.encode(area, data.data() + data.size() - picture.encoded_size(area));
    }
    return data;
  }

 private:
  Picture old_;
  bench::Desktop desktop_;
  std::vector<Grab> grabs_;
  MoveSearch search_;
};

void compress(std::vector<uint8_t> *data) {
  if (data->empty()) return;
  const QomImageBlocks blocks = {QOM_IMAGE_BLOCKS, 0, static_cast<uint32_t>(data->size()),
                                 data->data()};
  void *compressed = qom_image_blocks_compress(&blocks);
  if (!compressed) std::abort();
  qom_record_free(compressed);
}

void measure_still(bench::Table *table, const std::string &name, Change *change, double goal,
                   const bench::Options &options) {
  std::vector<uint8_t> all = change->left_by({});
  const double cost = bench::cost([&] { compress(&all); }, [&] { change->find(); }, options);
  table->row({"search for moves in " + name, "compressing the change"}, cost, bench::at_most(goal));
}

void measure_moved(bench::Table *table, const std::string &name, Change *change,
                   const bench::Options &options) {
  const std::vector<Copy> copies = change->find();
  std::vector<uint8_t> all = change->left_by({});
  std::vector<uint8_t> left = change->left_by(copies);
  Picture picture(width, height, xRGB8888, xRGB8888);
  const bench::Work find_and_copy = [&] {
    change->find();
    for (const Copy &copy : copies) picture.copy(copy);
  };
  const std::vector<double> costs =
      bench::costs([&] { compress(&all); }, {find_and_copy, [&] { compress(&left); }}, options);
  table->row({"pixels left of " + name, "all that changed"},
             static_cast<double>(left.size()) / static_cast<double>(all.size()),
             bench::at_most(0.15));
  table->row({"search for moves and copies in " + name, "the compression saved"},
             costs[0] / (1 - costs[1]), bench::at_most(0.5));
}

/* A window of text, as a picture, drawn over another one. */
void put_window(bench::Desktop *desktop, const bench::Desktop &text, int x, int y) {
  constexpr bench::Area window = {20, 0, 768, 452}; /* the first one, with its title */
  for (int row = 0; row < window.height; ++row)
    std::memcpy(desktop->data() + (size_t{width} * (y + row) + x) * 4,
                text.pixels() + size_t{width} * (window.y + row) + window.x,
                size_t{4} * window.width);
}

}  // namespace

int main(int argc, char *argv[]) {
  const bench::Options options =
      bench::options_read(argc, argv, "The recorder's search for moves, 1920x1080 pixels.");
  bench::Table table(options, "moves inside a picture");
  const bench::Desktop text(width, height, 1);
  bench::Desktop photo(width, height, 1);
  photo.film({0, 0, width, height}, 0);

  const bench::Area whole = {0, 0, width, height};
  Change film(photo, [&](bench::Desktop *desktop) {
    desktop->film(whole, 1);
    return whole;
  });
  measure_still(&table, "a film", &film, 0.05, options);
  Change typing(text, [](bench::Desktop *desktop) { return desktop->type(1); });
  measure_still(&table, "a typed line", &typing, 0.05, options);
  Change pages(text, [](bench::Desktop *desktop) { return desktop->scroll(1, 27); });
  measure_still(&table, "another page", &pages, 0.2, options);

  Change scrolling(text, [](bench::Desktop *desktop) { return desktop->scroll(2, 3); });
  measure_moved(&table, "a scrolled page", &scrolling, options);
  bench::Desktop before = photo;
  put_window(&before, text, 300, 200);
  Change dragging(before, [&](bench::Desktop *desktop) {
    *desktop = photo;
    put_window(desktop, text, 337, 221);
    return bench::Area{300, 200, 768 + 37, 452 + 21};
  });
  measure_moved(&table, "a dragged window", &dragging, options);
  return table.close();
}
