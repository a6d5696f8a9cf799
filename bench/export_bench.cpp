/* Films of an hour of text work, beside ffmpeg alone encoding the same pictures. */
#include <cstdio>
#include "desktop_recording.h"
int main(int, char **argv) {
  bench::DesktopRecording recording(bench::Activity::day, argv[1]);
  for (int i = 1; i < 36000; ++i) recording.next();
}
