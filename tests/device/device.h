// One plug-in on one emulated device, from attach to detach.
#pragma once
#include <cstdint>
#include <string>

#include "tests/device/coredll.h"
#include "tests/device/machine.h"
#include "tests/device/pe_image.h"
#include "tests/device/plugin_objects.h"

namespace device {

struct Options {
  std::string dll;
  uint32_t base = 0;            ///< where the image is loaded; 0: where it wants to be
  uint32_t stackAlignment = 8;  ///< 8 or 4
  uint64_t failingAllocation = ~uint64_t{0};  ///< number of the allocation that fails, from 0
  bool oneStorageForAllThreads = false;  ///< breaks thread-local storage, to show what that does
  std::string report;                    ///< file for the figures; empty for none
};

/// Reads the options from VELA_DEVICE_DLL, _BASE, _STACK, _FAIL_ALLOCATION and _REPORT.
Options optionsFromEnvironment();

class Device {
 public:
  /// Loads the image and attaches it.
  explicit Device(const Options& options);
  /// Detaches the image; a block that is left ends the process. Writes the report.
  ~Device();

  /// Calls another function that the image exports.
  uint64_t call(const std::string& function, const Words& arguments);
  /// What the exported entry returns, as a native object; null when there is no memory.
  vela::ISplitterModule* newModule();
  Machine& machine() { return machine_; }
  const Coredll& system() const { return system_; }
  PluginObjects& objects() { return objects_; }

 private:
  void writeReport() const;

  Options options_;
  Machine machine_;
  Coredll system_;
  PluginObjects objects_;
  LoadedImage image_;
};

}  // namespace device
