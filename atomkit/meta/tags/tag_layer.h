// TagLayer: tag entries in order, with a search tree over their names. A TagStore is made of up to
// three of them.
#pragma once
#include <cstdint>

#include "atomkit/core/containers/growing_array.h"
#include "atomkit/core/containers/owned_string.h"
#include "atomkit/core/containers/segmented_array.h"
#include "atomkit/core/containers/shared.h"
#include "atomkit/core/containers/shared_string.h"

namespace atomkit {

/// Whether a tag takes further values when its item repeats.
enum class TagFlag : uint8_t { single = 0, extensible = 1 };  // ABI: do not renumber

/// The index that means "no such tag".
inline constexpr uint32_t kNoTag = 0xffffffff;

/// A tag, the entry of a TagStore: its name as the file writes it, and its values, which are shared
/// and never change.
struct TagField {
  OwnedString name;
  GrowingArray<SharedString> values;
  TagFlag flag = TagFlag::single;
};

/// Owns a share of each entry. The name of an entry must not change while it is in a layer.
class TagLayer {
 public:
  uint32_t count() const noexcept { return slots_.count(); }

  /// @throws exception "array access out of range"
  Handle<TagField>& operator[](uint32_t index) { return slots_[index].entry; }

  /// First entry of that name, ASCII case folded, or kNoTag. Cost: logarithmic in the number of
  /// names, whatever names a file chooses.
  uint32_t find(const char* name) const noexcept;

  /// Adds an entry at the end, whether or not there is one of its name.
  /// @throws exception "out of memory when resizing array"; the layer then stays as it was
  void append(Handle<TagField> entry);

  void clear() noexcept;
  void swap(TagLayer& other) noexcept;

 private:
  // A slot is an entry of the list and a node of an AA tree (a red-black tree whose red nodes are
  // right children only). Links are slot numbers counted from 1; 0 is no link. Only the first entry
  // of a name is linked.
  struct Slot {
    Handle<TagField> entry;
    uint32_t left = 0;
    uint32_t right = 0;
    uint32_t level = 1;
  };

  Slot& node(uint32_t link) { return slots_[link - 1]; }
  const char* nameAt(uint32_t link) const { return slots_[link - 1].entry->name.text(); }
  uint32_t insert(uint32_t tree, uint32_t added);
  uint32_t skew(uint32_t tree);
  uint32_t split(uint32_t tree);

  // DELIBERATE D-351: the slots, and the values of a tag, keep spare room, unlike the arrays that
  // are sized once: a file sets no limit to the number of items.
  SegmentedArray<Slot> slots_;
  uint32_t root_ = 0;
};

}  // namespace atomkit
