// A range of a file, written as a file that plays by itself.
#pragma once
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "cli/output_file.h"
#include "host/media_info.h"
#include "host/range_reader.h"

namespace velahost {

/// How a range is written.
enum class Form {
  mp4,   ///< exactly the frames of the range, with what primes the decoder before them, unplayed
  bare,  ///< sound alone, in whole packets: ADTS or MP3
};

/// What was written of one stream.
struct WrittenStream {
  std::string codec;  ///< empty: no such stream
  uint64_t packets = 0;
  uint64_t bytes = 0;
  uint64_t frames = 0;        ///< audio: that belong to the range
  uint64_t framesBefore = 0;  ///< audio: decoded before them; hidden by MP4, heard of bare packets
  uint64_t framesAfter = 0;   ///< audio: decoded after them; likewise
  uint64_t passedOver = 0;    ///< video: pictures shown before the first one
};

struct WrittenFile {
  WrittenStream audio;
  WrittenStream video;
  int64_t origin = 0;  ///< where it begins, in host units from the start of the item that was read
};

/// Tags as libavformat names them, and what of the plug-in's tags it has no name for.
struct FileTags {
  std::vector<std::pair<std::string, std::string>> tags;
  std::vector<std::string> leftOut;
};

/// @param title  takes the place of the tag of that name; empty: none
FileTags fileTags(const MediaInfoRecord& info, const std::string& title);

/// Told the place in the file of each packet that is copied.
using Reached = std::function<void(uint64_t fileOffset)>;

/// Reads the range twice, first without the payloads, because MP4 wants to know its times before
/// the first packet. Bare packets are read once. Memory: eight bytes for each picture.
/// @param file  unfinished afterwards
/// @throws Failure; the file is then not whole
WrittenFile writePlayable(Playback& playback, const Range& range, Form form, uint32_t channels,
                          const FileTags& tags, const Reached& reached, cli::OutputFile& file);

}  // namespace velahost
