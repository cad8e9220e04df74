// VList: a doubly linked list of 16-byte records. Owns its nodes, not what the records point at.
#pragma once
#include <cstdint>

#include "hal/containers/filter.h"
#include "hal/containers/record_source.h"
#include "hal/memory/memory.h"

/// One element; what a position points at.
struct VListNode : VHeapObject {
  VListNode* m_prev;
  VListNode* m_next;
  VRecord m_record;
};
static_assert(sizeof(VListNode) == 2 * sizeof(void*) + sizeof(VRecord));

class VList : public VRecordList {
 public:
  VList() noexcept = default;
  VList(const VList&) = delete;
  VList& operator=(const VList&) = delete;

  bool First(Position& p_position) override;
  bool Last(Position& p_position) override;
  bool Get(Position& p_position, VRecord& p_record) override;
  bool Move(Position& p_position, int32_t step) override;
  uint32_t GetCount() override;
  bool InsertBefore(Position& p_position, VRecordSource& source, VFilter& filter) override;
  bool InsertAfter(Position& p_position, VRecordSource& source, VFilter& filter) override;
  bool InsertFront(VRecordSource& source, VFilter& filter) override;
  bool InsertBack(VRecordSource& source, VFilter& filter) override;
  bool RemoveIf(VFilter& filter) override;
  bool Remove(Position& p_position, int32_t step) override;
  bool Reorder(const uint32_t* p_permutation, uint32_t p_count) override;
  bool Set(Position& p_position, const VRecord& p_record) override;
  ~VList() override;

  /// Inserts one record after the last one. @return false when there is no memory
  bool InsertRecordBack(const VRecord& p_record);

 protected:
  /// Nodes that are linked to each other and belong to no list. Both ends are null when it is
  /// empty.
  struct Chain {
    VListNode* m_first;
    VListNode* m_last;
    uint32_t m_count;
  };

  /// Links a chain between two nodes of the list; null means the list ends there. Reports nodes
  /// that are not neighbours, and a chain with only one end, which is not linked.
  void Link(VListNode* p_before, VListNode* p_after, const Chain& p_chain);

 private:
  bool Gather(VRecordSource& source, VFilter& filter, Chain& p_chain);
  bool InsertBetween(VListNode* p_before, VListNode* p_after, VRecordSource& source,
                     VFilter& filter);
  VListNode* TakeNode();
  static void GDeleteNodes(VListNode* p_node);

  VListNode* m_first = nullptr;
  VListNode* m_last = nullptr;
  VListNode* m_spare = nullptr;  // nodes for later insertions, linked by m_next
  uint32_t m_count = 0;
  uint32_t m_spareCount = 0;
};
static_assert(sizeof(VList) == 4 * sizeof(void*) + 8);
