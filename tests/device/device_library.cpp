// A native library that looks like the plug-in and runs the device's one in the emulator.
#include "tests/device/device.h"

extern "C" __attribute__((visibility("default"))) vela::ISplitterModule* VelaEntry() {
  static device::Device device(device::optionsFromEnvironment());
  return device.newModule();
}
