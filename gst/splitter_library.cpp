#include "gst/splitter_library.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "gst/reference.h"

namespace velagst {
namespace {

namespace fs = std::filesystem;

/// Takes the factory out of the module's descriptor.
class FactorySink final : public vela::ModuleSink {
 public:
  uint32_t onModule(vela::IModuleDescriptor* descriptor) override {
    const vela::Guid* const id = descriptor->getInterfaceId();
    if (std::memcmp(id->bytes, vela::kSplitterFactoryId.bytes, sizeof id->bytes) != 0) return 0;
    return descriptor->getInterface(factory.outSlot());
  }

  Reference<vela::ISplitterFactory> factory;
};

/// The folder that this code was loaded from; empty when it can't be told.
fs::path ownFolder() {
  Dl_info own;
  static const char here = 0;
  if (!dladdr(&here, &own) || !own.dli_fname) return {};
  return fs::path(own.dli_fname).parent_path();
}

}  // namespace

std::string findSplitterLibrary(const std::string& given) {
  if (!given.empty()) return given;
  if (const char* named = std::getenv("VELA_PLUGIN"); named && *named) return named;
  const fs::path folder = ownFolder();
  for (const char* place : {".", "..", "../..", "../frontend"}) {
    std::error_code ignored;
    const fs::path candidate = folder / place / VELA_PLUGIN_FILE_NAME;
    if (!folder.empty() && fs::exists(candidate, ignored)) return candidate.string();
  }
  return VELA_INSTALLED_PLUGIN;
}

std::unique_ptr<SplitterLibrary> SplitterLibrary::load(const std::string& file,
                                                       vela::HostContext* host,
                                                       std::string& problem) {
  std::unique_ptr<SplitterLibrary> loaded(new SplitterLibrary);
  // A name without a slash would be looked for in the system's library folders.
  std::error_code ignored;
  const fs::path path = fs::absolute(file, ignored);
  // It stays in the process, as elements themselves do, so that the next file begins sooner.
  loaded->handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (!loaded->handle_) {
    const char* const reason = dlerror();
    problem =
        "The splitter library can't be loaded: " + std::string(reason ? reason : file.c_str());
    return nullptr;
  }
  const auto entry = reinterpret_cast<VelaEntryFunction>(dlsym(loaded->handle_, kVelaEntryName));
  if (!entry) {
    problem = "The library " + file + " is no splitter: it does not export " + kVelaEntryName + ".";
    return nullptr;
  }
  loaded->module_ = entry();
  if (!loaded->module_) {
    problem = "There is no memory for the splitter's module.";
    return nullptr;
  }
  if (loaded->module_->getVersion() != vela::kInterfaceVersion) {
    problem = "The splitter library " + file + " has another version of the interface.";
    return nullptr;
  }
  loaded->module_->attachHost(host);
  FactorySink sink;
  loaded->module_->enumerate(&sink);
  if (!sink.factory) {
    problem = "The splitter library " + file + " offers no splitter factory.";
    return nullptr;
  }
  loaded->factory_ = &*sink.factory;
  return loaded;
}

SplitterLibrary::~SplitterLibrary() {
  if (module_) module_->deletingDestructor(1);
  if (handle_) dlclose(handle_);
}

}  // namespace velagst
