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

// Rooms that every splitter is given: its own records and the read cache, and the records of a list
// of chapters.
constexpr uint64_t kRoomOnce = 128 * 1024 + 4 * 16384;
constexpr uint64_t kRoomOfChapters = 384 * 1024;
// A field of the tagging box may take five bytes in the file and 80 in memory, for a record and its
// name's block: twice as much as other bytes.
constexpr uint64_t kPerByte = 8;
constexpr uint64_t kPerByteOfShortFields = 16;
constexpr uint64_t kMoreForField = 40;

/// Bytes that the plug-in may hold at most for one splitter.
/// @param model  null where the rules refuse the file, or where it is not known what was read
uint64_t mostMemory(uint64_t fileBytes, const plain::PlainFile* model) {
  if (!model) return kPerByteOfShortFields * fileBytes + kRoomOnce + kRoomOfChapters;
  uint64_t fields = 0;
  for (const plain::Chapter& chapter : model->chapters) fields += chapter.tags.size();
  return kPerByte * fileBytes + kMoreForField * fields + kRoomOnce +
         (model->chapters.size() > 1 ? kRoomOfChapters : 0);
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
    const HostScript& script = host_.run.script();
    Held held;
    held.references = 1;
    Opened first;
    first.slot = script.slotHoldsObject ? &held : nullptr;
    void* const before = first.slot;
    const bool created = create(mode, first);
    REQUIRE(meter.mostBytes() <= mostMemory(host_.length, first.modelOrNull()));
    if (!created) {
      REQUIRE(first.slot == before && held.references == 1 && host_.isReleased());
      return;
    }
    REQUIRE(first.slot && first.slot != before && held.references == (before ? 0 : 1));

    Opened second;
    Choices choices(script.player);
    if (script.secondSplitter && create(mode, second)) {
      // One of them goes before the other one plays.
      Opened* const inTurn[] = {script.releasesInOrder ? &first : &second,
                                script.releasesInOrder ? &second : &first};
      for (Opened* const opened : inTurn) {
        drive(mode, *opened, choices);
        release(*opened);
      }
    } else {
      REQUIRE(!second.slot);
      drive(mode, first, choices);
      release(first);
    }
    REQUIRE(host_.isReleased());
    const uint64_t most =
        mostMemory(host_.length, first.modelOrNull()) +
        (script.secondSplitter ? mostMemory(host_.length, second.modelOrNull()) : 0);
    REQUIRE(meter.mostBytes() <= most);
  }

 private:
  /// A splitter, and the model of the file that it found.
  struct Opened {
    void* slot = nullptr;
    std::optional<plain::PlainFile> model;
    const plain::PlainFile* modelOrNull() const { return model ? &*model : nullptr; }
  };

  /// Creates a splitter, and the model of the file beside it.
  bool create(const Mode& mode, Opened& opened) {
    HostRun& run = host_.run;
    run.firstFailure.reset();
    run.saidCancelled = false;
    const uint64_t faults = run.faults;
    const uint64_t calls = run.calls;
    const TIOResult code = (factory_->*mode.create)(&opened.slot, u"input", host_.tokenOrNull);
    REQUIRE(isDocumented(run, code));
    REQUIRE(run.calls - calls <= mostCalls(host_.length));
    const bool created = code == TIOResult::success;
    if (!run.bytesAreTrue) return created;
    const bool seekable = run.script().seekable;
    opened.model =
        plain::PlainFile::read(host_.bytes, host_.length, mode.depth,
                               seekable ? plain::Access::seekable : plain::Access::forward);
    const bool opens = opened.model && plain::PlainSession(*opened.model).opens();
    // A fault may end the opening, but nothing opens that the rules refuse.
    if (created) REQUIRE(opens);
    if (run.faults == faults) {
      REQUIRE(opens == created);
      REQUIRE(opens || code == TIOResult::failed || run.firstFailure || !run.script().lengthKnown ||
              !seekable);
    } else if (opens && !created) {
      requireHandedOn(run, code);
    }
    return created;
  }

  void drive(const Mode& mode, Opened& opened, Choices& choices) {
    auto* const splitter = static_cast<vela::IMediaSplitter*>(opened.slot);
    auto* const playing = mode.plays ? static_cast<vela::IMediaSplitterEx*>(splitter) : nullptr;
    std::optional<plain::PlainSession> session;
    if (opened.model) session.emplace(*opened.model);
    CheckedPlayer player(host_, *splitter, playing, session ? &*session : nullptr);
    player_ = &player;
    player.run(choices);
    player_ = nullptr;
  }

  static void release(Opened& opened) {
    auto* const splitter = static_cast<vela::IObject*>(opened.slot);
    void* asked = nullptr;
    REQUIRE(splitter->queryInterface(&vela::kMediaSplitterId, &asked) == 1 && asked == opened.slot);
    REQUIRE(splitter->addRef() == 3);
    REQUIRE(splitter->release() == 2);
    REQUIRE(splitter->release() == 1);
    REQUIRE(static_cast<vela::IObject*>(asked)->release() == 0);
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
