#pragma once

#include <cstdlib>

// A broken promise of the code under test: libFuzzer records the input that led here.
#define FUZZ_CHECK(condition)                                                                        \
    do {                                                                                             \
        if (!(condition))                                                                            \
            std::abort();                                                                            \
    } while (false)
