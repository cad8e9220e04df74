// VSingleRecordSource: one record as a source, for the operations that insert from one.
#pragma once
#include <cstdint>

#include "hal/containers/record_source.h"

/// Borrows its record. Has no positions: First() and Last() leave the position as it is. The
/// operations that change a list do nothing and return false; all but InsertBefore() report "0".
class VSingleRecordSource final : public VRecordList {
 public:
  explicit VSingleRecordSource(const VRecord& p_record) noexcept : m_record(&p_record) {}

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

 private:
  const VRecord* m_record;
};
static_assert(sizeof(VSingleRecordSource) == 2 * sizeof(void*));
