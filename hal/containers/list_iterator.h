// VListIterator walks a record source from its first record to its last.
#pragma once
#include <cstdint>

#include "hal/containers/record_source.h"

/// Keeps no reference to the source: every operation is given it again, the one of Start() each
/// time. Next(), Get() and Set() report "m_valid" when there is no current record.
class VListIterator {
 public:
  /// Moves to the first record.
  void Start(VRecordSource& source);
  /// Moves to the next record.
  void Next(VRecordSource& source);
  /// @return whether there is a current record
  bool IsValid() const noexcept { return m_valid != 0; }
  /// @return number of records before the current one
  uint32_t GetIndex() const noexcept { return m_index; }

  /// Copies the current record out. @return false when the source refuses
  bool Get(VRecordSource& source, VRecord& p_record);
  /// Overwrites the current record. @return false when the list refuses
  bool Set(VRecordList& list, const VRecord& p_record);

 private:
  uint8_t m_valid = 0;
  VRecordSource::Position m_position = nullptr;
  uint32_t m_index = 0;
};
static_assert(sizeof(VListIterator) == 3 * sizeof(void*));
