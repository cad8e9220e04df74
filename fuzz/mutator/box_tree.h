// BoxTree: a file as a tree of boxes that can be changed and written out again.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fuzz {

using Bytes = std::vector<uint8_t>;

/// A box, or (without a type) bytes that no box can be made of.
struct BoxNode {
  std::string type;
  bool longHeader = false;        ///< a 64-bit size
  std::optional<uint32_t> claim;  ///< what its size field says instead of its size
  Bytes bytes;                    ///< before the children; all of it, when there are none
  std::vector<BoxNode> children;

  bool isBox() const { return !type.empty(); }
};

/// Reads the boxes of `bytes`. What can't be read as boxes is kept as it stands.
std::vector<BoxNode> readBoxTree(const uint8_t* bytes, size_t count);

/// Sizes are filled in, except for the claimed ones.
Bytes writeBoxTree(const std::vector<BoxNode>& nodes);

}  // namespace fuzz
