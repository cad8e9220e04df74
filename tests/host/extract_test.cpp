// Extracted streams, judged by an ordinary decoder.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>

#include "host/command_line.h"
#include "host/text.h"
#include "tests/host/golden_packets.h"
#include "tests/host/plugin_session.h"
#include "tests/programs/media.h"

namespace {

std::string quoted(const std::filesystem::path& file) { return "'" + file.string() + "'"; }

/// Frames that a decoder finds in the first stream of a kind (a: sound, V: moving pictures).
int decodedFrames(const std::filesystem::path& file, const std::string& kind) {
  const media::ProgramResult counted = media::runProgram(
      "ffprobe -v quiet -ignore_editlist 1 -count_frames -select_streams " + kind +
      ":0 -show_entries stream=nb_read_frames -of csv=p=0 " + quoted(file));
  return std::atoi(counted.output.c_str());
}

struct Kind {
  std::string option;   ///< of the command line
  std::string letter;   ///< how ffmpeg calls the kind
  std::string decoded;  ///< a form without timestamps, which bare streams don't have
};
const Kind kAudio{"--audio", "a", "s16le"};
const Kind kVideo{"--video", "V", "rawvideo"};

class Extracting : public testing::TestWithParam<media::File> {
 protected:
  struct Extraction {
    int status;
    int packets;
    std::string error;
  };

  Extraction extract(const Kind& kind, const std::filesystem::path& bare) {
    std::ostringstream out;
    std::ostringstream err;
    const int status =
        velahost::runCommandLine({"extract", GetParam().path().string(), kind.option, bare.string(),
                                  "--plugin", media::pluginFile().string()},
                                 out, err, cli::Terminal::no);
    // "audio   AAC, 131 packets, 16241 bytes"
    const std::string told = out.str();
    const size_t comma = told.find(", ");
    const int packets = comma == std::string::npos ? 0 : std::atoi(told.c_str() + comma + 2);
    return {status, packets, err.str()};
  }

  /// Extracts one stream and expects a decoder to take it without a word, and to find as many
  /// frames in it as in the file, apart from the packets that are not delivered.
  void extractAndDecode(const Kind& kind, const std::string& suffix, const golden::Stream& stream) {
    const media::ScratchFolder scratch;
    const std::filesystem::path bare = scratch / ("bare." + suffix);
    const Extraction extraction = extract(kind, bare);
    ASSERT_EQ(extraction.status, 0) << extraction.error;

    const media::ProgramResult decoded = media::runProgram("ffmpeg -v error -y -i " + quoted(bare) +
                                                           " -f " + kind.decoded + " /dev/null");
    EXPECT_EQ(decoded.status, 0);
    EXPECT_EQ(decoded.output, "");
    const int missing = static_cast<int>(stream.count) - extraction.packets;
    EXPECT_EQ(decodedFrames(bare, kind.letter),
              decodedFrames(GetParam().path(), kind.letter) - missing);
  }
};

std::string suffixOf(const vela::Guid& mediaId) {
  if (velahost::sameGuid(mediaId, vela::kMediaAac)) return "aac";
  if (velahost::sameGuid(mediaId, vela::kMediaMp3)) return "mp3";
  return velahost::sameGuid(mediaId, vela::kMediaH264) ? "h264" : "m4v";
}

TEST_P(Extracting, GivesStreamsThatDecodeWithoutComplaint) {
  SKIP_WITHOUT_CORPUS(GetParam());
  if (!media::haveFfmpeg()) GTEST_SKIP() << "skipped: ffmpeg is not installed";
  // The last three sound packets of this file have no place of their own and hold other data.
  const bool soundIsSpoilt = GetParam().name == "h264-camera-core-media.mp4";
  // The parameter sets of this file come after another box, where they are not looked for.
  const bool hasNoParameterSets = GetParam().name == "h264-bframes-avc1-brand-gpac045.mp4";

  const golden::Table table = golden::read(GetParam());
  PlayedFile file(GetParam());
  file.playback.start(0, velahost::Wanted::both);
  if (table.audio && !soundIsSpoilt) {
    extractAndDecode(kAudio, suffixOf(file.playback.audioFormat.mediaId), *table.audio);
  }
  if (table.video && !hasNoParameterSets) {
    extractAndDecode(kVideo, suffixOf(file.playback.videoFormat.mediaId), *table.video);
  } else if (table.video) {
    const media::ScratchFolder scratch;
    const std::filesystem::path bare = scratch / "bare.h264";
    const Extraction extraction = extract(kVideo, bare);
    EXPECT_EQ(extraction.status, 65);
    EXPECT_THAT(extraction.error, testing::HasSubstr("no parameter sets"));
    EXPECT_FALSE(std::filesystem::exists(bare));
  }
}

INSTANTIATE_TEST_SUITE_P(Media, Extracting, testing::ValuesIn(golden::files()), media::caseName);

}  // namespace
