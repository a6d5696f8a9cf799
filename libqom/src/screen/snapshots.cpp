#include "screen/snapshots.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "base/error.h"

namespace qom {
namespace {

// A larger picture is packed whole each time instead of being kept plain as well.
constexpr size_t largest_plain = size_t{64} << 20;  // bytes

size_t bytes_of(const QomPicture &picture) {
  return picture.stride * picture.height;
}

PictureRows rows_of(const QomPicture &picture) {
  return {picture.pixels, picture.width, picture.height, picture.stride,
          static_cast<int>(pixel_format_bytes_per_pixel(picture.pixel_format))};
}

// What a snapshot's texts and cursor take beside those of the one before it.
size_t attribute_bytes(const Attributes &attributes, const Attributes *before) {
  const auto own = [](const Shared &shared, const Shared *other) {
    return other && shared == *other ? 0 : shared.size();
  };
  size_t bytes = own(attributes.cursor.pixels, before ? &before->cursor.pixels : nullptr);
  for (int i = 0; i < QOM_TEXT_COUNT; ++i)
    bytes += own(attributes.texts[i], before ? &before->texts[i] : nullptr);
  return bytes;
}

bool out_of_memory() {
  errno = ENOMEM;
  set_error("out of memory for a snapshot");
  return false;
}

}  // namespace

Snapshots::~Snapshots() {
  clear();
}

void Snapshots::clear() {
  for (Snapshot *snapshot : all_) release(snapshot);
  all_.clear();
  drop_plain();
}

size_t Snapshots::behind(size_t place) const {
  const auto after = std::upper_bound(
      all_.begin(), all_.end(), place,
      [](size_t wanted, const Snapshot *snapshot) { return wanted < snapshot->place; });
  return static_cast<size_t>(after - all_.begin());
}

const Snapshot *Snapshots::before(size_t place) const {
  const size_t after = behind(place);
  return after == 0 ? nullptr : all_[after - 1];
}

bool Snapshots::is_due(uint64_t time) const {
  const auto after = std::upper_bound(
      all_.begin(), all_.end(), time,
      [](uint64_t wanted, const Snapshot *snapshot) { return wanted < snapshot->time; });
  if (after != all_.begin() && time - after[-1]->time < spacing_) return false;
  return after == all_.end() || (*after)->time - time >= spacing_;
}

bool Snapshots::save(const State &state, size_t place, uint64_t time, bool trusted) {
  const QomPicture &picture = state.canvas.picture();
  if (ceiling_ < bytes_of(picture)) return QOM_REFUSE(false, "no room for a snapshot");
  const size_t at = behind(place);
  if (!all_.reserve(all_.size() + 1)) return out_of_memory();
  std::unique_ptr<Snapshot> snapshot(new (std::nothrow) Snapshot());
  if (!snapshot) return out_of_memory();
  snapshot->place = place;
  snapshot->time = time;
  snapshot->trusted = trusted;
  snapshot->width = picture.width;
  snapshot->height = picture.height;
  snapshot->attributes = state.attributes;
  const PictureRows plain = rows_of(plain_picture_);
  snapshot->picture = plain_of_ ? picture_pack(rows_of(picture), plain_of_->picture, &plain)
                                : picture_pack(rows_of(picture), nullptr, nullptr);
  if (!snapshot->picture) return out_of_memory();
  picture_bytes_ += picture_own_bytes(snapshot->picture);
  keep_plain(picture, snapshot.get());
  all_.push(snapshot.release());
  std::rotate(all_.begin() + at, all_.end() - 1, all_.end());
  thin();
  return true;
}

void Snapshots::keep_plain(const QomPicture &picture, const Snapshot *snapshot) {
  if (bytes_of(picture) != bytes_of(plain_picture_) || !plain_) {
    drop_plain();
    if (bytes_of(picture) > largest_plain) return;
    plain_.reset(new (std::nothrow) uint8_t[bytes_of(picture)]);
    if (!plain_) return;
  }
  std::memcpy(plain_.get(), picture.pixels, bytes_of(picture));
  plain_picture_ = picture;
  plain_picture_.pixels = plain_.get();
  plain_of_ = snapshot;
}

void Snapshots::drop_plain() {
  plain_.reset();
  plain_picture_ = {};
  plain_of_ = nullptr;
}

void Snapshots::release(Snapshot *snapshot) {
  if (snapshot == plain_of_) drop_plain();
  picture_bytes_ -= picture_release(snapshot->picture);
  delete snapshot;
}

size_t Snapshots::bytes() const {
  size_t bytes = picture_bytes_ + bytes_of(plain_picture_);
  const Attributes *before = nullptr;
  for (const Snapshot *snapshot : all_) {
    bytes += sizeof(Snapshot) + attribute_bytes(snapshot->attributes, before);
    before = &snapshot->attributes;
  }
  return bytes;
}

void Snapshots::thin() {
  while (all_.size() > 1 && bytes() > ceiling_) {
    size_t kept = 0;
    for (size_t i = 0; i < all_.size(); ++i) {
      if (i % 2 == 1)
        release(all_[i]);
      else
        all_[kept++] = all_[i];
    }
    all_.truncate(kept);
    spacing_ *= 2;
  }
}

bool Snapshots::restore(const Snapshot &snapshot, State *state) {
  if (!state->become(snapshot.width, snapshot.height)) return false;
  state->attributes = snapshot.attributes;
  state->set_has_picture(true);
  if (picture_unpack(snapshot.picture, rows_of(state->canvas.picture()))) return true;
  errno = ENOMEM;
  set_error("out of memory for a picture");
  return false;
}

}  // namespace qom
