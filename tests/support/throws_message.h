// EXPECT_THROWS_MESSAGE: the statement throws atomkit::exception with exactly this text.
#pragma once
#include <gtest/gtest.h>

#include "atomkit/core/containers/exception.h"

#define EXPECT_THROWS_MESSAGE(statement, expectedMessage)                            \
  do {                                                                               \
    try {                                                                            \
      statement;                                                                     \
      ADD_FAILURE() << #statement " threw nothing; expected: " << (expectedMessage); \
    } catch (const atomkit::exception& error) {                                      \
      EXPECT_STREQ(error.message(), (expectedMessage));                              \
    }                                                                                \
  } while (false)
