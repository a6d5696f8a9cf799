// What `qom record` may hold back of film.
#ifndef QOM_RECORD_FILM_LIMITS_H
#define QOM_RECORD_FILM_LIMITS_H

namespace qom::record {

// What is asked for where the picture changes like film; exactly and at once everywhere else.
struct FilmLimits {
  double rate = 0;    // pictures a second that are stored at most; 0: all
  int quality = 0;    // of the lossy codec, 1 to 100; 0: stored exactly
  double looks = 10;  // at the screen, a second, at most

  bool any() const { return rate > 0 || quality > 0; }
};

}  // namespace qom::record

#endif
