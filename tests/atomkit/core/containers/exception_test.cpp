#include "atomkit/core/containers/exception.h"

#include <gtest/gtest.h>

#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

TEST(Exception, IsThrownByValueAndKeepsThePointerToItsText) {
  static const char text[] = "some text";
  try {
    throw exception(text);
  } catch (exception error) {
    EXPECT_EQ(error.message(), text);
  }
  EXPECT_EQ(sizeof(exception), sizeof(void*));
}

TEST(CheckedIndex, IsBelowTheCount) {
  EXPECT_EQ(checkedIndex(4, 5), 4u);
  EXPECT_THROWS_MESSAGE(checkedIndex(5, 5), "array access out of range");
  EXPECT_THROWS_MESSAGE(checkedIndex(0, 0), "array access out of range");
}

}  // namespace
}  // namespace atomkit
