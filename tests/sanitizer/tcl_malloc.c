/*
 * Preloaded before Tcl's library under the sanitizers and valgrind: Tcl's allocator becomes malloc.
 *
 * Tcl carves small blocks from pools of its own, where neither of them sees a use after free or a
 * leak. What Tcl and Tk allocate for themselves and leave behind at exit is marked as no
 * leak, so that only blocks that our own libraries asked for are reported.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <link.h>
#include <sanitizer/lsan_interface.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* Not there without the sanitizer. */
#pragma weak __lsan_disable
#pragma weak __lsan_enable

#define EXPORT __attribute__((visibility("default")))

static int is_ours(void *caller) {
  struct dl_find_object object;
  if (_dl_find_object(caller, &object) != 0) return 0;
  const char *slash = strrchr(object.dlfo_link_map->l_name, '/');
  return slash && strstr(slash, "qom") != NULL;
}

static char *allocate(char *old, unsigned size, void *caller) {
  int marked = __lsan_disable && !is_ours(caller);
  if (marked) __lsan_disable();
  char *block = realloc(old, size ? size : 1);
  if (marked) __lsan_enable();
  return block;
}

static char *require(char *block, unsigned size) {
  if (!block) {
    fprintf(stderr, "out of memory: %u bytes\n", size);
    abort();
  }
  return block;
}

#define CALLER __builtin_return_address(0)

EXPORT char *Tcl_Alloc(unsigned size) {
  return require(allocate(NULL, size, CALLER), size);
}
EXPORT char *Tcl_Realloc(char *old, unsigned size) {
  return require(allocate(old, size, CALLER), size);
}
EXPORT char *Tcl_AttemptAlloc(unsigned size) {
  return allocate(NULL, size, CALLER);
}
EXPORT char *Tcl_AttemptRealloc(char *old, unsigned size) {
  return allocate(old, size, CALLER);
}
EXPORT void Tcl_Free(char *block) {
  free(block);
}

/* The lower floor, which parts of Tcl call without passing through the functions above. */
EXPORT char *TclpAlloc(unsigned size) {
  return allocate(NULL, size, CALLER);
}
EXPORT char *TclpRealloc(char *old, unsigned size) {
  return allocate(old, size, CALLER);
}
EXPORT void TclpFree(char *block) {
  free(block);
}
