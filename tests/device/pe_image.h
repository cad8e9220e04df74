// Loads a DLL into the emulated device as the system's loader would.
#pragma once
#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "tests/device/machine.h"

namespace device {

struct LoadedImage {
  uint32_t base = 0;
  uint32_t entry = 0;                       ///< address of the entry point
  std::map<std::string, uint32_t> exports;  ///< address by name
};

/// Address that serves an import. Ends the process for a name that it does not know.
using ImportResolver = std::function<uint32_t(const std::string& library, const std::string& name)>;

/// Maps the DLL in `file` at `base` (0 for the preferred one): sections with their rights, base
/// relocations, imports. Anything that the device's loader would not take ends the process.
LoadedImage loadImage(Machine& machine, const std::string& file, uint32_t base,
                      const ImportResolver& resolve);

}  // namespace device
