#include "hal/containers/single_record_source.h"

#include "hal/memory/assertion.h"

bool VSingleRecordSource::First(Position&) { return true; }

bool VSingleRecordSource::Last(Position&) { return true; }

bool VSingleRecordSource::Get(Position&, VRecord& p_record) {
  p_record = *m_record;
  return true;
}

bool VSingleRecordSource::Move(Position&, int32_t step) { return step == 0; }

uint32_t VSingleRecordSource::GetCount() { return 1; }

// DELIBERATE D-156: the only refusal without a report.
bool VSingleRecordSource::InsertBefore(Position&, VRecordSource&, VFilter&) { return false; }

bool VSingleRecordSource::InsertAfter(Position&, VRecordSource&, VFilter&) {
  VASSERT_AT("stdinterfaces_inline", 19, 0);
  return false;
}

bool VSingleRecordSource::InsertFront(VRecordSource&, VFilter&) {
  VASSERT_AT("stdinterfaces_inline", 20, 0);
  return false;
}

bool VSingleRecordSource::InsertBack(VRecordSource&, VFilter&) {
  VASSERT_AT("stdinterfaces_inline", 21, 0);
  return false;
}

bool VSingleRecordSource::RemoveIf(VFilter&) {
  VASSERT_AT("stdinterfaces_inline", 23, 0);
  return false;
}

bool VSingleRecordSource::Remove(Position&, int32_t) {
  VASSERT_AT("stdinterfaces_inline", 24, 0);
  return false;
}

bool VSingleRecordSource::Reorder(const uint32_t*, uint32_t) {
  VASSERT_AT("stdinterfaces_inline", 28, 0);
  return false;
}

bool VSingleRecordSource::Set(Position&, const VRecord&) {
  VASSERT_AT("stdinterfaces_inline", 30, 0);
  return false;
}
