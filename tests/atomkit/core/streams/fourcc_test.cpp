#include "atomkit/core/streams/fourcc.h"

#include <gtest/gtest.h>

#include <cstring>

namespace atomkit {
namespace {

TEST(FourCC, HoldsItsCharactersInFileOrderInMemory) {
  const FourCC type = fourCC("moov");
  EXPECT_EQ(std::memcmp(&type, "moov", 4), 0);
  const uint8_t bytes[] = {0, 'm', 'o', 'o', 'v'};
  EXPECT_EQ(fourCCFrom(bytes + 1), type);
  const FourCC name = fourCC("\xA9nam");
  EXPECT_EQ(std::memcmp(&name, "\xA9nam", 4), 0);
}

}  // namespace
}  // namespace atomkit
