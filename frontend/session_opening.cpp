// Opening a session: the host's stream, the read cache over it, and the parse.
#include <optional>

#include "frontend/cache_windows.h"
#include "frontend/guarded.h"
#include "frontend/read_cache.h"
#include "frontend/source_stream.h"
#include "frontend/splitter_session.h"
#include "hal/memory/memory.h"

namespace vela {
namespace {

constexpr uint32_t kHostOpenForReading = 0;

/// An option of every parse that no reader of the library looks at.
constexpr atomkit::ParseOptions kUnreadOption = 0x04;
constexpr atomkit::ParseOptions kDescribing =
    atomkit::kWantVideo | atomkit::kWantAudio | atomkit::kWantTextTags | kUnreadOption;
constexpr atomkit::ParseOptions kPlaying = kDescribing | atomkit::kWantSampleTables;
static_assert(kDescribing == 0x36 && kPlaying == 0x37);

}  // namespace

TIOResult SplitterSession::openSession(const char16_t* sourceName, CreationMode mode,
                                       CancelToken* token) noexcept {
  // DELIBERATE D-004: a splitter of mode 2 has a class and slots of its own, and is refused before
  // the source is touched. Hosts probe for it.
  if (mode == CreationMode::refused) return TIOResult::failed;
  return guarded([&] {
    ReadCache* const cache = openStream(sourceName, token);
    const bool canSeek = stream_->canSeek();
    if (cache && !canSeek) cache->readForwardOnly();
    SourceStream source(stream_.get(), token);
    std::optional<CacheWindows> windows;
    if (cache && canSeek) windows.emplace(*cache, token);
    movie_.parse(source,
                 canSeek ? atomkit::ScanRange::wholeFile : atomkit::ScanRange::upToMediaData,
                 mode == CreationMode::playback ? kPlaying : kDescribing, source.length(),
                 windows ? &*windows : nullptr);
    selectTracks();
    takeTrackFigures();
    return TIOResult::success;
  });
}

ReadCache* SplitterSession::openStream(const char16_t* sourceName, CancelToken* token) {
  void* slot = nullptr;
  const uint32_t resolved = hostContext_->resolveSource(sourceName, &slot);
  auto provider = Reference<SourceProvider>::adopt(slot);
  if (!resolved || !provider) throw TIOResult::sourceNotFound;

  slot = nullptr;
  const TIOResult result = provider->open(sourceName, kHostOpenForReading, token, &slot);
  provider.reset();
  auto hostStream = Reference<HostStream>::adopt(slot);
  throwOnFailure(result);
  if (!hostStream) throw TIOResult::failed;

  // Without memory for the cache the host's stream does, only slower.
  ReadCache* const cache = VMemory::GNew<ReadCache>(hostStream.get());
  stream_.reset(cache ? cache : hostStream.get());
  hostStream.reset();
  return cache;
}

}  // namespace vela
