// What describeItem() tells, kept.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "frontend/vela_splitter.h"

namespace velagst {

struct Tag {
  std::string name;
  std::string value;
};

struct ChapterMark {
  uint64_t start = 0;  ///< host units from the start of the file
  std::string title;
};

class ItemInfo final : public vela::MediaInfo {
 public:
  uint64_t getDuration() override { return duration; }
  void setDuration(vela::Word64 hostUnits) override { duration = vela::fromWord64(hostUnits); }
  uint32_t getFlags() override { return flags; }
  void setFlags(uint32_t value) override { flags = value; }
  int32_t getTrackGain() override { return trackGain; }
  void setTrackGain(int32_t value) override { trackGain = value; }
  int32_t getAlbumGain() override { return albumGain; }
  void setAlbumGain(int32_t value) override { albumGain = value; }
  int32_t getTrackPeak() override { return trackPeak; }
  void setTrackPeak(int32_t value) override { trackPeak = value; }
  int32_t getAlbumPeak() override { return albumPeak; }
  void setAlbumPeak(int32_t value) override { albumPeak = value; }
  void unusedSlot12() override {}
  void unusedSlot13() override {}
  void unusedSlot14() override {}
  void addTags(uint32_t position, uint32_t count, const char16_t* const* keys,
               const uint32_t* keyLengths, const char16_t* const* values,
               const uint32_t* valueLengths) override;
  void unusedSlot16() override {}
  void beginChapters(uint32_t count) override;
  void addChapter(uint32_t index, vela::Word64 start, const char16_t* title,
                  uint32_t titleLength) override;
  void unusedSlot19() override {}
  void unusedSlot20() override {}
  void unusedSlot21() override {}
  void unusedSlot22() override {}
  void setDescription(const vela::ItemDescription* record) override { description = *record; }

  uint64_t duration = vela::kUnknown64;  ///< host units
  uint32_t flags = 0;                    ///< vela::ReplayGainFlag bits
  int32_t trackGain = 0;                 ///< 1/10,000 dB
  int32_t albumGain = 0;                 ///< 1/10,000 dB
  int32_t trackPeak = 0;                 ///< 2^-23 of full scale
  int32_t albumPeak = 0;                 ///< 2^-23 of full scale
  std::vector<Tag> tags;                 ///< one entry for every value
  std::vector<ChapterMark> chapters;
  vela::ItemDescription description{};
};

}  // namespace velagst
