// libavformat over the same file, for comparison.
#pragma once
#include <cstdint>
#include <string>

struct AVFormatContext;
struct AVPacket;

namespace bench {

class LibavformatPlayer {
 public:
  explicit LibavformatPlayer(const std::string& file);
  LibavformatPlayer(const LibavformatPlayer&) = delete;
  LibavformatPlayer& operator=(const LibavformatPlayer&) = delete;
  ~LibavformatPlayer();

  /// Reads the file's head, through libavformat's own file reader. Chapters as a track, parsers and
  /// the search for stream parameters are left out, since the plug-in has none of them either.
  void open();
  void close();
  /// Takes the next packet. @return false at the end
  bool read();
  /// Goes to the key frame at or before the place. @param offset  host units
  void seek(uint64_t offset);

 private:
  std::string file_;
  AVFormatContext* format_ = nullptr;
  AVPacket* packet_;
};

}  // namespace bench
