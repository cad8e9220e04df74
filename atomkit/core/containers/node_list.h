// NodeList: a doubly linked list of keyed nodes that keeps a few unlinked ones for reuse.
#pragma once
#include <cstdint>

#include "atomkit/core/containers/memory.h"

namespace atomkit {

/// Owns its nodes. A removed node goes to a pool of at most kPoolLimit nodes, after
/// Payload::clear(), so that the pool holds no data.
template <class Key, class Payload>
class NodeList {
 public:
  struct Node {
    Key key{};
    Payload payload{};
    Node* previous = nullptr;
    Node* next = nullptr;
  };

  static constexpr uint32_t kPoolLimit = 32;

  NodeList() noexcept = default;
  NodeList(const NodeList&) = delete;
  NodeList& operator=(const NodeList&) = delete;
  ~NodeList() { clear(); }

  uint32_t count() const noexcept { return count_; }
  uint32_t pooled() const noexcept { return pooled_; }
  Node* first() const noexcept { return first_; }

  /// Adds a node with `key` and an empty payload at the end.
  /// @throws exception "out of memory"
  Node& append(const Key& key) {
    Node* node = takeNode();
    node->key = key;
    node->previous = last_;
    node->next = nullptr;
    (last_ ? last_->next : first_) = node;
    last_ = node;
    ++count_;
    return *node;
  }

  /// Unlinks `node`, which must be in the list, and puts it into the pool, or frees it when the
  /// pool is full.
  void remove(Node& node) noexcept {
    (node.previous ? node.previous->next : first_) = node.next;
    (node.next ? node.next->previous : last_) = node.previous;
    --count_;
    if (pooled_ >= kPoolLimit) {
      destroy(&node);
      return;
    }
    node.payload.clear();
    node.next = pool_;
    pool_ = &node;
    ++pooled_;
  }

  /// Removes and frees every node, the pooled ones included.
  void clear() noexcept {
    freeChain(first_);
    freeChain(pool_);
    first_ = last_ = pool_ = nullptr;
    count_ = pooled_ = 0;
  }

 private:
  Node* takeNode() {
    if (!pool_) return create<Node>();
    Node* node = pool_;
    pool_ = node->next;
    --pooled_;
    return node;
  }

  static void freeChain(Node* node) noexcept {
    while (node) {
      Node* next = node->next;
      destroy(node);
      node = next;
    }
  }

  Node* first_ = nullptr;
  Node* last_ = nullptr;
  uint32_t count_ = 0;
  Node* pool_ = nullptr;
  uint32_t pooled_ = 0;
};

}  // namespace atomkit
