#include "display/shared_memory.h"

#include <X11/extensions/XShm.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <cstdint>
#include <cstdlib>

#include "display/connection.h"
#include "display/x_errors.h"

namespace {

/* What XShmPutImage() finds in an image's obdata comes first. */
struct SharedPixels {
  XShmSegmentInfo segment;
  size_t size; /* bytes of the segment; the image may have become smaller since */
  Display *display;
  int (*destroy_image)(XImage *); /* Xlib's own */
};

SharedPixels *shared_part(const XImage *image) {
  return reinterpret_cast<SharedPixels *>(image->obdata);
}

int shared_pixels_destroy(XImage *image) noexcept {
  SharedPixels *shared = shared_part(image);
  XShmDetach(shared->display, &shared->segment);
  shmdt(shared->segment.shmaddr);
  image->data = nullptr; /* so that Xlib frees only what is its own */
  return shared->destroy_image(image);
}

bool segment_create(XShmSegmentInfo *segment, size_t size) {
  segment->shmid = shmget(IPC_PRIVATE, size, IPC_CREAT | 0600);
  if (segment->shmid < 0) return false;
  segment->shmaddr = static_cast<char *>(shmat(segment->shmid, nullptr, 0));
  segment->readOnly = True;
  if (reinterpret_cast<intptr_t>(segment->shmaddr) != -1) return true;
  shmctl(segment->shmid, IPC_RMID, nullptr);
  return false;
}

/* Once both sides have attached it, the segment is marked to go with the last of them,
   so that not even a crash leaves it behind. */
bool segment_attach(Display *display, XShmSegmentInfo *segment) {
  XErrorTrap trap(display);
  const bool attached = XShmAttach(display, segment) && !trap.refused();
  shmctl(segment->shmid, IPC_RMID, nullptr);
  if (!attached) shmdt(segment->shmaddr);
  return attached;
}

}  // namespace

bool shared_pixels_allocate(Display *display, XImage *image) {
  if (!connection_is_local(display) || !XShmQueryExtension(display)) return false;
  /* From malloc(), since Xlib frees it with the image. */
  auto *shared = static_cast<SharedPixels *>(calloc(1, sizeof(SharedPixels)));
  if (!shared) return false;
  const size_t size = static_cast<size_t>(image->bytes_per_line) * image->height;
  if (!segment_create(&shared->segment, size) || !segment_attach(display, &shared->segment)) {
    free(shared);
    return false;
  }
  shared->size = size;
  shared->display = display;
  shared->destroy_image = image->f.destroy_image;
  image->data = shared->segment.shmaddr;
  image->obdata = reinterpret_cast<XPointer>(shared);
  image->f.destroy_image = shared_pixels_destroy;
  return true;
}

bool shared_pixels(const XImage *image) {
  return image->f.destroy_image == shared_pixels_destroy;
}

size_t shared_pixels_room(const XImage *image) {
  return shared_pixels(image) ? shared_part(image)->size : 0;
}

void shared_pixels_put(Display *display, Drawable drawable, GC gc, XImage *image, int source_x,
                       int source_y, int x, int y, unsigned width, unsigned height) {
  XShmPutImage(display, drawable, gc, image, source_x, source_y, x, y, width, height, False);
  XSync(display, False);
}
