#include "playback/record_process.h"

#include <err.h>

#include <algorithm>
#include <cassert>

#include "display/cursor.h"
#include "display/damage.h"
#include "handles.h"
#include "playback/footer.h"
#include "trace.h"

namespace {

/* Results as the trace reports them: 0 applied or without effect, 1 failed. */
constexpr int kApplied = 0;
constexpr int kFailed = 1;

/* Rows of pixels, long ones counted by their length, between looks at the clock. */
constexpr size_t kRowsPerLook = 1 << 16;
constexpr size_t kPixelsOfRow = 64;

/* Milliseconds that a round merges at least: a pause costs to uncompress the record once more. */
constexpr double kShortestMerge = 50;

/* Of a record, before those that reach beyond the frame are no longer reported. */
constexpr size_t kReportedBlocks = 1 << 10;

template <typename Typed>
const Typed *as(const QomRecord *record) {
  return reinterpret_cast<const Typed *>(record);
}

/* The rectangle as merge functions know it: they take the row length from the width, so
   everything that describes the record stays zero. */
void image_become_block(QomImage *image, const QomImage &block) {
  image->x = block.x;
  image->y = block.y;
  image->width = block.width;
  image->height = block.height;
  image->data = block.data;
}

/* Another view may have been made since; with its padding the rows of this recording would be
   read past their end. */
void scanline_pad_use(const QomView *view) {
  scanline_pad = view->header->scanline_pad;
}

void damage_add(QomView *view, XRectangle rectangle) {
  if (!region_touch(view->ximage_region, rectangle))
    warnx("%s: failed to add image region to ximage_region", "image_merge");
}

/* The damage of a blocks record, which may have millions of blocks: a few hundred as they are,
   the rest as its bounds. */
class BlocksDamage {
 public:
  explicit BlocksDamage(QomView *view) : view_(view) {}
  ~BlocksDamage() {
    if (count_ > kSingle) damage_add(view_, rectangle_from_box(rest_));
  }
  BlocksDamage(const BlocksDamage &) = delete;
  BlocksDamage &operator=(const BlocksDamage &) = delete;

  void add(XRectangle block) {
    if (++count_ <= kSingle) return damage_add(view_, block);
    const Box box{block.x, block.y, block.x + block.width, block.y + block.height};
    rest_ = count_ == kSingle + 1 ? box
                                  : Box{std::min(rest_.x1, box.x1), std::min(rest_.y1, box.y1),
                                        std::max(rest_.x2, box.x2), std::max(rest_.y2, box.y2)};
  }

 private:
  static constexpr size_t kSingle = 200;
  QomView *view_;
  size_t count_ = 0;
  Box rest_{};
};

/* From *offset on; looks at the round now and then. */
int blocks_merge(QomView *view, const QomImageBlocks *blocks, const Round *round, size_t *offset) {
  BlocksDamage damage(view);
  QomImage block{};
  QomImage image{};
  image.type = QOM_IMAGE;
  scanline_pad_use(view);
  MergeFunction merge = view->merge;
  const Round merging;
  size_t rows = 0; /* since the last look */
  for (size_t count = 1;; ++count) {
    const int found = qom_image_blocks_next(blocks, view->header, offset, &block);
    if (found <= 0) {
      *offset = 0;
      return found == 0 ? kApplied : kFailed;
    }
    image_become_block(&image, block);
    merge(&image, view->ximage);
    if (count == kReportedBlocks) merge = merge_without_report(merge);
    damage.add({image.x, image.y, image.width, image.height});
    rows += image.height + size_t{image.width} * image.height / kPixelsOfRow;
    if (rows < kRowsPerLook || !round || *offset == blocks->length) continue;
    rows = 0;
    if (round->is_long() && merging.milliseconds() > kShortestMerge) return kApplied;
  }
}

int compressed_image_process(QomView *view, const QomCompressedImage *compressed) {
  const RecordHandle<QomImage> image(qom_image_uncompress(compressed));
  if (!image) return kFailed;
  image_merge(view, image.get());
  return kApplied;
}

int compressed_blocks_process(QomView *view, const QomCompressedImageBlocks *compressed,
                              const Round *round, size_t *offset) {
  const RecordHandle<QomImageBlocks> blocks(qom_image_blocks_uncompress(compressed));
  if (blocks) return blocks_merge(view, blocks.get(), round, offset);
  *offset = 0;
  return kFailed;
}

bool screen_has_changed(const QomView *view, const QomScreenChange *change) {
  return change->width != view->width || change->height != view->height;
}

using ScreenChangeProcess = int (*)(QomView *view, uint16_t width, uint16_t height);

int screen_change_record_process(QomView *view, const QomScreenChange *change,
                                 ScreenChangeProcess process) {
  trace(view, "-- %s: SCREEN CHANGE old %dx%d new %dx%d\n", "record_process", view->width,
        view->height, change->width, change->height);
  if (!screen_has_changed(view, change)) return kApplied;
  return process(view, change->width, change->height);
}

int cursor_position_process(QomView *view, const QomCursorPosition *position) {
  cursor_update_current_position(view, position->x, position->y);
  return kApplied;
}

int footer_process(QomView *view, const QomFooterItem *record, index_footer_items index) {
  footer_item_process(view, record->item, index);
  return kApplied;
}

int dispatch(QomView *view, const QomRecord *record) {
  switch (record->type) {
    case QOM_IMAGE:
      image_merge(view, as<QomImage>(record));
      return kApplied;
    case QOM_COMPRESSED_IMAGE:
      return compressed_image_process(view, as<QomCompressedImage>(record));
    case QOM_COMPRESSED_IMAGE_BLOCKS: {
      size_t offset = 0;
      return compressed_blocks_process(view, as<QomCompressedImageBlocks>(record), nullptr,
                                       &offset);
    }
    case QOM_CURSOR_IMAGE:
      return cursor_update(view, as<QomCursorImage>(record));
    case QOM_CURSOR_POSITION:
      return cursor_position_process(view, as<QomCursorPosition>(record));
    case QOM_SCREEN_CHANGE:
      return screen_change_record_process(view, as<QomScreenChange>(record), screen_change_process);
    case QOM_LAST_INPUT:
      last_input_process(view, as<QomLastInput>(record));
      return kApplied;
    case QOM_FOOTER_ITEM_APP:
      return footer_process(view, as<QomFooterItem>(record), INDEX_FOOTER_APP);
    case QOM_FOOTER_ITEM_APPFMT:
      return footer_process(view, as<QomFooterItem>(record), INDEX_FOOTER_APPFMT);
    case QOM_FOOTER_ITEM_HOST:
      return footer_process(view, as<QomFooterItem>(record), INDEX_FOOTER_HOST);
    case QOM_FOOTER_ITEM_IP:
      return footer_process(view, as<QomFooterItem>(record), INDEX_FOOTER_IP);
    case QOM_FOOTER_ITEM_SID:
      return footer_process(view, as<QomFooterItem>(record), INDEX_FOOTER_SID);
    case QOM_FOOTER_ITEM_TID:
      return footer_process(view, as<QomFooterItem>(record), INDEX_FOOTER_TID);
    default:
      return kApplied;
  }
}

}  // namespace

bool record_process(QomView *view, const QomRecord *record) {
  const int result = dispatch(view, record);
  trace_verbose(view, "-- %s: result=%d\n", "record_process", result);
  return result == kApplied;
}

bool screen_change_record_pass(QomView *view, const QomScreenChange *change) {
  const int result = screen_change_record_process(view, change, screen_change_pass);
  trace_verbose(view, "-- %s: result=%d\n", "record_process", result);
  return result == kApplied;
}

void image_merge(QomView *view, const QomImage *img) {
  assert(view != 0 && "view should not be NULL");
  assert(img != 0 && "img should not be NULL");
  assert((img != 0 && (((QomRecord *)img)->type) == QOM_IMAGE) && "img should be a QomImage");
  scanline_pad_use(view);
  view->merge(img, view->ximage);
  damage_add(view, {img->x, img->y, img->width, img->height});
}

int image_blocks_merge(QomView *view, const QomImageBlocks *blocks) {
  size_t offset = 0;
  return blocks_merge(view, blocks, nullptr, &offset);
}

bool blocks_record_process(QomView *view, const QomCompressedImageBlocks *record,
                           const Round *round, size_t *offset) {
  const int result = compressed_blocks_process(view, record, round, offset);
  trace_verbose(view, "-- %s: result=%d\n", "record_process", result);
  return result == kApplied;
}

void last_input_process(QomView *view, const QomLastInput *record) {
  footer_item_process(view, record->user, INDEX_FOOTER_LI_USER);
  footer_item_process(view, record->tfn, INDEX_FOOTER_LI_TFN);
}
