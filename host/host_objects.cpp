#include "host/host_objects.h"

#include <exception>
#include <string>

namespace velahost {
namespace {

std::filesystem::path fileOf(const char16_t* sourceName) {
  return std::filesystem::path(std::u16string(sourceName));
}

}  // namespace

uint32_t FileContext::resolveSource(const char16_t* sourceName, void** out) {
  // No exception may cross the interface: a name that can't be converted bears no file.
  try {
    if (!std::filesystem::exists(fileOf(sourceName))) return 0;
    storeInOutSlot(out, new FileProvider(&calls));
    return 1;
  } catch (const std::exception&) {
    return 0;
  }
}

vela::TIOResult FileProvider::open(const char16_t* sourceName, uint32_t, vela::CancelToken*,
                                   void** out) {
  try {
    FileStream* const stream = FileStream::open(fileOf(sourceName), calls_);
    if (!stream) return vela::TIOResult::sourceNotFound;
    storeInOutSlot(out, static_cast<vela::HostStreamControl*>(stream));
    return vela::TIOResult::success;
  } catch (const std::exception&) {
    return vela::TIOResult::sourceNotFound;
  }
}

}  // namespace velahost
