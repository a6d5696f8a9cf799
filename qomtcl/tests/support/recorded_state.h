/*
 * recorded_state.h - what a recording says at its end, for the checkpoints that tests write.
 */
#ifndef QOMTCL_TESTS_RECORDED_STATE_H
#define QOMTCL_TESTS_RECORDED_STATE_H

#include <qom/writer.h>

#include <array>
#include <cstdint>
#include <vector>

#include "handles.h"

class RecordedState {
 public:
  explicit RecordedState(const QomHeader &header);

  /* Follows a record that was appended. */
  void follow(const void *record);

  /* Appends everything that was followed once more. False when the writer refuses. */
  bool restate(QomWriter *writer, uint64_t time) const;

 private:
  void put(const QomImage &image);
  void put_blocks(const QomImageBlocks *blocks);
  void resize(const QomScreenChange &change);
  void move_cursor(const QomCursorPosition &position);
  bool append_picture(QomWriter *writer, uint64_t time) const;
  bool append_copy(QomWriter *writer, const QomRecord *record, uint64_t time) const;

  QomHeader header_;
  size_t bytes_; /* per pixel */
  int width_;
  int height_;
  std::vector<uint8_t> pixels_; /* rows without padding */
  RecordHandle<QomRecord> cursor_;
  std::array<RecordHandle<QomRecord>, 256> texts_; /* latest record of each type that holds texts */
};

#endif
