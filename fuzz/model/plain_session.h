// PlainSession: what a splitter must answer, step by step, from what the file says.
#pragma once
#include <cstdint>
#include <optional>
#include <string_view>

#include "fuzz/model/plain_file.h"

namespace plain {

inline constexpr uint64_t kUnitsPerSecond = 16777216;
inline constexpr uint64_t kUnknown = ~uint64_t{0};

enum class Media { aac, mp3, mpeg4, avc };
enum class Next { none, video, audio };  // the numbers of the interface

/// What a read must bring.
struct Expected {
  enum class What { packet, end, refusal } what = What::refusal;
  uint64_t offset = 0;  ///< of the payload in the file, bytes
  uint32_t size = 0;
  uint32_t frames = 0;       ///< of the packet as it is decoded
  uint32_t framesLeft = 0;   ///< of those, what the host plays
  uint32_t startOffset = 0;  ///< frames before them that it drops
  uint64_t time = 0;         ///< of a picture, host units from the item's start
};

class PlainSession {
 public:
  /// @param file  borrowed
  explicit PlainSession(const PlainFile& file);

  /// Whether there is anything to play.
  bool opens() const { return opens_; }
  const PlainTrack* audio() const { return audio_; }
  const PlainTrack* video() const { return video_; }
  Media audioMedia() const { return audioMedia_; }
  Media videoMedia() const { return videoMedia_; }
  const PlainFile& file() const { return *file_; }
  uint64_t duration() const { return duration_; }  ///< host units, or kUnknown

  uint32_t itemCount() const;
  uint32_t itemId(uint32_t index) const;
  /// @return false where the item has no time to be played in; it is selected all the same
  bool select(uint32_t itemId);
  uint64_t rangeStart() const { return rangeStart_; }
  uint64_t rangeEnd() const { return rangeEnd_; }
  /// The chapter that is selected, if it is not the whole file.
  std::optional<uint32_t> chapter() const { return chapter_; }

  bool start(uint32_t itemId, bool wantsAudio, bool wantsVideo);
  bool seek(uint64_t offset);
  std::optional<Next> next();
  /// What the next read brings. It has been read once taken() is called; before that the same is
  /// expected again.
  Expected expectAudio();
  Expected expectVideo();
  void audioTaken();
  void videoTaken() { ++videoNext_; }

  bool audioStarted() const { return audioOn_; }
  bool videoStarted() const { return videoOn_; }
  /// Frames from the last seek to the item's end.
  uint64_t framesInRange() const { return framesInRange_; }

  static uint64_t toUnits(uint64_t ticks, uint64_t timescale);
  static uint64_t toTicks(uint64_t units, uint64_t timescale);

 private:
  void choose();
  Sample locate(const PlainTrack& track, Place& at, uint32_t sample);

  const PlainFile* file_;
  const PlainTrack* audio_ = nullptr;
  const PlainTrack* video_ = nullptr;
  Media audioMedia_ = Media::aac;
  Media videoMedia_ = Media::avc;
  bool opens_ = false;
  uint64_t duration_ = 0;

  uint64_t rangeStart_ = 0;
  uint64_t rangeEnd_ = 0;
  std::optional<uint32_t> chapter_;
  bool audioOn_ = false;
  bool videoOn_ = false;
  Place audioAt_;
  Place videoAt_;
  uint32_t audioNext_ = 0;
  uint32_t videoNext_ = 0;
  uint32_t primingLeft_ = 0;  // packets
  uint32_t toDrop_ = 0;       // frames
  uint64_t framesLeft_ = 0;
  uint64_t framesInRange_ = 0;
  Expected lastAudio_;
};

}  // namespace plain
