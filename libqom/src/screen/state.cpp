#include "screen/state.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/error.h"
#include "pixels/lossy_form.h"

namespace qom {
namespace {

// Rows of pixels, long ones counted by their length, between two looks at the pause.
constexpr size_t rows_per_look = 1 << 16;
constexpr size_t pixels_of_row = 64;

// Bytes of pixels that are uncompressed between two looks.
constexpr size_t bytes_per_look = size_t{4} << 20;

template <typename Typed>
const Typed *as(const QomRecord *record) {
  return reinterpret_cast<const Typed *>(record);
}

Applied applied(bool done) {
  return done ? Applied::whole : Applied::failed;
}

bool out_of_memory(const char *what) {
  errno = ENOMEM;
  set_error("out of memory for %s", what);
  return false;
}

}  // namespace

int go_on(QomUncompression *uncompression, RecordPtr<QomRecord> *pixels) {
  QomRecord *made = nullptr;
  const int result = qom_uncompression_go_on(uncompression, bytes_per_look, &made);
  pixels->reset(made);
  return result;
}

bool Shared::hold(const void *data, size_t size) {
  SharedBytes *held = shared_bytes_hold(data, size, bytes_);
  if (!held) return out_of_memory("a text or a cursor");
  shared_bytes_release(bytes_);
  bytes_ = held;
  return true;
}

bool State::setup(const QomHeader *header, const QomScreenOptions &options) {
  header_ = header;
  draw_ = options.draw;
  context_ = options.context;
  palette_ = options.palette;
  if (!palette_) {
    qom_palette_pixels(header, options.pixel_format, own_palette_);
    palette_ = own_palette_;
  }
  canvas.setup(options.pixel_format, options.canvas);
  if (!canvas.fits(header->width, header->height))
    return QOM_REFUSE(false, "a screen of %ux%u pixels is too large", header->width,
                      header->height);
  if (!canvas.resize(header->width, header->height)) return false;
  touch();
  return true;
}

bool State::reset() {
  leave_record();
  waiting_width_ = 0;
  if (!canvas.resize(header_->width, header_->height)) return false;
  canvas.blank();
  attributes = Attributes();
  has_picture_ = false;
  touch();
  return true;
}

bool State::become(uint16_t width, uint16_t height) {
  leave_record();
  waiting_width_ = 0;
  if (!canvas.resize(width, height)) return false;
  touch();
  return true;
}

void State::touch() {
  damage.clear();
  damage.add({0, 0, canvas.picture().width, canvas.picture().height});
}

void State::leave_record() {
  offered_.reset();
  uncompression_.reset();
  blocks_.reset();
  offset_ = 0;
}

Applied State::apply(const QomRecord *record, bool more_sizes, const Pause &pause) {
  switch (record->type) {
    case QOM_IMAGE:
      draw(as<QomImage>(record));
      return Applied::whole;
    case QOM_COMPRESSED_IMAGE:
      return draw_compressed(record, pause);
    case QOM_COMPRESSED_IMAGE_BLOCKS:
      return draw_compressed_blocks(record, pause);
    case QOM_COPY_AREA:
      copy(as<QomCopyArea>(record));
      return Applied::whole;
    case QOM_CURSOR_IMAGE:
      return applied(set_cursor(as<QomCursorImage>(record)));
    case QOM_CURSOR_POSITION:
      move_cursor(as<QomCursorPosition>(record)->x, as<QomCursorPosition>(record)->y);
      return Applied::whole;
    case QOM_SCREEN_CHANGE:
      return applied(change_size(as<QomScreenChange>(record), more_sizes));
    case QOM_LAST_INPUT:
      return applied(set_text(QOM_TEXT_USER, as<QomLastInput>(record)->user) &&
                     set_text(QOM_TEXT_TFN, as<QomLastInput>(record)->tfn));
    case QOM_FOOTER_ITEM_APP:
      return applied(set_text(QOM_TEXT_APP, as<QomFooterItem>(record)->item));
    case QOM_FOOTER_ITEM_APPFMT:
      return applied(set_text(QOM_TEXT_APPFMT, as<QomFooterItem>(record)->item));
    case QOM_FOOTER_ITEM_HOST:
      return applied(set_text(QOM_TEXT_HOST, as<QomFooterItem>(record)->item));
    case QOM_FOOTER_ITEM_IP:
      return applied(set_text(QOM_TEXT_IP, as<QomFooterItem>(record)->item));
    case QOM_FOOTER_ITEM_SID:
      return applied(set_text(QOM_TEXT_SID, as<QomFooterItem>(record)->item));
    case QOM_FOOTER_ITEM_TID:
      return applied(set_text(QOM_TEXT_TID, as<QomFooterItem>(record)->item));
    default:
      return Applied::whole;  // uncompressed blocks and what says nothing about the screen
  }
}

void State::draw(const QomImage *image) {
  if (draw_)
    draw_(context_, image, &canvas.picture());
  else
    qom_picture_merge(&canvas.picture(), image, header_->pixel_format, header_->scanline_pad,
                      palette_);
  const QomRectangle clip = qom_picture_clip(&canvas.picture(), image);
  damage.add(clip);
  attributes.lossy.remove(clip);
  has_picture_ = has_picture_ || !is_empty(clip);
}

// All of them together are no more pixels than one image may have: no pause is needed.
void State::copy(const QomCopyArea *area) {
  for (uint32_t i = 0; i < area->count; ++i) {
    const QomCopy &copy = area->copies[i];
    const QomRectangle target = qom_picture_copy(&canvas.picture(), &copy);
    damage.add(target);
    attributes.lossy.copy({target.x - copy.to_x + copy.x, target.y - copy.to_y + copy.y,
                           target.width, target.height},
                          target.x, target.y);
  }
}

// Marks what a record of compressed pixels has drawn, also where it could be drawn in part alone.
void State::mark(const QomRecord *compressed) {
  LossyForm form;
  int32_t x;
  int32_t y;
  if (!lossy_form_of(compressed, &form, &x, &y)) return;
  const QomPicture &picture = canvas.picture();
  for (size_t i = 0; i < form.count(); ++i) {
    const BlockHead place = form.part(i).place;
    attributes.lossy.add(common_part({x + place.x, y + place.y, place.width, place.height},
                                     {0, 0, picture.width, picture.height}));
  }
}

// A few kilobytes may hold a second's work.
Applied State::uncompress(const QomRecord *compressed, const Pause &pause,
                          RecordPtr<QomRecord> *pixels) {
  if (!uncompression_) uncompression_.reset(qom_uncompression_begin(compressed));
  if (!uncompression_) return Applied::failed;
  for (;;) {
    const int result = go_on(uncompression_.get(), pixels);
    if (result == 0 && pause.is_due()) return Applied::paused;
    if (result == 0) continue;
    uncompression_.reset();
    return applied(result > 0);
  }
}

Applied State::draw_compressed(const QomRecord *compressed, const Pause &pause) {
  RecordPtr<QomRecord> image = std::move(offered_);
  const Applied result = image ? Applied::whole : uncompress(compressed, pause, &image);
  if (result != Applied::whole) return result;
  draw(as<QomImage>(image.get()));
  mark(compressed);
  return result;
}

Applied State::draw_compressed_blocks(const QomRecord *compressed, const Pause &pause) {
  if (!blocks_) {
    RecordPtr<QomRecord> blocks;
    const Applied result = uncompress(compressed, pause, &blocks);
    if (result != Applied::whole) return result;
    blocks_.reset(reinterpret_cast<QomImageBlocks *>(blocks.release()));
  }
  const Applied result = draw_blocks(pause);
  mark(compressed);
  return result;
}

Applied State::draw_blocks(const Pause &pause) {
  size_t rows = 0;  // since the last look
  QomImage block;
  for (;;) {
    const int found = qom_image_blocks_next(blocks_.get(), header_, &offset_, &block);
    if (found <= 0) {
      leave_record();
      return applied(found == 0);
    }
    draw(&block);
    rows += block.height + size_t{block.width} * block.height / pixels_of_row;
    if (rows < rows_per_look || offset_ == blocks_->length) continue;
    rows = 0;
    if (pause.is_due()) return Applied::paused;
  }
}

// A storm of changes costs no more than its last one: what each leaves of the picture is known
// without touching the pixels.
bool State::change_size(const QomScreenChange *change, bool more_sizes) {
  const uint16_t width = change->width;
  const uint16_t height = change->height;
  if (!canvas.fits(width, height))
    return settle() && QOM_REFUSE(false, "a screen size of %ux%u pixels", width, height);
  const QomPicture &picture = canvas.picture();
  if (waiting_width_ == 0) {
    if (width == picture.width && height == picture.height) return true;
    left_width_ = picture.width;
    left_height_ = picture.height;
  }
  left_width_ = std::min(left_width_, width);
  left_height_ = std::min(left_height_, height);
  waiting_width_ = width;
  waiting_height_ = height;
  return more_sizes || settle();
}

bool State::settle() {
  if (waiting_width_ == 0) return true;
  const uint16_t width = waiting_width_;
  const uint16_t height = waiting_height_;
  waiting_width_ = 0;
  attributes.lossy.clip(left_width_, left_height_);
  const bool resized = canvas.resize(left_width_, left_height_) && canvas.resize(width, height);
  touch();
  return resized;
}

bool State::set_cursor(const QomCursorImage *image) {
  Cursor &cursor = attributes.cursor;
  if (!cursor.pixels.hold(image->data, image->length)) return false;
  cursor.image = *image;
  cursor.image.data =
      reinterpret_cast<uint8_t *>(const_cast<char *>(cursor.pixels.data()));  // never written
  move_cursor(image->x, image->y);
  return true;
}

void State::move_cursor(int32_t x, int32_t y) {
  Cursor &cursor = attributes.cursor;
  if (!cursor.pixels) return;
  cursor.x = x - cursor.image.xhot;
  cursor.y = y - cursor.image.yhot;
}

bool State::set_text(QomScreenText text, const char *value) {
  Shared &held = attributes.texts[text];
  if (value) return held.hold(value, std::strlen(value) + 1);
  held.clear();
  return true;
}

}  // namespace qom
