// Finds the plug-in's shared library, loads it, and takes its module and factory.
#pragma once
#include <memory>
#include <string>

#include "frontend/vela_splitter.h"

namespace velagst {

/// The library to load: `given` unless it is empty, else the one that the environment variable
/// VELA_PLUGIN names, else the first that exists next to this element's own library, where an
/// installation puts it, or in the build tree; at last the place of the installation itself.
std::string findSplitterLibrary(const std::string& given);

/// The plug-in in use. Release all splitters before it is destroyed.
class SplitterLibrary {
 public:
  /// Loads a library.
  /// @param host  borrowed; outlives the object
  /// @param problem  receives a sentence when the library can't be used
  /// @return null when the library can't be used
  static std::unique_ptr<SplitterLibrary> load(const std::string& file, vela::HostContext* host,
                                               std::string& problem);

  SplitterLibrary(const SplitterLibrary&) = delete;
  SplitterLibrary& operator=(const SplitterLibrary&) = delete;
  ~SplitterLibrary();

  vela::ISplitterFactory& factory() const { return *factory_; }

 private:
  SplitterLibrary() = default;

  void* handle_ = nullptr;
  vela::ISplitterModule* module_ = nullptr;
  vela::ISplitterFactory* factory_ = nullptr;  // not counted; lives as long as the module
};

}  // namespace velagst
