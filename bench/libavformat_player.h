// libavformat over the same stream, for comparison.
#pragma once
#include <cstdint>

#include "bench/file_host.h"

struct AVFormatContext;
struct AVIOContext;
struct AVPacket;

namespace bench {

class LibavformatPlayer {
 public:
  /// @param stream  borrowed
  explicit LibavformatPlayer(FileStream& stream);
  LibavformatPlayer(const LibavformatPlayer&) = delete;
  LibavformatPlayer& operator=(const LibavformatPlayer&) = delete;
  ~LibavformatPlayer();

  /// Reads the file's head. Chapters as a track, parsers and the search for stream parameters are
  /// left out, since the plug-in has none of them either.
  void open();
  void close();
  /// Takes the next packet. @return false at the end
  bool read();
  /// Goes to the key frame at or before the place. @param offset  host units
  void seek(uint64_t offset);

 private:
  FileStream& stream_;
  AVIOContext* io_ = nullptr;
  AVFormatContext* format_ = nullptr;
  AVPacket* packet_;
};

}  // namespace bench
