#include "host/host_objects.h"

#include <exception>
#include <string>

#include "cli/input_file.h"

namespace velahost {
namespace {

using vela::TIOResult;

std::filesystem::path fileOf(const char16_t* sourceName) {
  return std::filesystem::path(std::u16string(sourceName));
}

}  // namespace

uint32_t FileContext::resolveSource(const char16_t* sourceName, void** out) {
  // No exception may cross the interface. A name that can't be converted is no file's name.
  try {
    std::error_code unknown;
    const auto status = std::filesystem::status(fileOf(sourceName), unknown);
    if (!std::filesystem::exists(status)) {
      const bool missing = status.type() == std::filesystem::file_type::not_found;
      openFailure = missing ? std::make_error_code(std::errc::no_such_file_or_directory) : unknown;
      return 0;
    }
    storeInOutSlot(out, new FileProvider(this));
    return 1;
  } catch (const std::exception&) {
    openFailure = std::make_error_code(std::errc::no_such_file_or_directory);
    return 0;
  }
}

Failure FileContext::explained(const Failure& failure) const {
  if (failure.result() == kReadFailed && calls.failedRead) {
    return failure.withSentence("The file could not be read at byte " +
                                std::to_string(calls.failedRead->position) + ": " +
                                calls.failedRead->reason.message() + " (result 0x80000001).");
  }
  if (failure.place() != Place::opening) return failure;
  if (failure.result() == TIOResult::sourceNotFound && openFailure) {
    return failure.withSentence(cli::openingSentence(openFailure) + " (result 3).");
  }
  if (failure.result() == TIOResult::failed && calls.bytesRead == 0) {
    return failure.withSentence("The file is empty (result 5).");
  }
  return failure;
}

TIOResult FileProvider::open(const char16_t* sourceName, uint32_t, vela::CancelToken*, void** out) {
  try {
    FileStream* const stream =
        FileStream::open(fileOf(sourceName), &context_->calls, context_->openFailure);
    if (!stream) return TIOResult::sourceNotFound;
    storeInOutSlot(out, static_cast<vela::HostStreamControl*>(stream));
    return TIOResult::success;
  } catch (const std::exception&) {
    return TIOResult::sourceNotFound;
  }
}

}  // namespace velahost
