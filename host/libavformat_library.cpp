#include "host/libavformat_library.h"

#include <dlfcn.h>

#include <string>

#include "host/failure.h"

namespace velahost {
namespace {

Libavformat load() {
  const std::string name = "libavformat.so." + std::to_string(LIBAVFORMAT_VERSION_MAJOR);
  void* const library = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
  Libavformat functions;
  bool complete = library != nullptr;
  // A search in a library goes on in those that it needs, libavcodec and libavutil among them.
#define VELAHOST_FIND(function)                                                              \
  if (complete) {                                                                            \
    functions.function = reinterpret_cast<decltype(&::function)>(dlsym(library, #function)); \
    complete = functions.function != nullptr;                                                \
  }
  VELAHOST_LIBAVFORMAT_FUNCTIONS(VELAHOST_FIND)
#undef VELAHOST_FIND
  if (complete) return functions;
  throw Failure(
      ExitStatus::notRepresentable,
      "MP4 is written by " + name +
          ", which can't be loaded. --format adts and --format mp3 cut audio without it.");
}

}  // namespace

const Libavformat& libavformat() {
  static const Libavformat functions = load();
  return functions;
}

}  // namespace velahost
