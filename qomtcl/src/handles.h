/*
 * handles.h - owners for what lives inside one function. What lives in a QomView is
 * released by the teardown of its module instead.
 */
#ifndef QOMTCL_HANDLES_H
#define QOMTCL_HANDLES_H

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <pixman.h>
#include <qom/qom.h>

#include <memory>
#include <type_traits>

struct RecordDeleter {
  void operator()(void *record) const { qom_record_free(record); }
};
struct XImageDeleter {
  void operator()(XImage *image) const { XDestroyImage(image); }
};
struct RegionDeleter {
  void operator()(Region region) const { XDestroyRegion(region); }
};
struct PixmanImageDeleter {
  void operator()(pixman_image_t *image) const { pixman_image_unref(image); }
};

/* A record of the recording library: RecordHandle<QomImage>, RecordHandle<QomRecord>, ... */
template <typename Record>
using RecordHandle = std::unique_ptr<Record, RecordDeleter>;
using XImageHandle = std::unique_ptr<XImage, XImageDeleter>;
using RegionHandle = std::unique_ptr<std::remove_pointer_t<Region>, RegionDeleter>;
using PixmanImageHandle = std::unique_ptr<pixman_image_t, PixmanImageDeleter>;

#endif /* QOMTCL_HANDLES_H */
