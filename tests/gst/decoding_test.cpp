// Every file that can be played: what decoders make of the element's packets is what they make of
// the same packets without it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>

#include "tests/gst/support/fed_decoder.h"
#include "tests/gst/support/media.h"

namespace {

using namespace pipelines;

class Decoding : public testing::TestWithParam<media::File> {
 protected:
  void SetUp() override { SKIP_WITHOUT_CORPUS(GetParam()); }
  std::string file() const { return GetParam().path().string(); }
};

/// The other stream runs along into a fakesink, where there is one.
Sound decodedSound(const std::string& file, const Packets& packets, const std::string& decoder) {
  const bool both = packets.videoFormat.present;
  Pipeline pipeline(source(file) + " d.audio_0" + kQueue + decoder + kSoundSink + "sound" +
                    (both ? std::string(" d.video_0") + kQueue + "fakesink sync=false" : ""));
  pipeline.setState(GST_STATE_PLAYING);
  return soundOf(pipeline.element("sound").get());
}

std::vector<Picture> decodedPictures(const std::string& file, const Packets& packets,
                                     const std::string& demuxer) {
  const bool both = packets.audioFormat.present;
  Pipeline pipeline(source(file, demuxer) + " d.video_0" + kQueue + pictureDecoder(packets) +
                    " ! appsink name=pictures sync=false" +
                    (both ? std::string(" d.audio_0") + kQueue + "fakesink sync=false" : ""));
  pipeline.setState(GST_STATE_PLAYING);
  return picturesOf(pipeline.element("pictures").get());
}

TEST_P(Decoding, SoundIsTheSameSampleBySample) {
  const Packets packets = readPackets(file());
  EXPECT_TRUE(packets.audioFormat.present || packets.videoFormat.present);
  for (const std::string& decoder : soundDecoders(packets)) {
    // Hours of sound are decoded once.
    const bool isLong = packets.audio.size() > 20000;
    if (isLong && decoder != soundDecoders(packets).front()) continue;
    SCOPED_TRACE(decoder);
    const Sound expected = decodeSound(packets, decoder);
    const Sound played = decodedSound(file(), packets, decoder);
    if (expected.rate() == 0) {
      EXPECT_EQ(played.rate(), 0u);  // a kind of AAC that this decoder doesn't know
      std::printf("%s: %s decodes nothing of it\n", GetParam().name.c_str(), decoder.c_str());
      continue;
    }
    // A decoder that adds the upper half of the spectrum makes two frames of one.
    const uint64_t scale = expected.rate() / packets.sampleRate;
    EXPECT_EQ(expected.rate() % packets.sampleRate, 0u);
    const uint64_t end = std::min(playedFrames(packets) * scale, expected.end());
    EXPECT_EQ(played.begin(), expected.begin());
    EXPECT_EQ(played.end(), end);
    EXPECT_EQ(played.gaps(), expected.gaps());
    EXPECT_TRUE(played.isPartOf(expected))
        << "differs from frame " << played.firstDifference(expected, 0);
  }
}

TEST_P(Decoding, PicturesAreTheSame) {
  const Packets packets = readPackets(file());
  EXPECT_TRUE(packets.audioFormat.present || packets.videoFormat.present);
  if (!packets.videoFormat.present) return;
  if (packets.videoFormat.config.empty()) {
    EXPECT_EQ(GetParam().name, "h264-bframes-avc1-brand-gpac045.mp4");
    Pipeline pipeline(source(file()) + kQueue + "fakesink");
    pipeline.setState(GST_STATE_PLAYING);
    const Outcome outcome = pipeline.waitForEnd();
    EXPECT_EQ(outcome.text, "The file holds no parameter sets for its H.264 pictures.");
    return;
  }
  const std::vector<Picture> expected = decodePictures(packets, pictureDecoder(packets));
  ASSERT_FALSE(expected.empty());
  const std::vector<Picture> played = decodedPictures(file(), packets, "velademux");
  ASSERT_EQ(played.size(), expected.size());
  for (size_t i = 0; i < played.size(); ++i) {
    EXPECT_EQ(played[i].checksum, expected[i].checksum) << "picture " << i;
    EXPECT_EQ(played[i].time, expected[i].time) << "picture " << i;
  }
}

/// A row of the documentation's table of files whose pictures differ in number.
struct Difference {
  size_t ours = 0;
  size_t theirs = 0;
  std::string why;
};

/// "| `film.mp4` (own) | 2 | 25 | the same |": the same as in the row above.
std::map<std::string, Difference> documentedDifferences() {
  std::map<std::string, Difference> differences;
  std::ifstream text(media::documentation());
  std::string whyAbove;
  for (std::string line; std::getline(text, line);) {
    const size_t nameEnd = line.find(".mp4`");
    if (line.rfind("| `", 0) != 0 || nameEnd == std::string::npos) continue;
    std::istringstream cells(line.substr(line.find('|', nameEnd) + 1));
    Difference difference;
    std::string separator;
    cells >> difference.ours >> separator >> difference.theirs >> separator;
    std::getline(cells >> std::ws, difference.why, '|');
    EXPECT_TRUE(cells) << "a row of another form: " << line;
    if (difference.why == "the same ") difference.why = whyAbove;
    whyAbove = difference.why;
    differences[line.substr(3, nameEnd + 1)] = difference;
  }
  return differences;
}

TEST(DocumentedDifferences, AreThoseOfFilesThatPlayAndHaveAReason) {
  const std::map<std::string, Difference> differences = documentedDifferences();
  const std::vector<media::File> files = media::playableFiles();
  EXPECT_FALSE(differences.empty());
  for (const auto& [name, difference] : differences) {
    EXPECT_TRUE(std::any_of(files.begin(), files.end(), [&name = name](const media::File& file) {
      return file.name == name;
    })) << name;
    EXPECT_NE(difference.ours, difference.theirs) << name;
    EXPECT_FALSE(difference.why.empty()) << name;
  }
}

/// Whether the pictures of `part` come in `whole` in the same order, with others between them.
bool comeIn(const std::vector<Picture>& part, const std::vector<Picture>& whole) {
  size_t found = 0;
  for (size_t i = 0; i < whole.size() && found < part.size(); ++i) {
    if (whole[i].checksum == part[found].checksum) ++found;
  }
  return found == part.size();
}

TEST_P(Decoding, PicturesAreThoseOfQtdemuxButForDocumentedDifferences) {
  const Packets packets = readPackets(file());
  EXPECT_TRUE(packets.audioFormat.present || packets.videoFormat.present);
  if (!packets.videoFormat.present || packets.videoFormat.config.empty()) return;
  const std::vector<Picture> ours = decodedPictures(file(), packets, "velademux");
  const std::vector<Picture> theirs = decodedPictures(file(), packets, "qtdemux");
  const std::map<std::string, Difference> differences = documentedDifferences();
  const auto documented = differences.find(GetParam().name);
  if (documented == differences.end()) {
    EXPECT_EQ(ours.size(), theirs.size()) << "a difference that is not documented";
  } else {
    EXPECT_EQ(ours.size(), documented->second.ours);
    EXPECT_EQ(theirs.size(), documented->second.theirs);
    std::printf("%s: %zu pictures, %zu of qtdemux: %s\n", GetParam().name.c_str(), ours.size(),
                theirs.size(), documented->second.why.c_str());
  }
  if (!theirs.empty()) {
    EXPECT_TRUE(comeIn(ours, theirs));
  }
}

INSTANTIATE_TEST_SUITE_P(Files, Decoding, testing::ValuesIn(media::playableFiles()),
                         media::caseName);

}  // namespace
