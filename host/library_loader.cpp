#include "host/library_loader.h"

#include <cstdlib>
#include <string>

#include "cli/text.h"
#include "host/failure.h"
#include "host/reference.h"
#include "host/text.h"

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace velahost {
namespace {

namespace fs = std::filesystem;

Failure unavailable(const std::string& sentence) {
  return Failure(ExitStatus::pluginUnavailable, sentence);
}

fs::path ownFolder() {
#ifdef _WIN32
  wchar_t name[MAX_PATH];
  const DWORD length = GetModuleFileNameW(nullptr, name, MAX_PATH);
  return fs::path(std::wstring(name, length)).parent_path();
#else
  std::error_code ignored;
  return fs::read_symlink("/proc/self/exe", ignored).parent_path();
#endif
}

/// Takes the factory out of the module's descriptor.
class FactorySink final : public vela::ModuleSink {
 public:
  uint32_t onModule(vela::IModuleDescriptor* descriptor) override {
    if (!sameGuid(*descriptor->getInterfaceId(), vela::kSplitterFactoryId)) return 0;
    return descriptor->getInterface(factory.outSlot());
  }

  Reference<vela::ISplitterFactory> factory;
};

}  // namespace

SharedLibrary::SharedLibrary(const fs::path& file) {
#ifdef _WIN32
  handle_ = LoadLibraryW(file.c_str());
  if (!handle_) throw unavailable("The plug-in " + cli::pathText(file) + " can't be loaded.");
#else
  // A name without a slash would be looked for in the system's library folders.
  handle_ = dlopen(fs::absolute(file).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle_) {
    throw unavailable("The plug-in " + cli::pathText(file) + " can't be loaded: " + dlerror());
  }
#endif
}

SharedLibrary::~SharedLibrary() {
#ifdef _WIN32
  FreeLibrary(static_cast<HMODULE>(handle_));
#else
  dlclose(handle_);
#endif
}

VelaEntryFunction SharedLibrary::entry() const {
#ifdef _WIN32
  return reinterpret_cast<VelaEntryFunction>(
      reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), kVelaEntryName)));
#else
  return reinterpret_cast<VelaEntryFunction>(dlsym(handle_, kVelaEntryName));
#endif
}

fs::path findPlugin(const fs::path& given) {
  if (!given.empty()) return given;
  if (const char* fromEnvironment = std::getenv("VELA_PLUGIN");
      fromEnvironment && *fromEnvironment) {
    return fromEnvironment;
  }
  const fs::path folder = ownFolder();
  for (const char* place : {"", "../" VELA_INSTALL_LIBDIR, "../frontend"}) {
    std::error_code ignored;
    const fs::path candidate = folder / place / VELA_PLUGIN_FILE_NAME;
    if (fs::exists(candidate, ignored)) return candidate;
  }
  throw unavailable("The plug-in " VELA_PLUGIN_FILE_NAME
                    " was not found; name it with --plugin or in VELA_PLUGIN.");
}

Plugin::Plugin(const fs::path& file, vela::HostContext* host) : library_(file) {
  const VelaEntryFunction entry = library_.entry();
  if (!entry) {
    throw unavailable("The plug-in " + cli::pathText(file) + " can't be used: it does not export " +
                      kVelaEntryName + ".");
  }
  module_.reset(entry());
  if (!module_) throw Failure(Place::plugin, vela::TIOResult::outOfMemory);
  module_->attachHost(host);
  FactorySink sink;
  module_->enumerate(&sink);
  if (!sink.factory)
    throw unavailable("The plug-in " + cli::pathText(file) +
                      " can't be used: it offers no splitter factory.");
  // The factory lives as long as its module and is not counted.
  factory_ = sink.factory.get();
}

}  // namespace velahost
