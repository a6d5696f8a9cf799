// When a move is to pause: what its caller says, asked now and then.
#pragma once

namespace qom {

class Pause {
 public:
  using Function = int (*)(void *context);

  Pause(Function function, void *context) : function_(function), context_(context) {}

  bool is_due() const { return function_ && function_(context_) != 0; }

 private:
  Function function_;
  void *context_;
};

}  // namespace qom
