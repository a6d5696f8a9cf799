#include "caption.h"

#include <algorithm>
#include <numeric>

#include "clock.h"

namespace qomtool {
namespace {

constexpr Colour kGround = {0x24, 0x26, 0x2b};
constexpr Colour kText = {0xf2, 0xf2, 0xf2};
constexpr Colour kPaleText = {0xa8, 0xac, 0xb4};
constexpr uint32_t kRowsPerLetter = 54;
constexpr const char *kNothing = "\xe2\x80\x93";

struct Cell {
  QomScreenText text;
  const char *name;
  uint32_t share;  // of the width
};

// As the viewer has them.
constexpr Cell kCells[] = {{QOM_TEXT_APP, "Application", 4}, {QOM_TEXT_APPFMT, "Format", 2},
                           {QOM_TEXT_HOST, "Host", 2},       {QOM_TEXT_IP, "Address", 2},
                           {QOM_TEXT_USER, "Last input", 2}, {QOM_TEXT_TFN, "TFN", 2},
                           {QOM_TEXT_SID, "SID", 2},         {QOM_TEXT_TID, "TID", 2}};

uint32_t letter_size(uint32_t rows) {
  return std::clamp(rows / kRowsPerLetter, 12u, 48u);
}

std::array<std::string, QOM_TEXT_COUNT> texts_of(const QomScreen *screen) {
  std::array<std::string, QOM_TEXT_COUNT> texts;
  for (const Cell &cell : kCells)
    if (const char *text = qom_screen_text(screen, cell.text)) texts[cell.text] = text;
  return texts;
}

// "2026-11-22 21:33:05 +01:00"
std::string clock_text(uint64_t time) {
  std::string exact = exact_time(time);
  const size_t zone = exact.find_last_of("+-");
  const size_t decimals = exact.find('.');
  if (decimals == std::string::npos) return exact;
  std::string text = exact.substr(0, decimals) + ' ' + exact.substr(zone);
  std::replace(text.begin(), text.end(), 'T', ' ');
  return text;
}

void fill(uint32_t top, uint32_t height, RgbImage *film) {
  const RgbImage ground({film->size.width, height}, kGround);
  place(ground, 0, top, film);
}

}  // namespace

Caption::Caption(Wishes wishes, uint32_t rows) : wishes_(wishes) {
  if (!wishes.texts && !wishes.clock) return;
  const uint32_t size = letter_size(rows);
  letters_.emplace(size);
  names_.emplace(std::max(10u, size * 3 / 4));
  gap_ = size / 2;
  height_ = letters_->height() + (wishes.texts ? names_->height() : 0) + gap_;
}

bool Caption::is_outdated(const QomScreen *screen) const {
  return wishes_.texts && (!texts_ || *texts_ != texts_of(screen));
}

bool Caption::draw(const QomScreen *screen, uint64_t time, uint32_t top, RgbImage *film) {
  if (height_ == 0) return false;
  const std::string clock = wishes_.clock ? clock_text(time) : "";
  if (!is_outdated(screen) && clock == clock_) return false;
  texts_ = texts_of(screen);
  clock_ = clock;
  fill(top, height_, film);
  uint32_t width = film->size.width;
  if (wishes_.clock) {
    const uint32_t needed = letters_->width(clock) + gap_;
    width -= std::min(width, needed);
    letters_->draw(clock, static_cast<int32_t>(width),
                   static_cast<int32_t>(top + (height_ - letters_->height()) / 2), kText, film);
  }
  if (wishes_.texts) draw_texts(top, width, film);
  return true;
}

void Caption::draw_texts(uint32_t top, uint32_t width, RgbImage *film) {
  const uint32_t shares =
      std::accumulate(std::begin(kCells), std::end(kCells), 0u,
                      [](uint32_t sum, const Cell &c) { return sum + c.share; });
  const uint32_t room = width - std::min(width, gap_);
  const auto line = static_cast<int32_t>(top + gap_ / 2);
  const auto below = line + static_cast<int32_t>(names_->height());
  uint32_t before = 0;
  for (const Cell &cell : kCells) {
    const uint32_t begin = gap_ + room * before / shares;
    before += cell.share;
    const uint32_t end = gap_ + room * before / shares;
    const uint32_t most = end - begin - std::min(end - begin, gap_);
    const auto left = static_cast<int32_t>(begin);
    const std::string &text = (*texts_)[cell.text];
    names_->draw(names_->shortened(cell.name, most), left, line, kPaleText, film);
    letters_->draw(letters_->shortened(text.empty() ? kNothing : text, most), left, below, kText,
                   film);
  }
}

}  // namespace qomtool
