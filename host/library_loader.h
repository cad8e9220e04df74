// Finds the plug-in's shared library, loads it, and takes its module and factory.
#pragma once
#include <filesystem>
#include <memory>

#include "frontend/vela_splitter.h"

namespace velahost {

/// A loaded shared library; unloaded with the object.
class SharedLibrary {
 public:
  /// @throws Failure (pluginUnavailable) when the file can't be loaded
  explicit SharedLibrary(const std::filesystem::path& file);
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;
  ~SharedLibrary();

  /// @return the exported function, or null
  VelaEntryFunction entry() const;

 private:
  void* handle_ = nullptr;
};

/// The library to load: `given` unless it is empty, else the one that the environment variable
/// VELA_PLUGIN names, else the first that exists next to this program, where an installation puts
/// it, or in the build tree.
/// @throws Failure (pluginUnavailable) when there is none
std::filesystem::path findPlugin(const std::filesystem::path& given);

/// The plug-in in use: library, module with its host attached, and factory. Release all splitters
/// before it is destroyed.
class Plugin {
 public:
  /// @param host  borrowed; outlives the plug-in
  /// @throws Failure (pluginUnavailable)
  Plugin(const std::filesystem::path& file, vela::HostContext* host);

  vela::ISplitterFactory& factory() const { return *factory_; }
  uint32_t version() const { return module_->getVersion(); }

 private:
  struct EndModule {
    void operator()(vela::ISplitterModule* module) const { module->deletingDestructor(1); }
  };

  SharedLibrary library_;
  std::unique_ptr<vela::ISplitterModule, EndModule> module_;
  vela::ISplitterFactory* factory_ = nullptr;
};

}  // namespace velahost
