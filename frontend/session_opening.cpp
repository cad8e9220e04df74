// Opening a session: the host's stream, the read cache over it, and the parse.
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
    const atomkit::ScanRange range = openStream(sourceName, token);
    SourceStream source(stream_.get(), token);
    movie_.parse(source, range, mode == CreationMode::playback ? kPlaying : kDescribing,
                 source.length());
    selectTracks();
    takeTrackFigures();
    return TIOResult::success;
  });
}

atomkit::ScanRange SplitterSession::openStream(const char16_t* sourceName, CancelToken* token) {
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
  if (stream_->canSeek()) return atomkit::ScanRange::wholeFile;
  if (cache) cache->readForwardOnly();
  return atomkit::ScanRange::upToMediaData;
}

}  // namespace vela
