// Makes system calls and allocations of this process fail. The functions of the C library are
// replaced in the test's executable; they do as always until a test asks for a fault.
#pragma once

#include <cstddef>

namespace faults {

enum class Call { write, sync, read, allocation };

// The n-th call of the kind from now on (counted from 1) and all that follow it fail with the
// error, until clear(). n = 0 lets them all succeed.
void fail(Call call, size_t n, int error);

// Every write and every read moves at most so many bytes and is interrupted every other time.
void trickle(size_t bytes);

// Everything works again. Returns whether a fault has happened since the last call.
bool clear();

// The largest allocation since the last clear(), bytes.
size_t largest_allocation();

// Descriptors of this process that are open.
size_t open_files();

// Blocks that are allocated now. Sanitizers replace the allocator: under them allocations do
// not fail and are not counted.
size_t allocated();

}  // namespace faults
