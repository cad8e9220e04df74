#include "atomkit/meta/tags/tag_layer.h"

#include <utility>

namespace atomkit {

uint32_t TagLayer::find(const char* name) const noexcept {
  uint32_t link = root_;
  while (link) {
    const int order = compareIgnoringCase(name, nameAt(link));
    if (order == 0) return link - 1;
    const Slot& slot = slots_[link - 1];
    link = order < 0 ? slot.left : slot.right;
  }
  return kNoTag;
}

void TagLayer::append(Handle<TagField> entry) {
  slots_.append({std::move(entry)});
  root_ = insert(root_, slots_.count());
}

void TagLayer::clear() noexcept {
  slots_.clear();
  root_ = 0;
}

void TagLayer::swap(TagLayer& other) noexcept {
  slots_.swap(other.slots_);
  std::swap(root_, other.root_);
}

// Links `added` into `tree` and returns the new root. The recursion is as deep as the tree, which
// is at most twice the binary logarithm of the number of names.
uint32_t TagLayer::insert(uint32_t tree, uint32_t added) {
  if (!tree) return added;
  const int order = compareIgnoringCase(nameAt(added), nameAt(tree));
  if (order == 0) return tree;
  Slot& slot = node(tree);
  uint32_t& branch = order < 0 ? slot.left : slot.right;
  branch = insert(branch, added);
  return split(skew(tree));
}

// A left child of the same level becomes the parent.
uint32_t TagLayer::skew(uint32_t tree) {
  const uint32_t left = node(tree).left;
  if (!left || node(left).level != node(tree).level) return tree;
  node(tree).left = node(left).right;
  node(left).right = tree;
  return left;
}

// Of three nodes of one level in a row to the right, the middle one becomes the parent, one level
// up. There is a right child: a node above the lowest level has two, and skew() has moved a new
// left one of the lowest level to the top.
uint32_t TagLayer::split(uint32_t tree) {
  const uint32_t right = node(tree).right;
  const uint32_t outer = node(right).right;
  if (!outer || node(outer).level != node(tree).level) return tree;
  node(tree).right = node(right).left;
  node(right).left = tree;
  ++node(right).level;
  return right;
}

}  // namespace atomkit
