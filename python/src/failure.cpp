#include "failure.h"

#include <cerrno>
#include <new>

#include "qom/qom.h"
#include "text/quote.h"

namespace qompython {

template <typename Fault>
void fail(const std::string &name) {
  if (errno == ENOMEM) throw std::bad_alloc();
  if (errno != 0) throw SystemFailure{errno, name};
  throw Fault(qomtool::quoted_name(name) + ": " + qom_reader_error());
}

template void fail<Error>(const std::string &name);
template void fail<NotARecording>(const std::string &name);

}  // namespace qompython
