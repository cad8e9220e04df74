#include "tests/device/device.h"

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

namespace device {
namespace {

constexpr uint32_t kProcessDetach = 0, kProcessAttach = 1;
constexpr const char* kEntryName = "VelaEntry";

std::string variable(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

uint64_t number(const char* name, uint64_t otherwise) {
  const std::string value = variable(name);
  return value.empty() ? otherwise : std::strtoull(value.c_str(), nullptr, 0);
}

}  // namespace

Options optionsFromEnvironment() {
  Options options;
  options.dll = variable("VELA_DEVICE_DLL");
#ifdef VELA_DEVICE_DLL_FILE
  if (options.dll.empty()) options.dll = VELA_DEVICE_DLL_FILE;
#endif
  options.base = static_cast<uint32_t>(number("VELA_DEVICE_BASE", 0));
  options.stackAlignment = static_cast<uint32_t>(number("VELA_DEVICE_STACK", 8));
  options.failingAllocation = number("VELA_DEVICE_FAIL_ALLOCATION", ~uint64_t{0});
  options.report = variable("VELA_DEVICE_REPORT");
  return options;
}

Device::Device(const Options& options)
    : options_(options),
      machine_(options.stackAlignment),
      system_(machine_, options.failingAllocation, options.oneStorageForAllThreads),
      objects_(machine_),
      image_(loadImage(machine_, options.dll, options.base,
                       [this](const std::string& library, const std::string& name) {
                         return system_.resolve(library, name);
                       })) {
  if (machine_.call(image_.entry, {image_.base, kProcessAttach, 0}) == 0) {
    violation("the library refuses to be attached");
  }
}

Device::~Device() {
  if (static_cast<uint32_t>(machine_.call(image_.entry, {image_.base, kProcessDetach, 0})) == 0) {
    violation("the library refuses to be detached");
  }
  writeReport();
  if (machine_.heap().liveBlocks() != 0) {
    violation(std::to_string(machine_.heap().liveBlocks()) + " blocks of " +
              std::to_string(machine_.heap().liveBytes()) + " bytes are left after detach");
  }
  if (system_.slotsTaken() != 0) violation("a slot of thread-local storage is left after detach");
}

uint64_t Device::call(const std::string& function, const Words& arguments) {
  const auto found = image_.exports.find(function);
  if (found == image_.exports.end()) violation("the library does not export " + function);
  return machine_.call(found->second, arguments);
}

vela::ISplitterModule* Device::newModule() {
  const auto module = static_cast<uint32_t>(call(kEntryName, {}));
  return static_cast<vela::ISplitterModule*>(objects_.at(module, PluginKind::module));
}

void Device::writeReport() const {
  if (options_.report.empty()) return;
  nlohmann::json report = {
      {"instructions", machine_.instructions()},        {"stack_bytes", machine_.mostStackBytes()},
      {"heap_peak_bytes", machine_.heap().peakBytes()}, {"allocations", system_.allocations()},
      {"breakpoints", machine_.breakpoints()},
  };
  for (const auto& [name, count] : objects_.operations()) {
    report["operations"][name] = {{"calls", count.calls},
                                  {"instructions", count.instructions},
                                  {"most_instructions", count.mostInstructions}};
  }
  for (const auto& [name, count] : machine_.trapCounts()) {
    report["calls"][name] = count;
  }
  std::ofstream(options_.report) << report.dump(2) << '\n';
}

}  // namespace device
