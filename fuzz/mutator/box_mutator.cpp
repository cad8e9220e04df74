#include "fuzz/mutator/box_mutator.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace fuzz {
namespace {

constexpr std::string_view kTypes[] = {"moov",
                                       "mvhd",
                                       "trak",
                                       "mdia",
                                       "mdhd",
                                       "minf",
                                       "stbl",
                                       "stsd",
                                       "mp4a",
                                       "alac",
                                       "mp4v",
                                       "avc1",
                                       "esds",
                                       "avcC",
                                       "stts",
                                       "ctts",
                                       "stss",
                                       "stsz",
                                       "stz2",
                                       "stsc",
                                       "stco",
                                       "co64",
                                       "udta",
                                       "chpl",
                                       "tags",
                                       "tseg",
                                       "tshd",
                                       "meta",
                                       "ilst",
                                       "data",
                                       "name",
                                       "----",
                                       "covr",
                                       "\xa9nam",
                                       "\xa9"
                                       "ART",
                                       "cpil",
                                       "trkn",
                                       "disk",
                                       "gnre",
                                       "tmpo",
                                       "mdat",
                                       "free"};

/// A table: where its count stands, and how long an entry is.
struct Table {
  std::string_view type;
  size_t countAt;
  size_t entryBytes;
};
constexpr Table kTables[] = {{"stts", 4, 8},  {"ctts", 4, 8}, {"stss", 4, 4}, {"stsz", 8, 4},
                             {"stsc", 4, 12}, {"stco", 4, 4}, {"co64", 4, 8}};

uint32_t wordAt(const Bytes& bytes, size_t at) {
  return uint32_t{bytes[at]} << 24 | uint32_t{bytes[at + 1]} << 16 | uint32_t{bytes[at + 2]} << 8 |
         bytes[at + 3];
}

void setWord(Bytes& bytes, size_t at, uint32_t value) {
  for (size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}

class Mutation {
 public:
  Mutation(std::mt19937& random, const ChangeBytes& changeBytes, size_t room)
      : random_(&random), changeBytes_(&changeBytes), room_(room) {}

  void apply(std::vector<BoxNode>& tree) {
    std::vector<std::pair<std::vector<BoxNode>*, size_t>> places;
    collect(tree, places);
    if (places.empty()) return;
    auto [siblings, index] = places[below(places.size())];
    // Tables are few among many boxes, and decide the most.
    for (int tries = 0; tries < 3 && !isTable((*siblings)[index]); ++tries) {
      std::tie(siblings, index) = places[below(places.size())];
    }
    BoxNode& node = (*siblings)[index];
    const auto at = siblings->begin() + static_cast<ptrdiff_t>(index);
    switch (below(16)) {
      case 0:
        siblings->insert(at, BoxNode(node));
        return;
      case 1:
        siblings->erase(at);
        return;
      case 2:
        std::swap(node, (*siblings)[below(siblings->size())]);
        return;
      case 3: {  // a copy of another box
        const auto& [from, which] = places[below(places.size())];
        const BoxNode copy = (*from)[which];
        siblings->insert(at, copy);
        return;
      }
      case 4:
        node.type = kTypes[below(std::size(kTypes))];
        return;
      case 5:
        node.longHeader = !node.longHeader;
        return;
      case 6:
        if (below(4) == 0) node.claim = static_cast<uint32_t>(below(3) ? below(64) : word());
        return;
      default:
        changeContent(node);
        return;
    }
  }

 private:
  uint32_t word() { return static_cast<uint32_t>((*random_)()); }
  size_t below(size_t limit) { return word() % limit; }

  static const Table* isTable(const BoxNode& node) {
    for (const Table& table : kTables) {
      if (node.type == table.type && node.bytes.size() >= table.countAt + 4) return &table;
    }
    return nullptr;
  }

  void collect(std::vector<BoxNode>& nodes,
               std::vector<std::pair<std::vector<BoxNode>*, size_t>>& places) {
    for (size_t i = 0; i < nodes.size(); ++i) {
      places.emplace_back(&nodes, i);
      collect(nodes[i].children, places);
    }
  }

  void changeContent(BoxNode& node) {
    const Table* const table = isTable(node);
    if (table && below(8) != 0) {
      changeTable(node.bytes, *table);
    } else if (!node.bytes.empty() && below(5) == 0) {  // a box that ends before its last field
      node.bytes.resize(below(3)
                            ? node.bytes.size() - 1 - below(std::min<size_t>(8, node.bytes.size()))
                            : below(node.bytes.size()));
    } else if (node.bytes.size() >= 4 && below(3) == 0) {
      setWord(node.bytes, below(node.bytes.size() - 3), value(word()));
    } else {
      const size_t count = node.bytes.size();
      node.bytes.resize(std::max<size_t>(1, std::min(room_, count + 64)));
      node.bytes.resize(
          (*changeBytes_)(node.bytes.data(), std::min(count, room_), node.bytes.size()));
    }
  }

  /// Something near `old`, or a value at which sums and products turn.
  uint32_t value(uint32_t old) {
    static constexpr uint32_t kValues[] = {0,  1,    2,          3,          64,
                                           65, 1024, 0x7fffffff, 0x80000000, 0xffffffff};
    switch (below(4)) {
      case 0:
        return kValues[below(std::size(kValues))];
      case 1:
        return old + static_cast<uint32_t>(below(5)) - 2;
      case 2:
        return static_cast<uint32_t>(below(200));
      default:
        return old << below(3) >> below(3);
    }
  }

  void changeTable(Bytes& bytes, const Table& table) {
    const size_t start = table.countAt + 4;
    const size_t entries = (bytes.size() - start) / table.entryBytes;
    const auto entryAt = [&](size_t entry) {
      return bytes.begin() + static_cast<ptrdiff_t>(start + entry * table.entryBytes);
    };
    switch (entries == 0 ? 1 : below(6)) {
      case 0: {  // one entry less
        const size_t entry = below(entries);
        bytes.erase(entryAt(entry), entryAt(entry + 1));
        break;
      }
      case 1: {  // a few more, of the same kind as one that is there
        const size_t from = entries == 0 ? 0 : below(entries);
        Bytes entry(table.entryBytes);
        if (entries > 0) entry.assign(entryAt(from), entryAt(from + 1));
        size_t copies = below(8) == 0 ? 1 + below(150) : 1 + below(3);
        copies = std::min(copies, room_ / table.entryBytes);
        for (; copies > 0; --copies) {
          if (below(2) == 0) setWord(entry, 4 * below(entry.size() / 4), value(wordAt(entry, 0)));
          bytes.insert(entryAt(entries == 0 ? 0 : from), entry.begin(), entry.end());
        }
        break;
      }
      case 2:  // the count alone
        setWord(bytes, table.countAt, value(wordAt(bytes, table.countAt)));
        return;
      default: {
        const size_t at = start + 4 * below(entries * table.entryBytes / 4);
        setWord(bytes, at, value(wordAt(bytes, at)));
        break;
      }
    }
    setWord(bytes, table.countAt, static_cast<uint32_t>((bytes.size() - start) / table.entryBytes));
  }

  std::mt19937* random_;
  const ChangeBytes* changeBytes_;
  size_t room_;
};

/// Where the media data begins.
std::optional<uint32_t> mediaStart(const std::vector<BoxNode>& tree) {
  std::vector<BoxNode> before;
  for (const BoxNode& node : tree) {
    if (node.type == "mdat") return static_cast<uint32_t>(writeBoxTree(before).size());
    before.push_back(node);
  }
  return std::nullopt;
}

void moveOffsets(std::vector<BoxNode>& nodes, uint32_t distance) {
  for (BoxNode& node : nodes) {
    moveOffsets(node.children, distance);
    const bool wide = node.type == "co64";
    if (!wide && node.type != "stco") continue;
    for (size_t at = wide ? 12 : 8; at + 4 <= node.bytes.size(); at += wide ? 8 : 4) {
      setWord(node.bytes, at, wordAt(node.bytes, at) + distance);
    }
  }
}

}  // namespace

size_t changeSomeBytes(std::mt19937& random, uint8_t* bytes, size_t count) {
  static constexpr uint8_t kValues[] = {0x00, 0x01, 0x07, 0x08, 0x10, 0x7f, 0x80, 0xff};
  if (count == 0) return 0;
  for (auto changes = 1 + random() % 4; changes > 0; --changes) {
    bytes[random() % count] = kValues[random() % std::size(kValues)];
  }
  return count;
}

Bytes mutateBoxes(const uint8_t* bytes, size_t count, size_t room, std::mt19937& random,
                  const ChangeBytes& changeBytes) {
  std::vector<BoxNode> tree = readBoxTree(bytes, count);
  const auto mediaBefore = mediaStart(tree);
  Mutation mutation(random, changeBytes, room);
  for (auto changes = 1 + random() % 3; changes > 0; --changes) mutation.apply(tree);
  const auto mediaAfter = mediaStart(tree);
  if (mediaBefore && mediaAfter && *mediaAfter != *mediaBefore && random() % 8 != 0) {
    moveOffsets(tree, *mediaAfter - *mediaBefore);
  }
  Bytes changed = writeBoxTree(tree);
  if (changed.size() > room) changed.resize(room);
  return changed;
}

}  // namespace fuzz
