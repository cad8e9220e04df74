#include "atomkit/core/streams/word_order.h"

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <vector>

#include "tests/support/boxes.h"
#include "tests/support/seeded_random.h"

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
template <class Word, class Copy>
void expectMachineOrder(Copy copy) {
  Bytes file(600);
  for (size_t i = 0; i < file.size(); ++i) file[i] = static_cast<uint8_t>(i * 89 + 7);
  for (uint32_t count = 0; count <= 69; ++count) {
    for (uint32_t offset = 0; offset < 17; ++offset) {
      constexpr Word kUntouched = 0x5a5a5a5a;
      std::vector<Word> words(count + 1, kUntouched);
      copy(words.data(), file.data() + offset, count);
      EXPECT_EQ(words.back(), kUntouched);
      words.pop_back();
      EXPECT_EQ(words, plainly<Word>(file.data() + offset, count)) << count << " at " << offset;
    }
  }
}

TEST(WordOrder, WordsOf32BitsComeOutWholeForEveryCountAndAlignment) {
  expectMachineOrder<uint32_t>(copyWords);
  expectMachineOrder<uint32_t>(copyAddingWords);
  expectMachineOrder<uint32_t>(copyByShifts);
  expectMachineOrder<uint32_t>(copyAddingByShifts);
}

TEST(WordOrder, WordsOf64BitsComeOutWholeForEveryCountAndAlignment) {
  expectMachineOrder<uint64_t>(copyLongWords);
}

TEST(WordOrder, WordsCanBeBroughtIntoOrderWhereTheyLie) {
  Bytes file(23 * 4);
  for (size_t i = 0; i < file.size(); ++i) file[i] = static_cast<uint8_t>(i);
  std::vector<uint32_t> words(23);
  std::memcpy(words.data(), file.data(), file.size());
  const void* const bytes = words.data();
  copyWords(words.data(), static_cast<const uint8_t*>(bytes), 23);
  EXPECT_EQ(words, plainly<uint32_t>(file.data(), 23));
}

// Words of `bits` bits at most.
std::vector<uint32_t> wordsOf(SeededRandom& random, uint32_t count, uint32_t bits) {
  std::vector<uint32_t> words;
  while (words.size() < count) words.push_back(random.word() >> (32 - bits));
  return words;
}

TEST(WordOrder, SumsAreThoseOf64BitsHoweverLargeTheWords) {
  SeededRandom random(7);
  for (uint32_t count = 0; count <= 140; ++count) {
    for (const uint32_t bits : {1u, 16u, 25u, 26u, 27u, 28u, 29u, 32u}) {
      const std::vector<uint32_t> words = wordsOf(random, count, bits);
      Bytes file;
      for (const uint32_t word : words) boxes::append(file, boxes::u32(word));
      const uint64_t sum = std::accumulate(words.begin(), words.end(), uint64_t{0});
      for (const auto copy : {copyAddingWords, copyAddingByShifts}) {
        std::vector<uint32_t> copied(count);
        EXPECT_EQ(copy(copied.data(), file.data(), count), sum) << count << "/" << bits;
        EXPECT_EQ(copied, words);
      }
    }
  }
}

TEST(WordOrder, SumsOfPairsAreThoseOf64BitsHoweverLargeTheWords) {
  SeededRandom random(8);
  for (uint32_t count = 0; count <= 140; count += 2) {
    for (const uint32_t bits : {1u, 2u, 16u, 25u, 26u, 27u, 28u, 29u, 32u}) {
      std::vector<uint32_t> words = wordsOf(random, count, bits);
      const bool ones = random.oneIn(2);
      for (uint32_t i = 0; ones && i < count; i += 2) words[i] = 1;
      PairSums expected;
      for (uint32_t i = 0; i < count; i += 2) {
        expected.firsts += words[i];
        expected.seconds += words[i + 1];
        expected.firstsAreOne = expected.firstsAreOne && words[i] == 1;
      }
      const PairSums sums = pairSumsOf(words.data(), count);
      EXPECT_EQ(sums.firsts, expected.firsts) << count << "/" << bits;
      EXPECT_EQ(sums.seconds, expected.seconds) << count << "/" << bits;
      EXPECT_EQ(sums.firstsAreOne, expected.firstsAreOne) << count << "/" << bits;
    }
  }
}

}  // namespace
}  // namespace atomkit
