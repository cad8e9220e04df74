#include "fuzz/host/test_host.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace fuzz {
namespace {

bool has(const std::vector<Fault>& due, FaultKind kind) {
  return std::any_of(due.begin(), due.end(),
                     [&](const Fault& fault) { return fault.kind == kind; });
}

uint16_t argumentOf(const std::vector<Fault>& due, FaultKind kind) {
  for (const Fault& fault : due) {
    if (fault.kind == kind) return fault.argument;
  }
  return 0;
}

/// Lengths that hosts may claim, besides the true one.
uint64_t lie(uint16_t argument, uint64_t length) {
  switch (argument % 8) {
    case 0:
      return 0;
    case 1:
      return vela::kUnknown64;
    case 2:
      return uint64_t{1} << 60;
    case 3:
      return length / 2;
    case 4:
      return length * 2;
    case 5:
      return vela::kUnknown64 - 1;
    case 6:
      return uint64_t{1} << 32;
    default:
      return argument;
  }
}

/// Documented codes are small; the others reach over all 32 bits, the sign too.
uint32_t codeOf(uint16_t argument) {
  if (argument < 0x100) return std::max<uint32_t>(1, argument);
  return uint32_t{argument} << 16 | argument;
}

/// Whether a fault strikes every call from its number on, not this one alone.
bool goesOn(const Fault& fault) {
  return fault.kind == FaultKind::failFromThen ||
         (fault.kind == FaultKind::half && fault.argument % 2 != 0);
}

void store(void** out, vela::IObject* object) {
  object->addRef();
  if (auto* previous = static_cast<vela::IObject*>(std::exchange(*out, object))) {
    previous->release();
  }
}

}  // namespace

std::vector<Fault> HostRun::enter(HostCall call) {
  ++calls;
  const uint32_t ofAny = counts_[static_cast<int>(HostCall::any)]++;
  const uint32_t ofKind = counts_[static_cast<int>(call)]++;
  std::vector<Fault> due;
  for (const Fault& fault : script_->faults) {
    if (fault.call != HostCall::any && fault.call != call) continue;
    const uint32_t number = fault.call == HostCall::any ? ofAny : ofKind;
    if (goesOn(fault) ? number >= fault.at : number == fault.at) {
      due.push_back(fault);
    }
  }
  if (has(due, FaultKind::cancel)) cancelled = true;
  if (has(due, FaultKind::callBack) && callBack && !inCallBack_) {
    inCallBack_ = true;
    callBack();
    inCallBack_ = false;
  }
  return due;
}

TIOResult HostRun::failure(const std::vector<Fault>& due, FaultKind kind) {
  if (!has(due, kind)) return TIOResult::success;
  ++faults;
  const uint32_t code = codeOf(argumentOf(due, kind));
  codes.insert(code);
  const auto result = static_cast<TIOResult>(code);
  if (!firstFailure) firstFailure = result;
  return result;
}

uint32_t TestToken::isCancelled() {
  const auto due = run_->enter(HostCall::other);
  const bool yes = run_->cancelled || has(due, FaultKind::cancelOnce);
  if (yes) {
    run_->saidCancelled = true;
    ++run_->faults;
  }
  return yes ? 1 : 0;
}

TestStream::TestStream(HostRun& run, const uint8_t* bytes, uint64_t count)
    : run_(&run), bytes_(bytes), count_(count), length_(count) {}

/// A call that may fail before or after its work.
template <class Work>
TIOResult TestStream::perform(HostCall call, Work&& work) {
  REQUIRE(references > 0);
  const std::vector<Fault> due = run_->enter(call);
  resize(due);
  for (const FaultKind kind : {FaultKind::failOnce, FaultKind::failFromThen}) {
    const TIOResult before = run_->failure(due, kind);
    if (before != TIOResult::success) return before;
  }
  const TIOResult result = work(due);
  if (result != TIOResult::success) {
    run_->codes.insert(static_cast<uint32_t>(result));
    if (!run_->firstFailure) run_->firstFailure = result;
    return result;
  }
  const TIOResult after = run_->failure(due, FaultKind::workThenFail);
  // The plug-in takes a stream that can't seek to stand where it was before a call that failed.
  if (after != TIOResult::success && !run_->script().seekable) run_->bytesAreTrue = false;
  return after;
}

void TestStream::resize(const std::vector<Fault>& due) {
  if (!has(due, FaultKind::resize)) return;
  ++run_->faults;
  run_->bytesAreTrue = false;
  const uint16_t argument = argumentOf(due, FaultKind::resize);
  length_ = argument % 2 ? count_ + argument : count_ * argument / 65536;
}

uint32_t TestStream::canSeek() {
  REQUIRE(references > 0);
  run_->enter(HostCall::other);
  return run_->script().seekable ? 7 : 0;
}

TIOResult TestStream::seek(uint32_t low, uint32_t high, vela::CancelToken*) {
  return perform(HostCall::seek, [&](const std::vector<Fault>&) {
    const uint64_t target = vela::fromWord64({low, high});
    if (!run_->script().seekable) return TIOResult::failed;
    if (run_->script().refusesSeekPastEnd && target > length_) return TIOResult::outOfRange;
    position_ = target;
    return TIOResult::success;
  });
}

TIOResult TestStream::getLength(uint64_t* length, vela::CancelToken*) {
  return perform(HostCall::getLength, [&](const std::vector<Fault>& due) {
    uint64_t told = run_->script().lengthKnown ? length_ : vela::kUnknown64;
    for (const FaultKind kind : {FaultKind::lieAboutLength, FaultKind::nonsense}) {
      if (!has(due, kind)) continue;
      ++run_->faults;
      run_->bytesAreTrue = false;
      told = lie(argumentOf(due, kind), length_);
    }
    std::memcpy(length, &told, sizeof told);
    return TIOResult::success;
  });
}

TIOResult TestStream::getPosition(uint64_t* position, vela::CancelToken*) {
  return perform(HostCall::getPosition, [&](const std::vector<Fault>&) {
    std::memcpy(position, &position_, sizeof position_);
    return TIOResult::success;
  });
}

uint32_t TestStream::passThroughTwo(uintptr_t first, uintptr_t second) {
  REQUIRE(references > 0);
  return static_cast<uint32_t>(3 * first + 5 * second);
}

uint32_t TestStream::passThroughOne(uintptr_t argument) {
  REQUIRE(references > 0);
  return static_cast<uint32_t>(7 * argument);
}

/// @return by how many bytes the stream moved on
uint32_t TestStream::advance(uint32_t count, const std::vector<Fault>& due) {
  const uint64_t left = position_ < length_ ? length_ - position_ : 0;
  auto moved = static_cast<uint32_t>(std::min<uint64_t>(count, left));
  if (has(due, FaultKind::half) && moved > 0) {
    moved /= 2;
    ++run_->faults;
    run_->bytesAreTrue = false;
  }
  position_ += moved;
  return moved;
}

TIOResult TestStream::read(void* buffer, uint32_t count, uint32_t* done, vela::CancelToken*) {
  return perform(HostCall::read, [&](const std::vector<Fault>& due) {
    const uint64_t from = position_;
    *done = advance(count, due);
    const uint64_t real = from < count_ ? std::min<uint64_t>(*done, count_ - from) : 0;
    if (real > 0) std::memcpy(buffer, bytes_ + from, static_cast<size_t>(real));
    if (real < *done)
      std::memset(static_cast<uint8_t*>(buffer) + real, 0x20, static_cast<size_t>(*done - real));
    if (has(due, FaultKind::nonsense)) {
      ++run_->faults;
      run_->bytesAreTrue = false;
      // The bytes that it claims beyond what it read are there, only not the file's.
      std::memset(static_cast<uint8_t*>(buffer) + *done, 0x41, count - *done);
      *done = argumentOf(due, FaultKind::nonsense) % 2 ? vela::kUntilNul : count + 1;
    }
    return TIOResult::success;
  });
}

TIOResult TestStream::skip(uint32_t count, uint32_t* done, vela::CancelToken*) {
  return perform(HostCall::skip, [&](const std::vector<Fault>& due) {
    *done = advance(count, due);
    if (has(due, FaultKind::nonsense)) {
      ++run_->faults;
      run_->bytesAreTrue = false;
      *done = argumentOf(due, FaultKind::nonsense) % 2 ? vela::kUntilNul : count + 1;
    }
    return TIOResult::success;
  });
}

TIOResult TestProvider::open(const char16_t* name, uint32_t mode, vela::CancelToken*, void** out) {
  REQUIRE(references > 0 && mode == 0 && std::u16string_view(name) == u"input");
  const auto due = run_->enter(HostCall::open);
  for (const FaultKind kind : {FaultKind::failOnce, FaultKind::failFromThen}) {
    const TIOResult before = run_->failure(due, kind);
    if (before != TIOResult::success) return before;
  }
  if (has(due, FaultKind::nonsense)) {  // success without a stream
    ++run_->faults;
    run_->bytesAreTrue = false;
    return TIOResult::success;
  }
  store(out, static_cast<vela::HostStreamControl*>(&streams_.emplace_back(*run_, bytes_, count_)));
  return run_->failure(due, FaultKind::workThenFail);
}

uint32_t TestContext::resolveSource(const char16_t* name, void** out) {
  REQUIRE(std::u16string_view(name) == u"input" && *out == nullptr);
  const auto due = run_->enter(HostCall::resolve);
  const bool fails = has(due, FaultKind::failOnce) || has(due, FaultKind::failFromThen);
  const bool afterWork = has(due, FaultKind::workThenFail);
  const bool withoutProvider = has(due, FaultKind::nonsense);
  if (fails || afterWork || withoutProvider) {
    ++run_->faults;
    if (!run_->firstFailure) run_->firstFailure = TIOResult::sourceNotFound;
  }
  if (!fails && !withoutProvider) store(out, provider_);
  return fails || afterWork ? 0 : 1;
}

}  // namespace fuzz
