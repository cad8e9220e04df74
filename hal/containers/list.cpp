#include "hal/containers/list.h"

#include "hal/containers/reorder.h"
#include "hal/containers/single_record_source.h"
#include "hal/memory/assertion.h"

bool VList::First(Position& p_position) {
  p_position = m_first;
  return p_position != nullptr;
}

bool VList::Last(Position& p_position) {
  p_position = m_last;
  return p_position != nullptr;
}

bool VList::Get(Position& p_position, VRecord& p_record) {
  if (!p_position) return false;
  p_record = p_position->m_record;
  return true;
}

bool VList::Move(Position& p_position, int32_t step) {
  VListNode* node = p_position;
  for (; step < 0 && node; ++step) node = node->m_prev;
  for (; step > 0 && node; --step) node = node->m_next;
  p_position = node;
  return node != nullptr;
}

uint32_t VList::GetCount() { return m_count; }

bool VList::InsertBefore(Position& p_position, VRecordSource& source, VFilter& filter) {
  if (!p_position) return false;
  return InsertBetween(p_position->m_prev, p_position, source, filter);
}

bool VList::InsertAfter(Position& p_position, VRecordSource& source, VFilter& filter) {
  if (!p_position) return false;
  return InsertBetween(p_position, p_position->m_next, source, filter);
}

bool VList::InsertFront(VRecordSource& source, VFilter& filter) {
  return InsertBetween(nullptr, m_first, source, filter);
}

bool VList::InsertBack(VRecordSource& source, VFilter& filter) {
  return InsertBetween(m_last, nullptr, source, filter);
}

bool VList::InsertRecordBack(const VRecord& p_record) {
  VSingleRecordSource source(p_record);
  VAcceptAllFilter all;
  return InsertBack(source, all);
}

bool VList::RemoveIf(VFilter& filter) {
  Position position = nullptr;
  bool valid = First(position);
  for (uint32_t index = 0; valid; ++index) {
    const bool removes = filter.Test(index) & 0xFF;
    valid = removes ? Remove(position, 1) : Move(position, 1);
  }
  return true;
}

bool VList::Remove(Position& p_position, int32_t step) {
  VListNode* node = p_position;
  if (!node) return false;
  // DELIBERATE D-155: the result says whether there is a record at the new position, not whether
  // one was removed. Loops that remove on the way run on it, and end with the last record.
  bool valid = false;
  if (step) {
    valid = Move(p_position, step);
  } else {
    p_position = nullptr;
  }
  (node->m_prev ? node->m_prev->m_next : m_first) = node->m_next;
  (node->m_next ? node->m_next->m_prev : m_last) = node->m_prev;
  --m_count;
  delete node;
  return valid;
}

bool VList::Reorder(const uint32_t* p_permutation, uint32_t p_count) {
  if (p_count > m_count) return false;
  if (p_count == 0) return true;
  auto** nodes = VMemory::GNewArray<VListNode*>(p_count);
  if (!nodes) return false;
  VListNode* walk = m_first;
  for (uint32_t index = 0; index < p_count; ++index) {
    VASSERT_TEXT_AT("stdhelpers", 1416, walk, "walk != 0");
    if (!walk) {
      // DELIBERATE D-160: there are fewer nodes than the count says, and none for this place.
      VMemory::GDeleteArray(nodes);
      return false;
    }
    nodes[index] = walk;
    walk = walk->m_next;
  }
  VASSERT_TEXT_AT("stdhelpers", 1421, walk ? m_count > p_count : m_count == p_count,
                  "(walk == 0 && m_count == p_count) || (walk != 0 && m_count > p_count)");
  if (!VReorder::GPointers(nodes, p_permutation, p_count)) {
    VMemory::GDeleteArray(nodes);
    return false;
  }
  VListNode* before = nullptr;
  for (uint32_t index = 0; index < p_count; ++index) {
    VListNode* node = nodes[index];
    (before ? before->m_next : m_first) = node;
    node->m_prev = before;
    before = node;
  }
  before->m_next = walk;
  (walk ? walk->m_prev : m_last) = before;
  VMemory::GDeleteArray(nodes);
  return true;
}

bool VList::Set(Position& p_position, const VRecord& p_record) {
  if (!p_position) return false;
  p_position->m_record = p_record;
  return true;
}

VList::~VList() {
  GDeleteNodes(m_first);
  GDeleteNodes(m_spare);
}

bool VList::InsertBetween(VListNode* p_before, VListNode* p_after, VRecordSource& source,
                          VFilter& filter) {
  Chain chain = {};
  if (!Gather(source, filter, chain)) return false;
  Link(p_before, p_after, chain);
  return true;
}

// Copies the records that pass the filter into new nodes first: the source may be this very list,
// and a failure on the way must leave the list as it is.
bool VList::Gather(VRecordSource& source, VFilter& filter, Chain& p_chain) {
  Position cursor = nullptr;
  bool valid = source.First(cursor);
  for (uint32_t index = 0; valid; ++index) {
    if (filter.Test(index) & 0xFF) {
      VListNode* node = TakeNode();
      if (!node) {
        // DELIBERATE D-151: the nodes made so far are not freed. They become the pool of spare
        // nodes, so that the next try gets further. The pool is empty here: TakeNode() uses it up
        // before it asks for memory.
        m_spare = p_chain.m_first;
        m_spareCount = p_chain.m_count;
        return false;
      }
      if (!source.Get(cursor, node->m_record)) {
        delete node;
        GDeleteNodes(p_chain.m_first);
        return false;
      }
      node->m_prev = p_chain.m_last;
      (p_chain.m_last ? p_chain.m_last->m_next : p_chain.m_first) = node;
      p_chain.m_last = node;
      ++p_chain.m_count;
    }
    valid = source.Move(cursor, 1);
  }
  return true;
}

void VList::Link(VListNode* p_before, VListNode* p_after, const Chain& p_chain) {
  VListNode* const first = p_chain.m_first;
  VListNode* const last = p_chain.m_last;
  VASSERT_TEXT_AT(
      "stdhelpers", 1537,
      !p_before || !p_after || (p_before->m_next == p_after && p_after->m_prev == p_before),
      "p_before == 0 || p_after == 0 || (p_before->m_next == p_after && p_after->m_prev == "
      "p_before)");
  VASSERT_TEXT_AT("stdhelpers", 1539, !first == !last,
                  "(first != 0 && last != 0) || (first == 0 && last == 0)");
  // DELIBERATE D-160: a chain with only one end has nothing to link on its other side.
  if (!first || !last) return;
  first->m_prev = p_before;
  last->m_next = p_after;
  (p_before ? p_before->m_next : m_first) = first;
  (p_after ? p_after->m_prev : m_last) = last;
  m_count += p_chain.m_count;
}

// @return a node whose link to the next one is null, or null when there is no memory
VListNode* VList::TakeNode() {
  VListNode* node = m_spare;
  if (node) {
    m_spare = node->m_next;
    --m_spareCount;
  } else {
    node = new VListNode;
    if (!node) return nullptr;
  }
  node->m_next = nullptr;
  return node;
}

void VList::GDeleteNodes(VListNode* p_node) {
  while (p_node) {
    VListNode* next = p_node->m_next;
    delete p_node;
    p_node = next;
  }
}
