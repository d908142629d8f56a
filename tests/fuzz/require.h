// What must hold for any input at all; a fuzzer takes the end of the program as a finding.
#pragma once

#include <cstdio>
#include <cstdlib>

#define REQUIRE(condition)                                                       \
    do {                                                                         \
        if (!(condition)) {                                                      \
            std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                        \
        }                                                                        \
    } while (false)
