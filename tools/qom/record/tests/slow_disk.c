/* Preloaded into a program: every sync takes three seconds, and fails when $SLOW_DISK_FAILS is set.
 */
#include <errno.h>
#include <stdlib.h>
#include <unistd.h>

__attribute__((visibility("default"))) int fdatasync(int descriptor) {
  static int calls;
  (void)descriptor;
  if (calls++ == 0) return 0; /* a file is being created */
  sleep(3);
  if (!getenv("SLOW_DISK_FAILS")) return 0;
  errno = EIO;
  return -1;
}
