// The device's files and libraries, as far as velaprobe uses them: a folder of the native system.
#pragma once
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>

#include "tests/device/coredll.h"
#include "tests/device/machine.h"
#include "tests/device/pe_image.h"

namespace device {

class DeviceFiles {
 public:
  /// Offers the functions. @param folder  stands for the device's root
  DeviceFiles(Machine& machine, Coredll& system, std::string folder);
  ~DeviceFiles();

  /// Files and libraries that are still open.
  uint32_t held() const {
    return static_cast<uint32_t>(files_.size() + static_cast<size_t>(libraryReferences_));
  }

 private:
  std::string native(uint32_t name) const;
  std::FILE* file(uint32_t handle) const;
  void offerFiles();
  void offerLibraries();

  Machine* machine_;
  Coredll* system_;
  std::string folder_;
  std::map<uint32_t, std::FILE*> files_;
  uint32_t nextHandle_ = 0x100;
  LoadedImage library_;
  int libraryReferences_ = 0;
};

}  // namespace device
