#include "bench/media_layout.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <stdexcept>
#include <string_view>

namespace bench {
namespace {

constexpr std::array<std::string_view, 5> kContainers = {"moov", "trak", "mdia", "minf", "stbl"};

/// Bytes from the start of a table box to its first entry: the header, version and flags, the
/// count.
constexpr uint64_t kTableHead = 16;
/// 'stsz' has a common size before its count.
constexpr uint64_t kSizeTableHead = 20;

bool isContainer(std::string_view type) {
  return std::find(kContainers.begin(), kContainers.end(), type) != kContainers.end();
}

/// @return 0 for a box that is no sample table
uint64_t headOfTable(std::string_view type) {
  if (type == "stsz") return kSizeTableHead;
  for (const std::string_view table : {"stts", "ctts", "stss", "stsc", "stco", "co64"}) {
    if (type == table) return kTableHead;
  }
  return 0;
}

class Walk {
 public:
  Walk(std::ifstream& file, MediaLayout& layout) : file_(file), layout_(layout) {}

  void children(uint64_t from, uint64_t to) {
    for (uint64_t at = from; at + 8 <= to;) {
      uint64_t head = 8;
      uint64_t size = number(at, 4);
      const std::string type = bytes(at + 4, 4);
      if (size == 1) {
        head = 16;
        size = number(at + 8, 8);
      }
      if (size == 0) size = to - at;
      if (size < head || size > to - at) throw std::runtime_error("a box that ends nowhere");
      if (type == "moov") layout_.movieBox = {at, size};
      if (isContainer(type)) children(at + head, at + size);
      const uint64_t tableHead = headOfTable(type);
      if (tableHead && size > tableHead) {
        layout_.sampleTables.push_back({at + tableHead, size - tableHead});
      }
      at += size;
    }
  }

 private:
  std::string bytes(uint64_t at, size_t count) {
    std::string read(count, '\0');
    file_.seekg(static_cast<std::streamoff>(at));
    if (!file_.read(read.data(), static_cast<std::streamsize>(count))) {
      throw std::runtime_error("the file ends inside a box");
    }
    return read;
  }
  uint64_t number(uint64_t at, size_t count) {
    uint64_t value = 0;
    for (const char byte : bytes(at, count)) value = value << 8 | static_cast<uint8_t>(byte);
    return value;
  }

  std::ifstream& file_;
  MediaLayout& layout_;
};

}  // namespace

MediaLayout layoutOf(const std::string& file) {
  std::ifstream in(file, std::ios::binary | std::ios::ate);
  if (!in) throw std::runtime_error("can't open " + file);
  const auto end = static_cast<uint64_t>(in.tellg());
  MediaLayout layout;
  Walk(in, layout).children(0, end);
  if (layout.movieBox.length == 0) throw std::runtime_error(file + " has no movie box");
  return layout;
}

}  // namespace bench
