// Records, filters and shorthand for the tests of record lists.
#pragma once
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "hal/containers/filter.h"
#include "hal/containers/list.h"

namespace list_helpers {

using Values = std::vector<uint32_t>;
using Position = VRecordSource::Position;

/// A record whose four words all depend on `value`.
inline VRecord recordOf(uint32_t value) { return {{value, ~value, value * 3, value ^ 0x12345678}}; }

inline bool isRecordOf(const VRecord& record, uint32_t value) {
  const VRecord expected = recordOf(value);
  return std::memcmp(&record, &expected, sizeof(record)) == 0;
}

/// A filter with a given rule (true, or any word), which remembers the indices that it was asked
/// for.
class RuleFilter final : public VFilter {
 public:
  explicit RuleFilter(std::function<uint32_t(uint32_t)> rule) : rule_(std::move(rule)) {}
  uint32_t Test(uint32_t index) override {
    asked.push_back(index);
    return rule_(index);
  }
  Values asked;

 private:
  std::function<uint32_t(uint32_t)> rule_;
};

/// A source of values whose positions are running numbers instead of nodes, and which can be told
/// to fail.
class ValueSource final : public VRecordSource {
 public:
  explicit ValueSource(Values values) : values_(std::move(values)) {}

  bool First(Position& position) override { return moveTo(position, 0); }
  bool Last(Position& position) override { return moveTo(position, values_.size() - 1); }
  bool Get(Position& position, VRecord& record) override {
    fetched.push_back(static_cast<uint32_t>(indexOf(position)));
    if (indexOf(position) == failingGet) return false;
    record = recordOf(values_[indexOf(position)]);
    return true;
  }
  bool Move(Position& position, int32_t step) override {
    return moveTo(position, indexOf(position) + static_cast<size_t>(int64_t{step}));
  }

  size_t failingGet = ~size_t{0};  ///< the record whose Get() fails
  Values fetched;                  ///< the indices of the records that were asked for

 private:
  size_t indexOf(Position position) const { return static_cast<size_t>(position - tokens()); }
  bool moveTo(Position& position, size_t index) {
    position = index < values_.size() ? tokens() + index : nullptr;
    return position != nullptr;
  }
  // Positions only need addresses; nothing reads what is there.
  Position tokens() const { return const_cast<Position>(tokens_); }

  Values values_;
  VListNode tokens_[64];
};

/// Inserts all values after the last element.
inline bool append(VRecordList& list, const Values& values) {
  ValueSource source(values);
  VAcceptAllFilter all;
  return list.InsertBack(source, all);
}

/// The position of element `index`.
inline Position at(VRecordSource& source, uint32_t index) {
  Position position = nullptr;
  if (source.First(position) && index) source.Move(position, static_cast<int32_t>(index));
  return position;
}

/// The values of a list, read forwards; a record that is damaged ends them with 0xDEAD.
inline Values valuesOf(VRecordSource& source) {
  Values values;
  Position position = nullptr;
  for (bool valid = source.First(position); valid; valid = source.Move(position, 1)) {
    VRecord record;
    if (!source.Get(position, record) || !isRecordOf(record, record.m_words[0])) {
      values.push_back(0xDEAD);
      break;
    }
    values.push_back(record.m_words[0]);
  }
  return values;
}

/// The values of a list, read from its last element backwards.
inline Values valuesBackwards(VRecordSource& source) {
  Values values;
  Position position = nullptr;
  for (bool valid = source.Last(position); valid; valid = source.Move(position, -1)) {
    VRecord record;
    source.Get(position, record);
    values.push_back(record.m_words[0]);
  }
  return values;
}

}  // namespace list_helpers
