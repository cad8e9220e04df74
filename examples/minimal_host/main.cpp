// A whole host of vela_splitter_mp4 in one file, written against vela_splitter.h alone: it tells
// what a file holds and pulls the packets from one second on. What is missing is the decoders.
//
// Usage: minimal_host PLUGIN FILE
#include <vela_splitter.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace {

using vela::CancelToken;
using vela::Guid;
using vela::TIOResult;

// -------------------------------------------------------------------------------------------------
// The library

/// Loads the plug-in; unloads it after everything that was declared later is gone.
class Library {
 public:
  explicit Library(const std::filesystem::path& file) {
#ifdef _WIN32
    handle_ = LoadLibraryW(file.c_str());
#else
    handle_ = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
#endif
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() {
    if (!handle_) return;
#ifdef _WIN32
    FreeLibrary(handle_);
#else
    dlclose(handle_);
#endif
  }

  /// @return the export, or null when there is no such library or it exports something else
  VelaEntryFunction entry() const {
    if (!handle_) return nullptr;
#ifdef _WIN32
    void* const found = reinterpret_cast<void*>(GetProcAddress(handle_, kVelaEntryName));
#else
    void* const found = dlsym(handle_, kVelaEntryName);
#endif
    return reinterpret_cast<VelaEntryFunction>(found);
  }

 private:
#ifdef _WIN32
  HMODULE handle_;
#else
  void* handle_;
#endif
};

/// What the module is given to enumerate into: takes the factory out of the descriptor.
class FactorySink final : public vela::ModuleSink {
 public:
  uint32_t onModule(vela::IModuleDescriptor* module) override {
    return module->getInterface(&factory);
  }

  void* factory = nullptr;  // an out-slot; the factory is not counted, so nothing is given back
};

struct EndModule {
  void operator()(vela::ISplitterModule* module) const { module->deletingDestructor(1); }
};

struct ReleaseObject {
  void operator()(vela::IObject* object) const { object->release(); }
};

// -------------------------------------------------------------------------------------------------
// Sources: the plug-in asks the context for a provider, and the provider for a stream

/// The counted part of an object. Its destructor is protected and not virtual, because a virtual
/// one would take slots of the table.
template <class Self, class Interface>
class Counted : public Interface {
 public:
  uint32_t addRef() override { return ++references_; }
  uint32_t release() override {
    const uint32_t left = --references_;
    if (left == 0) deletingDestructor(1);
    return left;
  }
  uint32_t queryInterface(const Guid*, void**) override { return 0; }  // never asked
  void deletingDestructor(uint32_t) override { delete static_cast<Self*>(this); }

 protected:
  ~Counted() = default;

 private:
  uint32_t references_ = 0;
};

/// Stores a counted object in an out-slot of the plug-in.
void storeInOutSlot(void** out, vela::IObject* object) {
  object->addRef();
  void* const previous = *out;
  *out = object;
  if (previous) static_cast<vela::IObject*>(previous)->release();
}

/// A file that is read.
class FileStream final : public Counted<FileStream, vela::HostStream> {
 public:
  explicit FileStream(const std::filesystem::path& file)
      : file_(file, std::ios::binary | std::ios::ate) {
    const std::streamoff end = file_.tellg();
    if (end >= 0) length_ = static_cast<uint64_t>(end);
    file_.seekg(0);
  }
  bool isOpen() const { return file_.is_open() && file_.good(); }

  uint32_t canSeek() override { return 1; }
  TIOResult seek(uint32_t low, uint32_t high, CancelToken*) override {
    return moveTo(vela::fromWord64({low, high}));
  }
  void unusedSlot6() override {}
  TIOResult setLength(uint32_t, uint32_t, CancelToken*) override { return TIOResult::failed; }
  TIOResult getLength(uint64_t* length, CancelToken*) override {
    *length = length_;
    return TIOResult::success;
  }
  void unusedSlot9() override {}
  TIOResult getPosition(uint64_t* position, CancelToken*) override {
    *position = position_;
    return TIOResult::success;
  }
  uint32_t passThroughTwo(uintptr_t, uintptr_t) override { return 0; }
  uint32_t passThroughOne(uintptr_t) override { return 0; }

  TIOResult read(void* buffer, uint32_t count, uint32_t* done, CancelToken*) override {
    const uint32_t wanted = upToTheEnd(count);
    if (!file_.read(static_cast<char*>(buffer), wanted)) {
      file_.clear();
      return TIOResult::failed;
    }
    position_ += wanted;
    *done = wanted;
    return TIOResult::success;
  }
  TIOResult skip(uint32_t count, uint32_t* done, CancelToken*) override {
    *done = upToTheEnd(count);
    return moveTo(position_ + *done);
  }
  TIOResult write(const void*, uint32_t, uint32_t*, CancelToken*) override {
    return TIOResult::failed;
  }

 private:
  uint32_t upToTheEnd(uint32_t count) const {
    return static_cast<uint32_t>(std::min<uint64_t>(count, length_ - position_));
  }
  TIOResult moveTo(uint64_t position) {
    if (position > length_) return TIOResult::outOfRange;
    if (!file_.seekg(static_cast<std::streamoff>(position))) {
      file_.clear();
      return TIOResult::failed;
    }
    position_ = position;
    return TIOResult::success;
  }

  std::ifstream file_;
  uint64_t length_ = 0;
  uint64_t position_ = 0;
};

/// Source names are file names. No exception may leave an operation, and the standard library
/// throws for names that it can't convert.
class FileProvider final : public Counted<FileProvider, vela::SourceProvider> {
 public:
  void unusedSlot4() override {}
  TIOResult open(const char16_t* sourceName, uint32_t, CancelToken*, void** out) override {
    try {
      auto stream = std::make_unique<FileStream>(std::filesystem::path(sourceName));
      if (!stream->isOpen()) return TIOResult::sourceNotFound;
      storeInOutSlot(out, static_cast<vela::HostStreamControl*>(stream.release()));
      return TIOResult::success;
    } catch (const std::exception&) {
      return TIOResult::sourceNotFound;
    }
  }
};

class FileContext final : public vela::HostContext {
 public:
  uint32_t resolveSource(const char16_t* sourceName, void** out) override {
    try {
      if (!std::filesystem::is_regular_file(sourceName)) return 0;
      storeInOutSlot(out, new FileProvider);
      return 1;
    } catch (const std::exception&) {
      return 0;
    }
  }
};

// -------------------------------------------------------------------------------------------------
// What the plug-in fills

/// The decoder configuration of a stream; a player makes its decoder from it.
class AudioFormat final : public vela::AudioFormat {
 public:
  void clear() override { present = false; }
  void set(const Guid*, const uint8_t*, uint32_t size) override {
    present = true;
    configBytes = size;
  }

  bool present = false;
  uint32_t configBytes = 0;
};

class VideoFormat final : public vela::VideoFormat {
 public:
  void clear() override { present = false; }
  void set(const Guid*, const uint8_t*, uint32_t size, int32_t, int32_t) override {
    present = true;
    configBytes = size;
  }

  bool present = false;
  uint32_t configBytes = 0;
};

/// Takes all `count` bytes, or fails. The count comes from the file, so memory is only asked for as
/// the bytes arrive.
TIOResult takePayload(std::vector<uint8_t>& bytes, vela::HostStreamReader* reader, uint32_t count,
                      CancelToken* token) {
  constexpr uint32_t kPiece = 65536;
  bytes.clear();
  while (bytes.size() < count) {
    const size_t had = bytes.size();
    const auto wanted = static_cast<uint32_t>(std::min<size_t>(count - had, kPiece));
    try {
      bytes.resize(had + wanted);
    } catch (const std::exception&) {
      return TIOResult::outOfMemory;
    }
    uint32_t done = 0;
    const TIOResult result = reader->read(bytes.data() + had, wanted, &done, token);
    if (result != TIOResult::success) return result;
    if (done < wanted) return TIOResult::failed;
  }
  return TIOResult::success;
}

class AudioPacket final : public vela::AudioPacket {
 public:
  void unusedSlot0() override {}
  void unusedSlot1() override {}
  uint32_t getFrameCount() override { return frames; }
  uint32_t getStartOffset() override { return startOffset; }
  void unusedSlot4() override {}
  void unusedSlot5() override {}
  void unusedSlot6() override {}
  void setMediaId(const Guid*) override {}
  void setSampleRate(uint32_t) override {}
  void setFrameCount(uint32_t count) override { frames = count; }
  void setStartOffset(uint32_t count) override { startOffset = count; }
  void unusedSlot11() override {}
  void setFurtherValue(uint32_t) override {}
  TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count,
                        CancelToken* token) override {
    return takePayload(bytes, reader, count, token);
  }

  std::vector<uint8_t> bytes;
  uint32_t frames = 0;       // to play; 0: the packet only primes the decoder
  uint32_t startOffset = 0;  // frames of the decoded packet to drop before those
};

class VideoPacket final : public vela::VideoPacket {
 public:
  void unusedSlot0() override {}
  void unusedSlot1() override {}
  void unusedSlot2() override {}
  void unusedSlot3() override {}
  void reset() override { bytes.clear(); }
  void setMediaId(const Guid*) override {}
  void unusedSlot6() override {}
  TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count,
                        CancelToken* token) override {
    return takePayload(bytes, reader, count, token);
  }
  void setPictureSize(int32_t, int32_t) override {}

  std::vector<uint8_t> bytes;
};

/// Keeps the duration, the record and the number of chapters; replay gain and tags are passed over.
class ItemInfo final : public vela::MediaInfo {
 public:
  uint64_t getDuration() override { return duration; }
  void setDuration(vela::Word64 hostUnits) override { duration = vela::fromWord64(hostUnits); }
  uint32_t getFlags() override { return flags_; }
  void setFlags(uint32_t flags) override { flags_ = flags; }
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
  void beginChapters(uint32_t count) override { chapters = count; }
  void addChapter(uint32_t, vela::Word64, const char16_t*, uint32_t) override {}
  void unusedSlot19() override {}
  void unusedSlot20() override {}
  void unusedSlot21() override {}
  void unusedSlot22() override {}
  void setDescription(const vela::ItemDescription* record) override { description = *record; }

  uint64_t duration = vela::kUnknown64;  // host units
  uint32_t chapters = 0;
  vela::ItemDescription description{};

 private:
  uint32_t flags_ = 0;
};

double seconds(int64_t hostUnits) {
  return static_cast<double>(hostUnits) / vela::kHostUnitsPerSecond;
}

// -------------------------------------------------------------------------------------------------
// The host

TIOResult describe(vela::IMediaSplitterEx& splitter) {
  ItemInfo info;
  const TIOResult result = splitter.describeItem(splitter.getItemId(0), &info, nullptr);
  if (result != TIOResult::success) return result;
  std::printf("%u item(s); the first lasts %.3f s and lists %u chapter(s)\n",
              splitter.getItemCount(), seconds(static_cast<int64_t>(info.duration)), info.chapters);
  std::printf("audio: %s, video: %s\n", info.description.audioFormatName,
              info.description.videoFormatName);
  return TIOResult::success;
}

TIOResult play(vela::IMediaSplitterEx& splitter) {
  AudioFormat audioFormat;
  VideoFormat videoFormat;
  TIOResult result = splitter.startItem(splitter.getItemId(0), &audioFormat, &videoFormat, nullptr);
  if (result != TIOResult::success) return result;
  std::printf("decoder configurations of %u and %u bytes\n", audioFormat.configBytes,
              videoFormat.configBytes);

  result = splitter.seekTo(vela::toWord64(vela::kHostUnitsPerSecond), nullptr);
  if (result != TIOResult::success) return result;

  AudioPacket audio;
  VideoPacket video;
  uint32_t audioPackets = 0;
  uint32_t videoPackets = 0;
  uint64_t frames = 0;
  uint8_t audioEnded = audioFormat.present ? 0 : 1;
  uint8_t videoEnded = videoFormat.present ? 0 : 1;
  while (!audioEnded || !videoEnded) {
    uint32_t next = vela::kNextNone;
    result = splitter.nextStream(&next);
    if (result != TIOResult::success) return result;
    if (next == vela::kNextNone) break;
    // A stream at its end may still be named; then it is the other one's turn.
    if (videoEnded || (next == vela::kNextAudio && !audioEnded)) {
      result = splitter.readAudioPacket(&audio, &audioEnded, nullptr);
      if (result != TIOResult::success) return result;
      if (audioEnded) continue;
      frames += audio.frames;  // a player decodes `bytes` and plays frames [startOffset, + frames)
      if (audioPackets++ == 0) std::printf("audio: %zu bytes first\n", audio.bytes.size());
    } else {
      uint64_t time = 0;
      result = splitter.readVideoPacket(&video, &videoEnded, &time, nullptr);
      if (result != TIOResult::success) return result;
      if (videoEnded) continue;
      if (videoPackets++ == 0) {
        std::printf("video: %zu bytes first, shown at %.3f s\n", video.bytes.size(),
                    seconds(static_cast<int64_t>(time)));
      }
    }
  }
  std::printf("%u audio packets with %llu frames to play, %u video packets\n", audioPackets,
              static_cast<unsigned long long>(frames), videoPackets);
  return TIOResult::success;
}

int fail(const char* what, TIOResult result) {
  std::fprintf(stderr, "%s: result %u\n", what, static_cast<unsigned>(result));
  return 1;
}

int run(const std::filesystem::path& plugin, const std::filesystem::path& file) {
  FileContext host;
  const Library library(std::filesystem::absolute(plugin));
  const VelaEntryFunction entry = library.entry();
  if (!entry) return fail("plug-in", TIOResult::sourceNotFound);

  const std::unique_ptr<vela::ISplitterModule, EndModule> module(entry());
  if (!module) return fail("module", TIOResult::outOfMemory);
  if (module->getVersion() != vela::kInterfaceVersion) return fail("version", TIOResult::failed);
  module->attachHost(&host);
  FactorySink sink;
  module->enumerate(&sink);
  if (!sink.factory) return fail("factory", TIOResult::outOfMemory);
  auto* const factory = static_cast<vela::ISplitterFactory*>(sink.factory);

  void* opened = nullptr;  // an out-slot
  TIOResult result = factory->createSplitterEx(&opened, file.u16string().c_str(), nullptr);
  if (result != TIOResult::success) return fail("opening", result);
  const std::unique_ptr<vela::IMediaSplitterEx, ReleaseObject> splitter(
      static_cast<vela::IMediaSplitterEx*>(opened));

  result = describe(*splitter);
  if (result != TIOResult::success) return fail("describing", result);
  result = play(*splitter);
  if (result != TIOResult::success) return fail("playing", result);
  return 0;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 3) {
    std::fprintf(stderr, "usage: minimal_host PLUGIN FILE\n");
    return 2;
  }
  try {
    return run(arguments[1], arguments[2]);
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "%s\n", exception.what());
    return 1;
  }
}
