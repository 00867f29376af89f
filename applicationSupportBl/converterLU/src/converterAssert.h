// converterAssert.h: an assertion that stays in release builds.
//
// A read with an unknown mode would silently give a wrong field; stopping the
// process is the defined reaction, so it must not depend on NDEBUG.
#ifndef CONVERTER_ASSERT_H
#define CONVERTER_ASSERT_H

#include <cstdio>
#include <cstdlib>

#define CONVERTER_ASSERT(condition)                                                                \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: Assertion failed: %s\n", __FILE__, __LINE__, #condition); \
            std::fflush(stderr);                                                                   \
            std::abort();                                                                          \
        }                                                                                          \
    } while (0)

#endif  // CONVERTER_ASSERT_H
