#include "tests/device/pe_image.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

namespace device {
namespace {

constexpr uint16_t kMachineArm = 0x01C0;
constexpr uint16_t kMagicPe32 = 0x010B;
constexpr uint16_t kSubsystemWindowsCe = 9;
constexpr uint32_t kRightExecute = 0x20000000;
constexpr uint32_t kRightRead = 0x40000000;
constexpr uint32_t kRightWrite = 0x80000000;
constexpr uint32_t kExports = 0, kImports = 1, kRelocations = 5;  // data directories
constexpr uint16_t kHighLow = 3;                                  // relocation of a whole word

class Loader {
 public:
  Loader(Machine& machine, const std::string& name) : machine_(&machine), name_(name) {
    std::ifstream file(name, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(file), {});
    if (!file || bytes_.empty()) refuse("can't be read");
  }

  LoadedImage load(uint32_t base, const ImportResolver& resolve) {
    header_ = field<uint32_t>(0x3C);
    require(field<uint16_t>(0) == 0x5A4D && field<uint32_t>(header_) == 0x4550, "is no DLL");
    require(field<uint16_t>(header_ + 4) == kMachineArm, "is not for ARM");
    const uint32_t optional = header_ + 24;
    require(field<uint16_t>(optional) == kMagicPe32, "is not of 32 bits");
    require(field<uint16_t>(optional + 68) == kSubsystemWindowsCe, "is for another system");
    preferred_ = field<uint32_t>(optional + 28);
    image_.base = base ? base : preferred_;
    image_.entry = image_.base + field<uint32_t>(optional + 16);
    const uint32_t size = field<uint32_t>(optional + 56);

    memory_ = machine_->map(image_.base, size, UC_PROT_READ);
    machine_->nameRange(name_, image_.base, size);
    copy(0, 0, field<uint32_t>(optional + 60));
    placeSections();
    if (image_.base != preferred_) relocate();
    bindImports(resolve);
    collectExports();
    protectSections();
    return image_;
  }

 private:
  [[noreturn]] void refuse(const std::string& why) const { violation(name_ + " " + why); }
  void require(bool holds, const char* why) const {
    if (!holds) refuse(why);
  }

  template <class Value>
  Value field(uint32_t offset) const {
    Value value;
    if (offset > bytes_.size() || sizeof value > bytes_.size() - offset) refuse("is cut short");
    std::memcpy(&value, bytes_.data() + offset, sizeof value);
    return value;
  }
  template <class Value>
  Value at(uint32_t rva) const {
    Value value;
    std::memcpy(&value, memory_ + rva, sizeof value);
    return value;
  }
  void put(uint32_t rva, uint32_t value) { std::memcpy(memory_ + rva, &value, sizeof value); }
  std::string text(uint32_t rva) const { return reinterpret_cast<const char*>(memory_ + rva); }
  uint32_t directory(uint32_t index) const { return field<uint32_t>(header_ + 120 + 8 * index); }
  uint32_t directorySize(uint32_t index) const {
    return field<uint32_t>(header_ + 124 + 8 * index);
  }

  void copy(uint32_t rva, uint32_t offset, uint32_t count) {
    if (offset > bytes_.size() || count > bytes_.size() - offset) refuse("is cut short");
    std::memcpy(memory_ + rva, bytes_.data() + offset, count);
  }

  // Calls `act` with the offset of each section's header.
  template <class Act>
  void forEachSection(Act act) {
    const auto count = field<uint16_t>(header_ + 6);
    const uint32_t first = header_ + 24 + field<uint16_t>(header_ + 20);
    for (uint32_t i = 0; i < count; ++i) act(first + 40 * i);
  }

  void placeSections() {
    forEachSection([&](uint32_t section) {
      const auto inMemory = field<uint32_t>(section + 8);
      const auto inFile = field<uint32_t>(section + 16);
      copy(field<uint32_t>(section + 12), field<uint32_t>(section + 20),
           inFile < inMemory ? inFile : inMemory);
    });
  }

  void protectSections() {
    forEachSection([&](uint32_t section) {
      const auto wanted = field<uint32_t>(section + 36);
      uint32_t rights = 0;
      if (wanted & kRightRead) rights |= UC_PROT_READ;
      if (wanted & kRightWrite) rights |= UC_PROT_WRITE;
      if (wanted & kRightExecute) rights |= UC_PROT_EXEC;
      machine_->setRights(image_.base + field<uint32_t>(section + 12), field<uint32_t>(section + 8),
                          rights);
    });
  }

  void relocate() {
    const uint32_t distance = image_.base - preferred_;
    const uint32_t end = directory(kRelocations) + directorySize(kRelocations);
    for (uint32_t block = directory(kRelocations); block < end; block += at<uint32_t>(block + 4)) {
      const auto page = at<uint32_t>(block);
      for (uint32_t entry = block + 8; entry < block + at<uint32_t>(block + 4); entry += 2) {
        const auto word = at<uint16_t>(entry);
        if (word >> 12 == 0) continue;  // fills a block up
        require(word >> 12 == kHighLow, "has a relocation of an unknown kind");
        const uint32_t rva = page + (word & 0xFFF);
        put(rva, at<uint32_t>(rva) + distance);
      }
    }
  }

  void bindImports(const ImportResolver& resolve) {
    for (uint32_t entry = directory(kImports); entry && at<uint32_t>(entry + 12); entry += 20) {
      const std::string library = text(at<uint32_t>(entry + 12));
      const auto names = at<uint32_t>(entry);
      const auto addresses = at<uint32_t>(entry + 16);
      for (uint32_t i = 0; const auto name = at<uint32_t>(names + 4 * i); ++i) {
        require(!(name & 0x80000000), "imports by number");
        put(addresses + 4 * i, resolve(library, text(name + 2)));
      }
    }
  }

  void collectExports() {
    const uint32_t table = directory(kExports);
    if (!table) return;
    const auto functions = at<uint32_t>(table + 28);
    const auto names = at<uint32_t>(table + 32);
    const auto ordinals = at<uint32_t>(table + 36);
    for (uint32_t i = 0; i < at<uint32_t>(table + 24); ++i) {
      const auto ordinal = at<uint16_t>(ordinals + 2 * i);
      image_.exports[text(at<uint32_t>(names + 4 * i))] =
          image_.base + at<uint32_t>(functions + 4 * ordinal);
    }
  }

  Machine* machine_;
  std::string name_;
  std::vector<char> bytes_;
  uint32_t header_ = 0;
  uint32_t preferred_ = 0;
  uint8_t* memory_ = nullptr;
  LoadedImage image_;
};

}  // namespace

LoadedImage loadImage(Machine& machine, const std::string& file, uint32_t base,
                      const ImportResolver& resolve) {
  return Loader(machine, file).load(base, resolve);
}

}  // namespace device
