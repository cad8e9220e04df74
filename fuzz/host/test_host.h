// TestHost: a host over one input, which follows a script and watches what is asked of it. An
// operation that the contract doesn't list, or a call after the last reference was given back, ends
// the program.
#pragma once
#include <cstdint>
#include <functional>
#include <list>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "frontend/vela_splitter.h"
#include "fuzz/host/host_script.h"
#include "tests/support/require.h"

namespace fuzz {

using vela::TIOResult;

/// What the host's objects share: the script, how far it is, and what came of it.
class HostRun {
 public:
  explicit HostRun(const HostScript& script) : script_(&script) {}

  const HostScript& script() const { return *script_; }

  /// Counts a call.
  /// @return the faults that are due in it
  std::vector<Fault> enter(HostCall call);
  /// The code with which a call fails before or after its work; success for neither.
  TIOResult failure(const std::vector<Fault>& due, FaultKind kind);

  /// Called for FaultKind::callBack.
  std::function<void()> callBack;

  bool cancelled = false;                 ///< what the token says
  uint64_t calls = 0;                     ///< of all operations of the host's objects
  uint64_t faults = 0;                    ///< that had an effect
  bool bytesAreTrue = true;               ///< false once a call told or delivered something untrue
  std::set<uint32_t> codes;               ///< every code that was given
  std::optional<TIOResult> firstFailure;  ///< since it was last cleared
  bool saidCancelled = false;             ///< since it was last cleared

 private:
  const HostScript* script_;
  uint32_t counts_[static_cast<int>(HostCall::callKinds)] = {};
  bool inCallBack_ = false;
};

/// The four operations of a counted object.
template <class Interface>
class Counted : public Interface {
 public:
  uint32_t addRef() override { return ++references; }
  uint32_t release() override {
    REQUIRE(references > 0);
    return --references;
  }
  uint32_t queryInterface(const vela::Guid*, void**) override { std::abort(); }
  void deletingDestructor(uint32_t) override { std::abort(); }

  uint32_t references = 0;
};

class TestToken final : public vela::CancelToken {
 public:
  explicit TestToken(HostRun& run) : run_(&run) {}
  uint32_t isCancelled() override;

 private:
  HostRun* run_;
};

class TestStream final : public Counted<vela::HostStream> {
 public:
  TestStream(HostRun& run, const uint8_t* bytes, uint64_t count);

  uint32_t canSeek() override;
  TIOResult seek(uint32_t low, uint32_t high, vela::CancelToken*) override;
  void unusedSlot6() override { std::abort(); }
  TIOResult setLength(uint32_t, uint32_t, vela::CancelToken*) override { std::abort(); }
  TIOResult getLength(uint64_t* length, vela::CancelToken*) override;
  void unusedSlot9() override { std::abort(); }
  TIOResult getPosition(uint64_t* position, vela::CancelToken*) override;
  uint32_t passThroughTwo(uintptr_t first, uintptr_t second) override;
  uint32_t passThroughOne(uintptr_t argument) override;
  TIOResult read(void* buffer, uint32_t count, uint32_t* done, vela::CancelToken*) override;
  TIOResult skip(uint32_t count, uint32_t* done, vela::CancelToken*) override;
  TIOResult write(const void*, uint32_t, uint32_t*, vela::CancelToken*) override { std::abort(); }

 private:
  template <class Work>
  TIOResult perform(HostCall call, Work&& work);
  uint32_t advance(uint32_t count, const std::vector<Fault>& due);
  void resize(const std::vector<Fault>& due);

  HostRun* run_;
  const uint8_t* bytes_;
  uint64_t count_;
  uint64_t length_;
  uint64_t position_ = 0;
};

/// Every open() makes a stream of its own.
class TestProvider final : public Counted<vela::SourceProvider> {
 public:
  TestProvider(HostRun& run, const uint8_t* bytes, uint64_t count)
      : run_(&run), bytes_(bytes), count_(count) {}
  const std::list<TestStream>& streams() const { return streams_; }
  void unusedSlot4() override { std::abort(); }
  TIOResult open(const char16_t* name, uint32_t mode, vela::CancelToken*, void** out) override;

 private:
  HostRun* run_;
  const uint8_t* bytes_;
  uint64_t count_;
  std::list<TestStream> streams_;
};

class TestContext final : public vela::HostContext {
 public:
  TestContext(HostRun& run, TestProvider& provider) : run_(&run), provider_(&provider) {}
  uint32_t resolveSource(const char16_t* name, void** out) override;

 private:
  HostRun* run_;
  TestProvider* provider_;
};

/// All of them, in the order in which they depend on each other.
struct TestHost {
  TestHost(const HostScript& script, const uint8_t* fileBytes, uint64_t fileLength)
      : bytes(fileBytes),
        length(fileLength),
        run(script),
        token(run),
        provider(run, fileBytes, fileLength),
        context(run, provider),
        tokenOrNull(script.hasToken ? &token : nullptr) {}

  /// Whether nothing of the host is held any more.
  bool isReleased() const {
    bool held = provider.references != 0;
    for (const TestStream& stream : provider.streams()) held = held || stream.references != 0;
    return !held;
  }

  /// What any of its streams may deliver.
  uint64_t mostBytes() const { return length + UINT16_MAX; }

  const uint8_t* bytes;
  uint64_t length;
  HostRun run;
  TestToken token;
  TestProvider provider;
  TestContext context;
  vela::CancelToken* tokenOrNull;
};

}  // namespace fuzz
