// Writes one stream's packets to a file, in the form that decoders of bare streams take.
#pragma once
#include <cstdint>
#include <optional>
#include <vector>

#include "cli/output_file.h"
#include "host/adts.h"
#include "host/packets.h"

namespace velahost {

/// AAC becomes ADTS; MP3 stays as it is; MPEG-4 Visual starts with its configuration; H.264 starts
/// with its parameter sets and gets start codes instead of lengths.
class ElementaryWriter {
 public:
  /// @param file  borrowed; created by the first packet that can be written
  /// @throws Failure (notRepresentable) when the format can't be written
  ElementaryWriter(cli::OutputFile& file, const AudioFormatRecord& format);
  ElementaryWriter(cli::OutputFile& file, const VideoFormatRecord& format);

  /// @param packet  its bytes may be changed
  /// @throws Failure (outputFailed, notRepresentable)
  void write(std::vector<uint8_t>& packet);

  uint64_t packets() const { return packets_; }
  uint64_t bytes() const { return bytes_; }

 private:
  void put(const uint8_t* bytes, size_t count);

  cli::OutputFile& file_;
  std::vector<uint8_t> head_;  ///< what precedes the first packet
  std::optional<AdtsSettings> adts_;
  bool annexB_ = false;
  uint64_t packets_ = 0;
  uint64_t bytes_ = 0;
};

}  // namespace velahost
