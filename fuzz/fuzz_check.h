// The check of every fuzz target: a failed one aborts, which the fuzzer
// reports as a crash with the input that caused it.
#pragma once

#include <stdio.h>
#include <stdlib.h>

#define FUZZ_CHECK(cond)                                                         \
    do {                                                                         \
        if (!(cond)) {                                                           \
            fprintf(stderr, "check failed: %s (line %d)\n", #cond, __LINE__);    \
            abort();                                                             \
        }                                                                        \
    } while (0)
