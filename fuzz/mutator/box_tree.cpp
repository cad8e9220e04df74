#include "fuzz/mutator/box_tree.h"

#include <array>
#include <string_view>

namespace fuzz {
namespace {

constexpr int kDeepest = 12;

/// How many bytes of a box come before its children, or nothing when it has none.
std::optional<size_t> bytesBeforeChildren(std::string_view type, std::string_view parent) {
  static constexpr std::string_view kContainers[] = {"moov", "trak", "mdia", "minf", "stbl",
                                                     "udta", "ilst", "tags", "tseg", "----"};
  for (const std::string_view container : kContainers) {
    if (type == container) return 0;
  }
  if (parent == "ilst") return 0;  // an item
  if (type == "meta") return parent == "udta" ? std::optional<size_t>(4) : std::nullopt;
  if (type == "stsd") return 8;
  if (parent == "stsd") {
    if (type == "mp4a" || type == "alac") return 28;
    if (type == "mp4v" || type == "avc1") return 78;
  }
  return std::nullopt;
}

uint64_t numberAt(const uint8_t* bytes, int count) {
  uint64_t value = 0;
  for (int i = 0; i < count; ++i) value = value << 8 | bytes[i];
  return value;
}

void append(Bytes& bytes, uint64_t value, int count) {
  for (int shift = 8 * (count - 1); shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<uint8_t>(value >> shift));
  }
}

std::vector<BoxNode> readNodes(const uint8_t* bytes, size_t count, std::string_view parent,
                               int depth) {
  std::vector<BoxNode> nodes;
  size_t at = 0;
  while (count - at >= 8) {
    BoxNode node;
    uint64_t size = numberAt(bytes + at, 4);
    size_t header = 8;
    if (size == 1 && count - at >= 16) {
      node.longHeader = true;
      header = 16;
      size = numberAt(bytes + at + 8, 8);
    }
    if (size < header || size > count - at) break;
    node.type.assign(reinterpret_cast<const char*>(bytes + at + 4), 4);
    const uint8_t* const payload = bytes + at + header;
    const auto payloadSize = static_cast<size_t>(size) - header;
    const auto before = bytesBeforeChildren(node.type, parent);
    if (before && *before <= payloadSize && depth < kDeepest) {
      node.bytes.assign(payload, payload + *before);
      node.children = readNodes(payload + *before, payloadSize - *before, node.type, depth + 1);
    } else {
      node.bytes.assign(payload, payload + payloadSize);
    }
    nodes.push_back(std::move(node));
    at += static_cast<size_t>(size);
  }
  if (at < count) nodes.push_back({{}, false, {}, Bytes(bytes + at, bytes + count), {}});
  return nodes;
}

void writeNode(const BoxNode& node, Bytes& out) {
  if (!node.isBox()) {
    out.insert(out.end(), node.bytes.begin(), node.bytes.end());
    return;
  }
  const size_t start = out.size();
  append(out, node.longHeader ? 1 : 0, 4);
  out.insert(out.end(), node.type.begin(), node.type.end());
  if (node.longHeader) append(out, 0, 8);
  out.insert(out.end(), node.bytes.begin(), node.bytes.end());
  for (const BoxNode& child : node.children) writeNode(child, out);
  Bytes size;
  append(size, node.claim ? *node.claim : out.size() - start, node.longHeader ? 8 : 4);
  std::copy(size.begin(), size.end(),
            out.begin() + static_cast<ptrdiff_t>(start + (node.longHeader ? 8 : 0)));
}

}  // namespace

std::vector<BoxNode> readBoxTree(const uint8_t* bytes, size_t count) {
  return readNodes(bytes, count, {}, 0);
}

Bytes writeBoxTree(const std::vector<BoxNode>& nodes) {
  Bytes out;
  for (const BoxNode& node : nodes) writeNode(node, out);
  return out;
}

}  // namespace fuzz
