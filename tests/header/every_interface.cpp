// A host's classes over every interface that it implements, in both forms that keep the destructor
// out of the table: final, and as a base whose destructor is protected and not virtual.
#include <vela_splitter.h>

#include <type_traits>

using vela::CancelToken;
using vela::Guid;
using vela::HostStreamReader;
using vela::TIOResult;
using vela::Word64;

namespace {

template <class Interface>
class CountedBase : public Interface {
 public:
  uint32_t addRef() override { return ++references_; }
  uint32_t release() override { return --references_; }
  uint32_t queryInterface(const Guid*, void**) override { return 0; }
  void deletingDestructor(uint32_t) override {}

 protected:
  ~CountedBase() = default;

 private:
  uint32_t references_ = 0;
};

class Token final : public CancelToken {
  uint32_t isCancelled() override { return 0; }
};

class Context final : public vela::HostContext {
  uint32_t resolveSource(const char16_t*, void**) override { return 0; }
};

class Provider final : public CountedBase<vela::SourceProvider> {
  void unusedSlot4() override {}
  TIOResult open(const char16_t*, uint32_t, CancelToken*, void**) override {
    return TIOResult::sourceNotFound;
  }
};

class Stream final : public CountedBase<vela::HostStream> {
  uint32_t canSeek() override { return 1; }
  TIOResult seek(uint32_t, uint32_t, CancelToken*) override { return TIOResult::success; }
  void unusedSlot6() override {}
  TIOResult setLength(uint32_t, uint32_t, CancelToken*) override { return TIOResult::failed; }
  TIOResult getLength(uint64_t*, CancelToken*) override { return TIOResult::failed; }
  void unusedSlot9() override {}
  TIOResult getPosition(uint64_t*, CancelToken*) override { return TIOResult::failed; }
  uint32_t passThroughTwo(uintptr_t, uintptr_t) override { return 0; }
  uint32_t passThroughOne(uintptr_t) override { return 0; }
  TIOResult read(void*, uint32_t, uint32_t*, CancelToken*) override { return TIOResult::failed; }
  TIOResult skip(uint32_t, uint32_t*, CancelToken*) override { return TIOResult::failed; }
  TIOResult write(const void*, uint32_t, uint32_t*, CancelToken*) override {
    return TIOResult::failed;
  }
};

class StringSink final : public vela::IStringSink {
  uint64_t set(const char16_t*, uint32_t, uint32_t) override { return 0; }
};

class Sink final : public vela::ModuleSink {
  uint32_t onModule(vela::IModuleDescriptor*) override { return 0; }
};

class AudioFormat final : public vela::AudioFormat {
  void clear() override {}
  void set(const Guid*, const uint8_t*, uint32_t) override {}
};

class VideoFormat final : public vela::VideoFormat {
  void clear() override {}
  void set(const Guid*, const uint8_t*, uint32_t, int32_t, int32_t) override {}
};

class AudioPacket final : public vela::AudioPacket {
  void unusedSlot0() override {}
  void unusedSlot1() override {}
  uint32_t getFrameCount() override { return 0; }
  uint32_t getStartOffset() override { return 0; }
  void unusedSlot4() override {}
  void unusedSlot5() override {}
  void unusedSlot6() override {}
  void setMediaId(const Guid*) override {}
  void setSampleRate(uint32_t) override {}
  void setFrameCount(uint32_t) override {}
  void setStartOffset(uint32_t) override {}
  void unusedSlot11() override {}
  void setFurtherValue(uint32_t) override {}
  TIOResult readPayload(HostStreamReader*, uint32_t, CancelToken*) override {
    return TIOResult::failed;
  }
};

class VideoPacket final : public vela::VideoPacket {
  void unusedSlot0() override {}
  void unusedSlot1() override {}
  void unusedSlot2() override {}
  void unusedSlot3() override {}
  void reset() override {}
  void setMediaId(const Guid*) override {}
  void unusedSlot6() override {}
  TIOResult readPayload(HostStreamReader*, uint32_t, CancelToken*) override {
    return TIOResult::failed;
  }
  void setPictureSize(int32_t, int32_t) override {}
};

class InfoBase : public vela::MediaInfo {
  uint64_t getDuration() override { return 0; }
  void setDuration(Word64) override {}
  uint32_t getFlags() override { return 0; }
  void setFlags(uint32_t) override {}
  int32_t getTrackGain() override { return 0; }
  void setTrackGain(int32_t) override {}
  int32_t getAlbumGain() override { return 0; }
  void setAlbumGain(int32_t) override {}
  int32_t getTrackPeak() override { return 0; }
  void setTrackPeak(int32_t) override {}
  int32_t getAlbumPeak() override { return 0; }
  void setAlbumPeak(int32_t) override {}
  void unusedSlot12() override {}
  void unusedSlot13() override {}
  void unusedSlot14() override {}
  void addTags(uint32_t, uint32_t, const char16_t* const*, const uint32_t*, const char16_t* const*,
               const uint32_t*) override {}
  void unusedSlot16() override {}
  void beginChapters(uint32_t) override {}
  void addChapter(uint32_t, Word64, const char16_t*, uint32_t) override {}
  void unusedSlot19() override {}
  void unusedSlot20() override {}
  void unusedSlot21() override {}
  void unusedSlot22() override {}
  void setDescription(const vela::ItemDescription*) override {}

 protected:
  ~InfoBase() = default;
};

class Info final : public InfoBase {};

template <class... Objects>
constexpr bool kComplete = (!std::is_abstract_v<Objects> && ...);
static_assert(kComplete<Token, Context, Provider, Stream, StringSink, Sink, AudioFormat,
                        VideoFormat, AudioPacket, VideoPacket, Info>);

}  // namespace
