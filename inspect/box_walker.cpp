#include "inspect/box_walker.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "inspect/box_catalog.h"
#include "inspect/payload.h"

namespace inspect {
namespace {

uint32_t big32(const uint8_t* bytes) {
  return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

uint64_t big64(const uint8_t* bytes) { return uint64_t{big32(bytes)} << 32 | big32(bytes + 4); }

constexpr uint64_t kFullBoxBytes = 4;         // version and flags
constexpr uint64_t kEntryListBytes = 8;       // version, flags and a count
constexpr uint64_t kSoundVersion1Bytes = 16;  // what QuickTime's sound description 1 adds
constexpr uint64_t kSoundVersion2Bytes = 36;  // and 2

/// Whether a box header that fits seems to stand at `offset`.
bool looksLikeBox(File& file, uint64_t offset, uint64_t end) {
  uint8_t header[8];
  if (offset > end || end - offset < sizeof header) return false;
  if (file.read(offset, header, sizeof header) != sizeof header) return false;
  const uint64_t size = big32(header);
  return (size == 1 || size >= sizeof header) && size <= end - offset &&
         std::all_of(header + 4, header + 8, [](uint8_t byte) { return byte >= 0x20; });
}

/// QuickTime's sound descriptions of versions 1 and 2 have further fields. A file of the other kind
/// may carry the number all the same, so the boxes themselves decide.
uint64_t audioEntryBytes(File& file, const Box& box) {
  uint8_t version[2] = {};
  file.read(box.payload() + 8, version, sizeof version);
  const uint64_t plain = box.payload() + kAudioEntryBytes;
  if (version[0] != 0 || looksLikeBox(file, plain, box.end)) return kAudioEntryBytes;
  if (version[1] == 1) return kAudioEntryBytes + kSoundVersion1Bytes;
  if (version[1] == 2) return kAudioEntryBytes + kSoundVersion2Bytes;
  return kAudioEntryBytes;
}

/// The boxes of one walk.
class Walk {
 public:
  Walk(File& file, BoxVisitor& visitor) : file_(file), visitor_(visitor) {}

  /// @return false when the visitor stopped the walk
  bool boxesBetween(uint64_t offset, uint64_t end, const Box* parent) {
    const uint32_t depth = parent ? parent->depth + 1 : 0;
    std::unordered_map<FourCC, uint32_t> seen;
    while (offset < end) {
      Box box;
      box.depth = depth;
      box.parent = parent;
      NoBox noBox{};
      if (depth > kDeepest) {
        noBox.reason = NoBox::Reason::tooDeep;
      } else if (readHeader(offset, end, box, noBox)) {
        box.index = seen[box.type]++;
        if (!visit(box)) return false;
        offset = box.end;
        continue;
      }
      noBox.parent = parent;
      noBox.depth = depth;
      noBox.offset = offset;
      noBox.end = end;
      return visitor_.noBox(noBox) != Go::stop;
    }
    return true;
  }

 private:
  bool visit(const Box& box) {
    switch (visitor_.enter(box)) {
      case Go::stop:
        return false;
      case Go::into:
        if (const auto start = childrenStart(file_, box)) {
          if (*start < box.end && !boxesBetween(*start, box.end, &box)) return false;
        }
        break;
      case Go::past:
        break;
    }
    visitor_.leave(box);
    return true;
  }

  bool isZero(uint64_t offset, uint64_t end) {
    uint8_t bytes[256];
    while (offset < end) {
      const size_t count = static_cast<size_t>(std::min<uint64_t>(sizeof bytes, end - offset));
      const size_t got = file_.read(offset, bytes, count);
      if (got == 0) return true;
      if (std::any_of(bytes, bytes + got, [](uint8_t byte) { return byte != 0; })) return false;
      offset += got;
    }
    return true;
  }

  bool readHeader(uint64_t offset, uint64_t end, Box& box, NoBox& noBox) {
    constexpr uint64_t kLongestZeros =
        65536;  // bytes that are looked through; the rest is believed
    uint8_t header[16] = {};
    const size_t wanted = static_cast<size_t>(std::min<uint64_t>(sizeof header, end - offset));
    const size_t got = file_.read(offset, header, wanted);
    if (got >= 8) noBox.declaredSize = big32(header);
    if (isZero(offset, std::min(end, offset + kLongestZeros))) {
      noBox.reason = NoBox::Reason::zeroBytes;
      return false;
    }
    if (got < 8) {
      noBox.reason = NoBox::Reason::tooShort;
      return false;
    }
    if (std::any_of(header + 4, header + 8, [](uint8_t byte) { return byte < 0x20; })) {
      noBox.reason = NoBox::Reason::badType;
      return false;
    }
    box.offset = offset;
    box.type = atomkit::fourCCFrom(header + 4);
    box.declaredSize = big32(header);
    if (box.declaredSize == 1) {
      if (got < 16) {
        noBox.reason = NoBox::Reason::tooShort;
        return false;
      }
      box.headerSize = 16;
      box.declaredSize = big64(header + 8);
    }
    if (box.declaredSize < box.headerSize && !(box.declaredSize == 0 && box.headerSize == 8)) {
      noBox.declaredSize = box.declaredSize;
      noBox.reason = NoBox::Reason::badSize;
      return false;
    }
    box.end =
        box.isOpenEnded() || box.declaredSize > end - offset ? end : offset + box.declaredSize;
    return true;
  }

  File& file_;
  BoxVisitor& visitor_;
};

/// Looks for one box, and goes into no box that can't hold it.
class OneBoxSearch : public BoxVisitor {
 public:
  BoxChain take() { return std::move(found_); }

 protected:
  ~OneBoxSearch() = default;
  void found(const Box& box) { found_ = BoxChain(box); }

 private:
  BoxChain found_;
};

class SearchByOffset final : public OneBoxSearch {
 public:
  explicit SearchByOffset(uint64_t offset) : offset_(offset) {}

  Go enter(const Box& box) override {
    if (offset_ < box.offset) return Go::stop;
    if (offset_ >= box.end) return Go::past;
    found(box);
    return Go::into;
  }
  void leave(const Box&) override {}

 private:
  uint64_t offset_;
};

class SearchByPath final : public OneBoxSearch {
 public:
  explicit SearchByPath(std::span<const PathStep> path) : path_(path) {}

  Go enter(const Box& box) override {
    if (box.depth >= path_.size()) return Go::stop;
    const PathStep& step = path_[box.depth];
    if (box.type != step.type || box.index != step.index) return Go::past;
    if (box.depth + 1 < path_.size()) return Go::into;
    found(box);
    return Go::stop;
  }

 private:
  std::span<const PathStep> path_;
};

}  // namespace

std::optional<uint64_t> childrenStart(File& file, const Box& box) {
  if (box.isIn(fourCC("ilst"))) return box.payload();
  if (box.isIn(fourCC("stsd"))) {
    if (isVideoEntry(box.type)) return box.payload() + kVideoEntryBytes;
    if (isAudioEntry(box.type)) return box.payload() + audioEntryBytes(file, box);
    return std::nullopt;
  }
  if (isPlainContainer(box.type)) return box.payload();
  switch (box.type) {
    case fourCC("stsd"):
    case fourCC("dref"):
      return box.payload() + kEntryListBytes;
    case fourCC("meta"): {
      // In the tagging box it is a list of fields. QuickTime's has no version and flags.
      if (box.isIn(fourCC("tags")) || box.isIn(fourCC("tseg"))) return std::nullopt;
      uint8_t second[4] = {};
      file.read(box.payload() + 4, second, sizeof second);
      const bool bare = atomkit::fourCCFrom(second) == fourCC("hdlr");
      return box.payload() + (bare ? 0 : kFullBoxBytes);
    }
    default:
      return std::nullopt;
  }
}

void walkBoxes(File& file, BoxVisitor& visitor) {
  Walk(file, visitor).boxesBetween(0, file.size(), nullptr);
}

void walkBoxesIn(File& file, const Box& box, BoxVisitor& visitor) {
  if (const auto start = childrenStart(file, box)) {
    Walk(file, visitor).boxesBetween(*start, box.end, &box);
  }
}

uint32_t mediaTimescale(File& file, const Box& trak) {
  class Search final : public BoxVisitor {
   public:
    explicit Search(File& searched) : file_(searched) {}
    Go enter(const Box& box) override {
      if (box.type == fourCC("mdia")) return Go::into;
      if (box.type != fourCC("mdhd") || !box.isIn(fourCC("mdia"))) return Go::past;
      Payload payload(file_, box.payload(), box.end);
      const uint8_t version = payload.u8();
      payload.skip(3);
      payload.word(version);
      payload.word(version);
      timescale = payload.u32();
      return Go::stop;
    }
    uint32_t timescale = 0;

   private:
    File& file_;
  };
  Search search(file);
  walkBoxesIn(file, trak, search);
  return search.timescale;
}

BoxChain::BoxChain(const Box& deepest) {
  boxes_.reserve(size_t{deepest.depth} + 1);  // so that no box moves when another is added
  for (const Box* box = &deepest; box; box = box->parent) boxes_.push_back(*box);
  std::reverse(boxes_.begin(), boxes_.end());
  for (size_t i = 1; i < boxes_.size(); ++i) boxes_[i].parent = &boxes_[i - 1];
}

BoxChain boxAt(File& file, uint64_t offset) {
  SearchByOffset search(offset);
  walkBoxes(file, search);
  return search.take();
}

BoxChain boxNamed(File& file, std::span<const PathStep> path) {
  SearchByPath search(path);
  walkBoxes(file, search);
  return search.take();
}

}  // namespace inspect
