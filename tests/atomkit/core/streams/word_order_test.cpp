#include "atomkit/core/streams/word_order.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tests/support/boxes.h"

namespace atomkit {
namespace {

using boxes::Bytes;

template <class Word>
std::vector<Word> plainly(const uint8_t* from, uint32_t count) {
  std::vector<Word> words;
  for (uint32_t i = 0; i < count; ++i) {
    Word word = 0;
    for (size_t byte = 0; byte < sizeof word; ++byte) {
      word = static_cast<Word>(word << 8 | *from++);
    }
    words.push_back(word);
  }
  return words;
}

// Every count around the width of a vector, from every alignment.
template <class Word>
void expectMachineOrder() {
  Bytes file(600);
  for (size_t i = 0; i < file.size(); ++i) file[i] = static_cast<uint8_t>(i * 89 + 7);
  for (uint32_t count = 0; count <= 37; ++count) {
    for (uint32_t offset = 0; offset < 17; ++offset) {
      constexpr Word kUntouched = 0x5a5a5a5a;
      std::vector<Word> words(count + 1, kUntouched);
      copyInMachineOrder(words.data(), file.data() + offset, count);
      EXPECT_EQ(words.back(), kUntouched);
      words.pop_back();
      EXPECT_EQ(words, plainly<Word>(file.data() + offset, count)) << count << " at " << offset;
    }
  }
}

TEST(WordOrder, WordsOf32BitsComeOutWholeForEveryCountAndAlignment) {
  expectMachineOrder<uint32_t>();
}

TEST(WordOrder, WordsOf64BitsComeOutWholeForEveryCountAndAlignment) {
  expectMachineOrder<uint64_t>();
}

TEST(WordOrder, WordsCanBeBroughtIntoOrderWhereTheyLie) {
  Bytes file(23 * 4);
  for (size_t i = 0; i < file.size(); ++i) file[i] = static_cast<uint8_t>(i);
  std::vector<uint32_t> words(23);
  std::memcpy(words.data(), file.data(), file.size());
  const void* const bytes = words.data();
  copyInMachineOrder(words.data(), static_cast<const uint8_t*>(bytes), 23);
  EXPECT_EQ(words, plainly<uint32_t>(file.data(), 23));
}

}  // namespace
}  // namespace atomkit
