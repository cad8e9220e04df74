#include "fuzz/targets/hosted_run.h"

#include <cstdlib>
#include <memory>
#include <optional>

#include "fuzz/host/memory_meter.h"
#include "fuzz/targets/checked_player.h"

extern "C" vela::ISplitterModule* VelaEntry();

namespace fuzz {
namespace {

class FactorySink final : public vela::ModuleSink {
 public:
  uint32_t onModule(vela::IModuleDescriptor* descriptor) override {
    return descriptor->getInterface(&factory_);
  }
  vela::ISplitterFactory& factory() const {
    return *static_cast<vela::ISplitterFactory*>(factory_);
  }

 private:
  void* factory_ = nullptr;
};

/// Something that an out-slot of the host's may hold before a creation.
struct Held final : Counted<vela::IObject> {};

// What the plug-in may hold at most: eight times the file, and rooms that every file is given (the
// cache, the list of chapters and their records, the splitter).
uint64_t mostMemory(uint64_t fileBytes) {
  return 8 * fileBytes + 128 * 1024 + 384 * 1024 + 256 * 1024;
}
// Calls of the host's objects that an opening may take.
uint64_t mostCalls(uint64_t fileBytes) { return 64 + 4 * fileBytes; }

struct Mode {
  TIOResult (vela::ISplitterFactory::*create)(void**, const char16_t*, vela::CancelToken*);
  plain::Depth depth;
  bool plays;
};
constexpr Mode kModes[] = {
    {&vela::ISplitterFactory::createSplitterEx, plain::Depth::playing, true},
    {&vela::ISplitterFactory::createSplitter, plain::Depth::describing, false}};

class HostedRun {
 public:
  HostedRun(const HostScript& script, const uint8_t* file, size_t length)
      : host_(script, file, length), module_(VelaEntry()) {
    REQUIRE(module_ && module_->getVersion() == vela::kInterfaceVersion);
    module_->attachHost(&host_.context);
    FactorySink sink;
    REQUIRE(module_->enumerate(&sink) == 1);
    factory_ = &sink.factory();
    host_.run.callBack = [this] { callBack(); };
  }
  ~HostedRun() { module_->deletingDestructor(1); }
  HostedRun(const HostedRun&) = delete;
  HostedRun& operator=(const HostedRun&) = delete;

  void run(const Mode& mode, const MemoryMeter& meter) {
    Held held;
    held.references = 1;
    void* slot = host_.run.script().slotHoldsObject ? &held : nullptr;
    void* const before = slot;
    const TIOResult code = create(mode, &slot);
    if (code != TIOResult::success) {
      REQUIRE(slot == before && held.references == 1 && host_.isReleased());
      return;
    }
    REQUIRE(slot && slot != before && held.references == (before ? 0 : 1));
    REQUIRE(meter.mostBytes() <= mostMemory(host_.length));

    auto* const splitter = static_cast<vela::IMediaSplitter*>(slot);
    auto* const playing = mode.plays ? static_cast<vela::IMediaSplitterEx*>(splitter) : nullptr;
    std::optional<plain::PlainSession> session;
    if (model_) session.emplace(*model_);
    {
      CheckedPlayer player(host_, *splitter, playing, session ? &*session : nullptr);
      player_ = &player;
      Choices choices(host_.run.script().player);
      void* second = nullptr;
      if (host_.run.script().secondSplitter) {
        (void)(factory_->*mode.create)(&second, u"input", host_.tokenOrNull);
      }
      player.run(choices);
      player_ = nullptr;
      if (second) REQUIRE(static_cast<vela::IObject*>(second)->release() == 0);
    }
    // The reference of a face that was asked for goes last or first.
    void* asked = nullptr;
    REQUIRE(splitter->queryInterface(&vela::kMediaSplitterId, &asked) == 1 && asked == slot);
    if (host_.run.script().releasesModuleLast) std::swap(asked, slot);
    REQUIRE(static_cast<vela::IObject*>(slot)->release() == 1);
    REQUIRE(static_cast<vela::IObject*>(asked)->release() == 0);
    REQUIRE(host_.isReleased());
    REQUIRE(meter.mostBytes() <= mostMemory(host_.length));
  }

 private:
  /// Creates the splitter, and the model of the file beside it.
  TIOResult create(const Mode& mode, void** slot) {
    HostRun& run = host_.run;
    run.firstFailure.reset();
    run.saidCancelled = false;
    const uint64_t faults = run.faults;
    const uint64_t calls = run.calls;
    const TIOResult code = (factory_->*mode.create)(slot, u"input", host_.tokenOrNull);
    REQUIRE(isDocumented(run, code));
    REQUIRE(run.calls - calls <= mostCalls(host_.length));
    model_.reset();
    if (!run.bytesAreTrue) return code;
    const bool seekable = run.script().seekable;
    model_ = plain::PlainFile::read(host_.bytes, host_.length, mode.depth,
                                    seekable ? plain::Access::seekable : plain::Access::forward);
    const bool opens = model_ && plain::PlainSession(*model_).opens();
    // A fault may end the opening, but nothing opens that the rules refuse.
    if (code == TIOResult::success) REQUIRE(opens);
    if (run.faults == faults) {
      REQUIRE(opens == (code == TIOResult::success));
      REQUIRE(opens || code == TIOResult::failed || run.firstFailure || !run.script().lengthKnown ||
              !seekable);
    } else if (run.saidCancelled && !run.firstFailure) {
      REQUIRE(code == TIOResult::cancelled);
    }
    return code;
  }

  void callBack() {
    REQUIRE(module_->getVersion() == vela::kInterfaceVersion);
    REQUIRE(factory_->matchesFilter(u"a.mp4") != 0 && factory_->matchesFilter(u"a.mp3") == 0);
    void* slot = nullptr;
    REQUIRE(factory_->createSplitterAlt(&slot, u"input", nullptr) == TIOResult::failed && !slot);
    if (player_) player_->callFromInside();
  }

  TestHost host_;
  vela::ISplitterModule* module_;
  vela::ISplitterFactory* factory_ = nullptr;
  std::optional<plain::PlainFile> model_;
  CheckedPlayer* player_ = nullptr;
};

}  // namespace

void runHosted(const HostScript& script, const uint8_t* file, size_t length) {
  for (const Mode& mode : kModes) {
    MemoryMeter meter;
    HostedRun(script, file, length).run(mode, meter);
    REQUIRE(meter.heldBlocks() == 0);
  }
}

}  // namespace fuzz
