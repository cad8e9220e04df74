// Fakes of the sinks that a splitter, its factory and its module report to.
#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "frontend/vela_splitter.h"
#include "tests/support/call_log.h"

/// The text that a pointer and a count give, where vela::kUntilNul means up to the NUL.
inline std::u16string countedText(const char16_t* text, uint32_t count) {
  return count == vela::kUntilNul ? std::u16string(text) : std::u16string(text, count);
}

/// Records what describeItem() reports. The log holds "setDuration 1000", "getFlags", "setFlags 0",
/// "setTrackGain -65400" (likewise the other three), "setDescription", "beginChapters 2",
/// "addChapter 0 at 0: Title" and "addTag artist = Someone".
class FakeMediaInfo final : public vela::MediaInfo, public CallLog {
 public:
  struct Chapter {
    uint32_t index;
    uint64_t start;  ///< host units
    std::u16string title;
    uint32_t titleLength;  ///< as it was given
    bool operator==(const Chapter&) const = default;
  };
  struct Tag {
    std::u16string key;
    std::u16string value;
    bool operator==(const Tag&) const = default;
  };

  uint64_t duration = 0;
  uint32_t flags = 0;
  int32_t trackGain = 0;
  int32_t albumGain = 0;
  int32_t trackPeak = 0;
  int32_t albumPeak = 0;
  vela::ItemDescription record88{};
  uint32_t chaptersAnnounced = 0;
  std::vector<Chapter> chapters;
  std::vector<Tag> tags;

  uint64_t getDuration() override {
    record("getDuration");
    return duration;
  }
  void setDuration(vela::Word64 hostUnits) override {
    duration = vela::fromWord64(hostUnits);
    record("setDuration " + std::to_string(duration));
  }
  uint32_t getFlags() override {
    record("getFlags");
    return flags;
  }
  void setFlags(uint32_t value) override {
    flags = value;
    record("setFlags " + std::to_string(value));
  }
  int32_t getTrackGain() override { return load(trackGain, "getTrackGain"); }
  void setTrackGain(int32_t value) override { store(trackGain, value, "setTrackGain "); }
  int32_t getAlbumGain() override { return load(albumGain, "getAlbumGain"); }
  void setAlbumGain(int32_t value) override { store(albumGain, value, "setAlbumGain "); }
  int32_t getTrackPeak() override { return load(trackPeak, "getTrackPeak"); }
  void setTrackPeak(int32_t value) override { store(trackPeak, value, "setTrackPeak "); }
  int32_t getAlbumPeak() override { return load(albumPeak, "getAlbumPeak"); }
  void setAlbumPeak(int32_t value) override { store(albumPeak, value, "setAlbumPeak "); }

  void addTags(uint32_t position, uint32_t count, const char16_t* const* keys,
               const uint32_t* keyLengths, const char16_t* const* values,
               const uint32_t* valueLengths) override {
    EXPECT_EQ(position, 0xffffffffu) << "tags are appended";
    EXPECT_EQ(count, 1u) << "tags come pair by pair";
    for (uint32_t i = 0; i < count; ++i) {
      EXPECT_EQ(keyLengths[i], vela::kUntilNul);
      EXPECT_EQ(valueLengths[i], vela::kUntilNul);
      tags.push_back(
          {countedText(keys[i], keyLengths[i]), countedText(values[i], valueLengths[i])});
      record("addTag " + loggable(tags.back().key) + " = " + loggable(tags.back().value));
    }
  }
  void beginChapters(uint32_t count) override {
    chaptersAnnounced = count;
    record("beginChapters " + std::to_string(count));
  }
  void addChapter(uint32_t index, vela::Word64 start, const char16_t* title,
                  uint32_t titleLength) override {
    chapters.push_back(
        {index, vela::fromWord64(start), countedText(title, titleLength), titleLength});
    record("addChapter " + std::to_string(index) + " at " + std::to_string(chapters.back().start) +
           ": " + loggable(chapters.back().title));
  }
  void setDescription(const vela::ItemDescription* description) override {
    record88 = *description;
    record("setDescription");
  }

  void unusedSlot12() override { unused(); }
  void unusedSlot13() override { unused(); }
  void unusedSlot14() override { unused(); }
  void unusedSlot16() override { unused(); }
  void unusedSlot19() override { unused(); }
  void unusedSlot20() override { unused(); }
  void unusedSlot21() override { unused(); }
  void unusedSlot22() override { unused(); }

 private:
  int32_t load(int32_t field, const char* call) {
    record(call);
    return field;
  }
  void store(int32_t& field, int32_t value, const char* call) {
    field = value;
    record(call + std::to_string(value));
  }
  static void unused() { ADD_FAILURE() << "a slot that is not used was called"; }
};

/// Follows the string contract: a start past the end appends. The log holds "set 12 units at 0"
/// with the count and the start as they were given.
class FakeStringSink final : public vela::IStringSink, public CallLog {
 public:
  std::u16string text;

  uint64_t set(const char16_t* source, uint32_t count, uint32_t start) override {
    record("set " + std::to_string(count) + " units at " + std::to_string(start));
    if (start < text.size()) text.resize(start);
    if (source) text += countedText(source, count);
    return 0;
  }
};

/// Keeps the descriptor that the module reports.
class FakeModuleSink final : public vela::ModuleSink {
 public:
  vela::IModuleDescriptor* descriptor = nullptr;
  uint32_t calls = 0;
  uint32_t result = 1;  ///< what onModule() gives back

  uint32_t onModule(vela::IModuleDescriptor* reported) override {
    ++calls;
    descriptor = reported;
    return result;
  }
};
