// Runs velaprobe.exe in the emulator. Usage: probe_run PROBE FOLDER ARGUMENTS
//
// FOLDER stands for the device's root; the DLL lies in it. ARGUMENTS is the command line of the
// probe. Exits with the probe's code.
#include <cstdio>
#include <string>

#include "tests/device/arguments.h"
#include "tests/device/coredll.h"
#include "tests/device/device_files.h"
#include "tests/device/machine.h"
#include "tests/device/pe_image.h"

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s PROBE FOLDER ARGUMENTS\n", argv[0]);
    return 64;
  }
  device::Machine machine(4);
  device::Coredll system(machine, ~uint64_t{0}, false);
  device::DeviceFiles files(machine, system, argv[2]);
  const device::LoadedImage probe =
      loadImage(machine, argv[1], 0, [&](const std::string& library, const std::string& name) {
        return system.resolve(library, name);
      });
  const std::string arguments = argv[3];
  const std::u16string wide(arguments.begin(), arguments.end());
  uint64_t code = 0;
  {
    const device::ArgumentText commandLine(machine, wide.c_str());
    code = machine.call(probe.entry, {probe.base, 0, commandLine.address(), 5});
  }
  if (files.held() != 0) device::violation("the probe leaves files or the library open");
  if (machine.heap().liveBlocks() != 0) device::violation("blocks are left after the probe");
  return static_cast<int>(code & 0xff);
}
