#include "tests/device/device_files.h"

#include <cstring>
#include <vector>

namespace device {
namespace {

constexpr uint32_t kNoFile = 0xffffffff;
constexpr uint32_t kWriteAccess = 0x40000000;
constexpr uint32_t kOnlyNew = 1;
constexpr uint32_t kProcessDetach = 0, kProcessAttach = 1;

}  // namespace

DeviceFiles::DeviceFiles(Machine& machine, Coredll& system, std::string folder)
    : machine_(&machine), system_(&system), folder_(std::move(folder)) {
  offerFiles();
  offerLibraries();
}

DeviceFiles::~DeviceFiles() {
  for (const auto& [handle, file] : files_) std::fclose(file);
}

std::string DeviceFiles::native(uint32_t name) const {
  std::string path = folder_ + "/";
  for (const char16_t unit : machine_->readText(name)) {
    path += unit == u'\\' ? '/' : static_cast<char>(unit);
  }
  return path;
}

std::FILE* DeviceFiles::file(uint32_t handle) const {
  const auto found = files_.find(handle);
  if (found == files_.end()) violation("a file is used that is not open");
  return found->second;
}

void DeviceFiles::offerFiles() {
  system_->offer("CreateFileW", TrapKind::system, [this](CallFrame& f) {
    const bool writes = f.word(1) & kWriteAccess;
    const char* const mode = !writes ? "rb" : f.word(4) == kOnlyNew ? "wbx" : "wb";
    std::FILE* const opened = std::fopen(native(f.word(0)).c_str(), mode);
    f.result = kNoFile;
    if (!opened) return;
    f.result = nextHandle_;
    files_[nextHandle_++] = opened;
  });
  system_->offer("ReadFile", TrapKind::system, [this](CallFrame& f) {
    const uint32_t count = f.word(2);
    size_t done = 0;
    if (count > 0) {
      done = std::fread(machine_->bytes(f.word(1), count, "ReadFile()"), 1, count, file(f.word(0)));
    }
    machine_->writeWord(f.word(3), static_cast<uint32_t>(done));
    f.result = 1;
  });
  system_->offer("WriteFile", TrapKind::system, [this](CallFrame& f) {
    const uint32_t count = f.word(2);
    const size_t done =
        std::fwrite(machine_->bytes(f.word(1), count, "WriteFile()"), 1, count, file(f.word(0)));
    machine_->writeWord(f.word(3), static_cast<uint32_t>(done));
    f.result = done == count ? 1 : 0;
  });
  system_->offer("SetFilePointer", TrapKind::system, [this](CallFrame& f) {
    const uint64_t place = uint64_t{machine_->readWord(f.word(2))} << 32 | f.word(1);
    std::fseek(file(f.word(0)), static_cast<long>(place), SEEK_SET);
    f.result = static_cast<uint32_t>(place);
  });
  system_->offer("GetFileSize", TrapKind::system, [this](CallFrame& f) {
    std::FILE* const measured = file(f.word(0));
    const long place = std::ftell(measured);
    std::fseek(measured, 0, SEEK_END);
    const auto size = static_cast<uint64_t>(std::ftell(measured));
    std::fseek(measured, place, SEEK_SET);
    machine_->writeWord(f.word(1), static_cast<uint32_t>(size >> 32));
    f.result = static_cast<uint32_t>(size);
  });
  system_->offer("CloseHandle", TrapKind::system, [this](CallFrame& f) {
    std::fclose(file(f.word(0)));
    files_.erase(f.word(0));
    f.result = 1;
  });
  // A clock that follows the instructions: 200 million of them in a second.
  system_->offer("GetTickCount", TrapKind::system,
                 [this](CallFrame& f) { f.result = machine_->instructions() / 200'000; });
  system_->offer("ExitThread", TrapKind::system, [](CallFrame& f) {
    f.result = f.word(0);
    f.endsThread = true;
  });
}

// One library at a time; loading it again counts.
void DeviceFiles::offerLibraries() {
  system_->offer("LoadLibraryW", TrapKind::host, [this](CallFrame& f) {
    const std::string name = native(f.word(0));
    std::FILE* const there = std::fopen(name.c_str(), "rb");
    if (!there) return;
    std::fclose(there);
    if (libraryReferences_++ == 0) {
      library_ = loadImage(*machine_, name, 0,
                           [this](const std::string& library, const std::string& function) {
                             return system_->resolve(library, function);
                           });
      machine_->call(library_.entry, {library_.base, kProcessAttach, 0});
    }
    f.result = library_.base;
  });
  system_->offer("GetProcAddressW", TrapKind::system, [this](CallFrame& f) {
    std::string name;
    for (const char16_t unit : machine_->readText(f.word(1))) name += static_cast<char>(unit);
    const auto found = library_.exports.find(name);
    if (found != library_.exports.end()) f.result = found->second;
  });
  system_->offer("FreeLibrary", TrapKind::host, [this](CallFrame& f) {
    if (f.word(0) != library_.base || libraryReferences_ == 0) {
      violation("a library is freed that is not loaded");
    }
    if (--libraryReferences_ == 0) {
      machine_->call(library_.entry, {library_.base, kProcessDetach, 0});
    }
    f.result = 1;
  });
}

}  // namespace device
