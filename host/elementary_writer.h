// Writes one stream's packets to a file, in the form that decoders of bare streams take.
#pragma once
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <vector>

#include "host/adts.h"
#include "host/packets.h"

namespace velahost {

/// AAC becomes ADTS; MP3 stays as it is; MPEG-4 Visual gets its configuration in front; H.264 gets
/// its parameter sets in front and start codes instead of lengths.
class ElementaryWriter {
 public:
  /// @throws Failure (outputFailed) when the file can't be made, (notRepresentable) when the format
  ///   can't be written, before the file is made
  ElementaryWriter(const std::filesystem::path& file, const AudioFormatRecord& format);
  ElementaryWriter(const std::filesystem::path& file, const VideoFormatRecord& format);
  ElementaryWriter(const ElementaryWriter&) = delete;
  ElementaryWriter& operator=(const ElementaryWriter&) = delete;
  /// Removes the file unless it was finished.
  ~ElementaryWriter();

  /// @param packet  its bytes may be changed
  /// @throws Failure (outputFailed, notRepresentable)
  void write(std::vector<uint8_t>& packet);

  /// Ends the file. @throws Failure (outputFailed)
  void finish();

  uint64_t packets() const { return packets_; }
  uint64_t bytes() const { return bytes_; }

 private:
  void open();
  void put(const uint8_t* bytes, size_t count);

  std::filesystem::path file_;
  std::ofstream out_;
  std::optional<AdtsSettings> adts_;
  bool annexB_ = false;
  bool finished_ = false;
  uint64_t packets_ = 0;
  uint64_t bytes_ = 0;
};

}  // namespace velahost
