#include "hal/containers/list_iterator.h"

#include "hal/memory/assertion.h"

void VListIterator::Start(VRecordSource& source) {
  m_valid = source.First(m_position);
  if (m_valid) m_index = 0;
}

void VListIterator::Next(VRecordSource& source) {
  VASSERT_AT("stdhelpers", 510, m_valid);
  m_valid = source.Move(m_position, 1);
  if (m_valid) ++m_index;
}

bool VListIterator::Get(VRecordSource& source, VRecord& p_record) {
  VASSERT_AT("stdhelpers", 560, m_valid);
  return source.Get(m_position, p_record);
}

bool VListIterator::Set(VRecordList& list, const VRecord& p_record) {
  VASSERT_AT("stdhelpers", 565, m_valid);
  return list.Set(m_position, p_record);
}
