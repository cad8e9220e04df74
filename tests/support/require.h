// REQUIRE: an invariant of a program that runs without a test framework; a breach ends it.
#pragma once
#include <cstdio>
#include <cstdlib>

#define REQUIRE(condition)                                                                   \
  do {                                                                                       \
    if (!(condition)) {                                                                      \
      std::fprintf(stderr, "%s:%d: broken invariant: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                          \
    }                                                                                        \
  } while (false)
