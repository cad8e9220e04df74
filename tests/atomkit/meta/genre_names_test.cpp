#include "atomkit/meta/genre_names.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace atomkit {
namespace {

TEST(GenreNames, Codes1To148HaveNames) {
  EXPECT_EQ(kGenreCount, 148u);
  EXPECT_EQ(genreName(0), nullptr);
  EXPECT_STREQ(genreName(1), "Blues");
  EXPECT_STREQ(genreName(148), "SynthPop");
  EXPECT_EQ(genreName(149), nullptr);
  EXPECT_EQ(genreName(65535), nullptr);
  EXPECT_EQ(genreName(0xffffffff), nullptr);
}

TEST(GenreNames, AreAllDifferentAndNotEmpty) {
  std::set<std::string> names;
  for (uint32_t code = 1; code <= kGenreCount; ++code) {
    EXPECT_NE(std::string(genreName(code)), "");
    EXPECT_TRUE(names.insert(genreName(code)).second) << genreName(code);
  }
}

// One name in each stretch of the list, so that a missing or doubled line shows.
TEST(GenreNames, StandAtTheirId3Numbers) {
  const auto name = [](uint32_t id3Number) { return std::string(genreName(id3Number + 1)); };
  EXPECT_EQ(name(7), "Hip-Hop");
  EXPECT_EQ(name(14), "R&B");
  EXPECT_EQ(name(17), "Rock");
  EXPECT_EQ(name(24), "Soundtrack");
  EXPECT_EQ(name(29), "Jazz+Funk");
  EXPECT_EQ(name(32), "Classical");
  EXPECT_EQ(name(37), "Sound Clip");
  EXPECT_EQ(name(43), "Punk");
  EXPECT_EQ(name(52), "Electronic");
  EXPECT_EQ(name(60), "Top 40");
  EXPECT_EQ(name(66), "New Wave");
  EXPECT_EQ(name(74), "Acid Jazz");
  EXPECT_EQ(name(79), "Hard Rock");
  EXPECT_EQ(name(80), "Folk");
  EXPECT_EQ(name(81), "Folk-Rock");
  EXPECT_EQ(name(90), "Avantgarde");
  EXPECT_EQ(name(98), "Easy Listening");
  EXPECT_EQ(name(103), "Opera");
  EXPECT_EQ(name(111), "Slow Jam");
  EXPECT_EQ(name(117), "Power Ballad");
  EXPECT_EQ(name(121), "Punk Rock");
  EXPECT_EQ(name(126), "Goa");
  EXPECT_EQ(name(131), "Indie");
  EXPECT_EQ(name(137), "Heavy Metal");
  EXPECT_EQ(name(144), "Thrash Metal");
}

TEST(Deliberate, D344_GenreNamesKeepTheirTraditionalSpellings) {
  const auto name = [](uint32_t id3Number) { return std::string(genreName(id3Number + 1)); };
  EXPECT_EQ(name(40), "AlternRock");
  EXPECT_EQ(name(67), "Psychadelic");
  EXPECT_EQ(name(85), "Bebob");
  EXPECT_EQ(name(123), "A capella");
  EXPECT_EQ(name(127), "Drum & Bass");
  EXPECT_EQ(name(140), "Contemporary C");
  EXPECT_EQ(name(145), "Anime");
  EXPECT_EQ(name(146), "JPop");
  EXPECT_EQ(name(147), "SynthPop");
}

}  // namespace
}  // namespace atomkit
