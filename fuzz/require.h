// REQUIRE: an invariant of a fuzz target; a breach ends the program, so that the input is kept.
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
