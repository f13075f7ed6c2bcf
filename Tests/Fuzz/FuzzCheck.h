#pragma once

#include <cstdio>
#include <cstdlib>

// A broken property ends the run, so that the fuzzer keeps the input that broke it.
#define KEL_FUZZ_CHECK(condition)                                                                  \
    do                                                                                             \
    {                                                                                              \
        if (!(condition))                                                                          \
        {                                                                                          \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition);     \
            std::abort();                                                                          \
        }                                                                                          \
    } while (0)
