#include "atomkit/meta/tags/genre_names.h"

#include <gtest/gtest.h>

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

// In the order of their ID3 numbers.
TEST(GenreNames, StandAtTheirId3Numbers) {
  const std::string expected =
      "Blues|Classic Rock|Country|Dance|Disco|Funk|Grunge|Hip-Hop|Jazz|Metal|"
      "New Age|Oldies|Other|Pop|R&B|Rap|Reggae|Rock|Techno|Industrial|"
      "Alternative|Ska|Death Metal|Pranks|Soundtrack|Euro-Techno|Ambient|Trip-Hop|Vocal|Jazz+Funk|"
      "Fusion|Trance|Classical|Instrumental|Acid|House|Game|Sound Clip|Gospel|Noise|"
      "AlternRock|Bass|Soul|Punk|Space|Meditative|Instrumental Pop|Instrumental Rock|Ethnic|Gothic|"
      "Darkwave|Techno-Industrial|Electronic|Pop-Folk|Eurodance|Dream|Southern Rock|Comedy|Cult|"
      "Gangsta|"
      "Top 40|Christian Rap|Pop/Funk|Jungle|Native American|Cabaret|New Wave|Psychadelic|Rave|"
      "Showtunes|"
      "Trailer|Lo-Fi|Tribal|Acid Punk|Acid Jazz|Polka|Retro|Musical|Rock & Roll|Hard Rock|"
      "Folk|Folk-Rock|National Folk|Swing|Fast Fusion|Bebob|Latin|Revival|Celtic|Bluegrass|"
      "Avantgarde|Gothic Rock|Progressive Rock|Psychedelic Rock|Symphonic Rock|Slow Rock|Big Band|"
      "Chorus|Easy Listening|Acoustic|"
      "Humour|Speech|Chanson|Opera|Chamber Music|Sonata|Symphony|Booty Bass|Primus|Porn Groove|"
      "Satire|Slow Jam|Club|Tango|Samba|Folklore|Ballad|Power Ballad|Rhythmic Soul|Freestyle|"
      "Duet|Punk Rock|Drum Solo|A capella|Euro-House|Dance Hall|Goa|Drum & "
      "Bass|Club-House|Hardcore|"
      "Terror|Indie|BritPop|Negerpunk|Polsk Punk|Beat|Christian Gangsta Rap|Heavy Metal|Black "
      "Metal|"
      "Crossover|"
      "Contemporary C|Christian Rock|Merengue|Salsa|Thrash Metal|Anime|JPop|SynthPop|";
  std::string names;
  for (uint32_t code = 1; code <= kGenreCount; ++code) names += genreName(code) + std::string("|");
  EXPECT_EQ(names, expected);
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
