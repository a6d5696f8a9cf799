// Loops over pixels that are compiled for wider vectors as well; the processor chooses.
#pragma once

// clang 14 cannot clone templates.
#if defined(__x86_64__) && !defined(__clang__)
#define QOM_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define QOM_CLONES
#endif
