// The tables of operations through which records are read (VRecordSource) and kept (VRecordList).
#pragma once
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "hal/memory/memory.h"

class VFilter;
struct VListNode;

/// Sixteen bytes that a list keeps for its owner, who alone knows what they mean.
struct VRecord {
  uint32_t m_words[4];

  /// Record whose first bytes are those of `p_value`; the rest is 0.
  template <class T>
  static VRecord GFrom(const T& p_value) {
    static_assert(std::is_trivially_copyable_v<T> && sizeof(T) <= sizeof(VRecord));
    VRecord record = {};
    std::memcpy(&record, &p_value, sizeof(T));
    return record;
  }
  /// The value made of the record's first bytes.
  template <class T>
  T As() const {
    static_assert(std::is_trivially_copyable_v<T> && sizeof(T) <= sizeof(VRecord));
    T value;
    std::memcpy(&value, this, sizeof(T));
    return value;
  }
};
static_assert(sizeof(VRecord) == 16, "records are copied as 16 bytes on every system");

/// Anything that delivers records one after the other. A position is a node of the source, or null
/// for no element. Operations take the caller's position variable by reference, whether or not they
/// change it. Slots count from 0.
class VRecordSource : public VHeapObject {
 public:
  using Position = VListNode*;

  /// Slot 0. Moves to the first record. @return false, with a null position, when there is none
  virtual bool First(Position& p_position) = 0;
  /// Slot 1. Moves to the last record. @return false, with a null position, when there is none
  virtual bool Last(Position& p_position) = 0;
  /// Slot 2. Copies the record out. @return false for a null position
  virtual bool Get(Position& p_position, VRecord& p_record) = 0;
  /// Slot 3. Moves `p_step` records on (back when negative), and to null past either end.
  /// @return whether there is a record at the new position
  virtual bool Move(Position& p_position, int32_t p_step) = 0;

 protected:
  ~VRecordSource() = default;
};

/// A record source that can be changed. Slots 0 to 3 are those of VRecordSource.
class VRecordList : public VRecordSource {
 public:
  /// Slot 4. @return number of records
  virtual uint32_t GetCount() = 0;
  /// Slots 5 and 6. Insert the records of `p_source` that `p_filter` lets pass, in their order,
  /// before or after the position. An empty source is a success.
  /// @return false for a null position, when memory runs out, or when the source fails
  virtual bool InsertBefore(Position& p_position, VRecordSource& p_source, VFilter& p_filter) = 0;
  virtual bool InsertAfter(Position& p_position, VRecordSource& p_source, VFilter& p_filter) = 0;
  /// Slots 7 and 8. The same, before the first record or after the last one.
  virtual bool InsertFront(VRecordSource& p_source, VFilter& p_filter) = 0;
  virtual bool InsertBack(VRecordSource& p_source, VFilter& p_filter) = 0;
  /// Slot 9. Removes every record whose running index the filter lets pass: its place, from 0,
  /// before the call. @return true
  virtual bool RemoveIf(VFilter& p_filter) = 0;
  /// Slot 10. Removes the record at the position, which moves on by `p_step` first; with a step of
  /// 0 it becomes null. @return whether there is a record at the new position
  virtual bool Remove(Position& p_position, int32_t p_step) = 0;
  /// Slot 11. Puts record `p_permutation[k]` at place k, for the first `p_count` records; the
  /// others keep their order. @return false when there are fewer records, or when memory runs out
  virtual bool Reorder(const uint32_t* p_permutation, uint32_t p_count) = 0;
  /// Slot 12. Overwrites the record. @return false for a null position
  virtual bool Set(Position& p_position, const VRecord& p_record) = 0;
  /// Last slot, after all operations, so that it never shifts one.
  virtual ~VRecordList() = default;
};
