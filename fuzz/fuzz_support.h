#pragma once
// What every fuzz target shares: stopping the run on a broken promise in a
// way libFuzzer records as a finding, with the input kept for replay.

#include <cstdio>
#include <cstdlib>

// Aborts with the condition's text: libFuzzer saves the input as a crash.
#define QX_FUZZ_REQUIRE(condition)                                                   \
    do {                                                                             \
        if (!(condition)) {                                                          \
            std::fprintf(stderr, "%s:%d: broken promise: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                            \
        }                                                                            \
    } while (false)
