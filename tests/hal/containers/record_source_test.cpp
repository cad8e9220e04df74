// VSingleRecordSource, VListIterator and the filter that accepts everything.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "hal/containers/list_iterator.h"
#include "hal/containers/single_record_source.h"
#include "tests/hal/containers/list_helpers.h"
#include "tests/support/assertion_capture.h"
#include "tests/support/hal_allocator.h"
#include "tests/support/raw_table.h"

namespace {

using namespace list_helpers;
using Reports = std::vector<std::u16string>;

Position somewhere() {
  static VListNode node;
  return &node;
}

TEST(SingleRecordSource, IsATableAndAPointerToItsRecord) {
  const VRecord record = recordOf(1);
  const VSingleRecordSource source(record);
  EXPECT_EQ(sizeof(source), 2 * sizeof(void*));
  EXPECT_EQ(raw_table::word(&source, 1), &record);
}

TEST(SingleRecordSource, EveryOperationStandsInItsSlot) {
  using raw_table::call;
  AssertionCapture capture;
  FailingHalAllocation allocation;
  const VRecord record = recordOf(3);
  auto* source = new VSingleRecordSource(record);
  VList list;
  VAcceptAllFilter all;
  VRecordSource* const records = &list;
  VFilter* const filter = &all;
  Position position = somewhere();

  EXPECT_TRUE(call<bool>(source, 0, &position)) << "First";
  EXPECT_EQ(position, somewhere()) << "the position is not touched";
  position = nullptr;
  EXPECT_TRUE(call<bool>(source, 1, &position)) << "Last";
  EXPECT_EQ(position, nullptr);
  VRecord out = {};
  EXPECT_TRUE((call<bool>(source, 2, &position, &out))) << "Get";
  EXPECT_TRUE(isRecordOf(out, 3));
  EXPECT_TRUE((call<bool>(source, 3, &position, int32_t{0}))) << "Move";
  EXPECT_FALSE((call<bool>(source, 3, &position, int32_t{1})));
  EXPECT_FALSE((call<bool>(source, 3, &position, int32_t{-1})));
  EXPECT_EQ(call<uint32_t>(source, 4), 1u) << "GetCount";
  EXPECT_FALSE((call<bool>(source, 5, &position, records, filter))) << "InsertBefore";
  EXPECT_TRUE(capture.reports().empty());

  const auto reported = [&](int line) {
    const bool alike =
        capture.reports() == Reports{AssertionCapture::report("stdinterfaces_inline", line, "0")} &&
        capture.breaks() == 1;
    capture.take();
    return alike;
  };
  const uint32_t order[] = {0};
  EXPECT_FALSE((call<bool>(source, 6, &position, records, filter)));
  EXPECT_TRUE(reported(19)) << "InsertAfter";
  EXPECT_FALSE((call<bool>(source, 7, records, filter)));
  EXPECT_TRUE(reported(20)) << "InsertFront";
  EXPECT_FALSE((call<bool>(source, 8, records, filter)));
  EXPECT_TRUE(reported(21)) << "InsertBack";
  EXPECT_FALSE(call<bool>(source, 9, filter));
  EXPECT_TRUE(reported(23)) << "RemoveIf";
  EXPECT_FALSE((call<bool>(source, 10, &position, int32_t{1})));
  EXPECT_TRUE(reported(24)) << "Remove";
  EXPECT_FALSE((call<bool>(source, 11, &order[0], uint32_t{1})));
  EXPECT_TRUE(reported(28)) << "Reorder";
  EXPECT_FALSE((call<bool>(source, 12, &position, &out)));
  EXPECT_TRUE(reported(30)) << "Set";

  EXPECT_TRUE(isRecordOf(record, 3));
  EXPECT_EQ(allocation.blocksHeld(), 1u);
  raw_table::destroyAndFree(source, 13);
  EXPECT_EQ(allocation.blocksHeld(), 0u) << "the record is not owned";
}

TEST(Deliberate, D156_InsertBeforeIsTheOnlyRefusalWithoutAReport) {
  AssertionCapture capture;
  const VRecord record = recordOf(3);
  VSingleRecordSource source(record);
  VAcceptAllFilter all;
  Position position = nullptr;
  EXPECT_FALSE(source.InsertBefore(position, source, all));
  EXPECT_TRUE(capture.reports().empty());
}

TEST(SingleRecordSource, InsertsOneRecordIntoAList) {
  AssertionCapture capture;
  const VRecord record = recordOf(5);
  VSingleRecordSource source(record);
  VAcceptAllFilter all;
  VList list;
  EXPECT_TRUE(list.InsertBack(source, all));
  EXPECT_TRUE(list.InsertRecordBack(recordOf(6)));
  EXPECT_EQ(valuesOf(list), (Values{5, 6}));
  EXPECT_TRUE(capture.reports().empty());
}

TEST(SingleRecordSource, InsertingFailsWithoutMemory) {
  FailingHalAllocation allocation(0);
  VList list;
  EXPECT_FALSE(list.InsertRecordBack(recordOf(6)));
  EXPECT_EQ(valuesOf(list), Values{});
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(AcceptAllFilter, EveryOperationStandsInItsSlot) {
  using raw_table::call;
  FailingHalAllocation allocation;
  VFilter* const filter = new VAcceptAllFilter;
  EXPECT_NE(call<uint32_t>(filter, 0, uint32_t{0}), 0u) << "Test";
  EXPECT_NE(call<uint32_t>(filter, 0, uint32_t{0xFFFFFFFF}), 0u);
  const auto found = call<uint32_t>(filter, 1, uint32_t{1}, uint32_t{5}, uint32_t{9}, uint32_t{2});
  EXPECT_EQ(found, 5u) << "FindNext";
  const auto missed = call<uint32_t>(filter, 1, uint32_t{0}, uint32_t{5}, uint32_t{9}, uint32_t{2});
  EXPECT_EQ(missed, 23u);
  raw_table::destroyAndFree(filter, 2);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

// ---- VListIterator

TEST(ListIterator, KeepsValidFlagPositionAndIndexInThisOrder) {
  VList list;
  append(list, {1, 2});
  VListIterator iterator;
  EXPECT_EQ(raw_table::field<uint8_t>(&iterator, 0), 0);
  iterator.Start(list);
  iterator.Next(list);
  EXPECT_EQ(raw_table::field<uint8_t>(&iterator, 0), 1);
  EXPECT_EQ(raw_table::word(&iterator, 1), at(list, 1));
  EXPECT_EQ(raw_table::field<uint32_t>(&iterator, 2 * sizeof(void*)), 1u);
}

TEST(ListIterator, IsNotValidWhenConstructedNorOverNothing) {
  VListIterator iterator;
  EXPECT_FALSE(iterator.IsValid());
  VList list;
  iterator.Start(list);
  EXPECT_FALSE(iterator.IsValid());
}

TEST(ListIterator, WalksAllRecordsAndCountsThem) {
  AssertionCapture capture;
  VList list;
  append(list, {4, 5, 6});
  VListIterator iterator;
  Values seen;
  for (iterator.Start(list); iterator.IsValid(); iterator.Next(list)) {
    EXPECT_EQ(iterator.GetIndex(), seen.size());
    VRecord record;
    ASSERT_TRUE(iterator.Get(list, record));
    seen.push_back(record.m_words[0]);
    EXPECT_TRUE(iterator.Set(list, recordOf(record.m_words[0] * 2)));
  }
  EXPECT_EQ(seen, (Values{4, 5, 6}));
  EXPECT_EQ(valuesOf(list), (Values{8, 10, 12}));
  EXPECT_EQ(iterator.GetIndex(), 2u) << "the index stays where the walk ended";
  iterator.Start(list);
  EXPECT_EQ(iterator.GetIndex(), 0u);
  EXPECT_TRUE(capture.reports().empty());
}

TEST(ListIterator, WalksASingleRecordOnce) {
  const VRecord record = recordOf(5);
  VSingleRecordSource source(record);
  VListIterator iterator;
  iterator.Start(source);
  EXPECT_TRUE(iterator.IsValid());
  iterator.Next(source);
  EXPECT_FALSE(iterator.IsValid());
}

TEST(ListIterator, CopiesAllThreeFields) {
  VList list;
  append(list, {1, 2, 3});
  VListIterator iterator;
  iterator.Start(list);
  iterator.Next(list);
  VListIterator copy(iterator);
  iterator.Next(list);
  VRecord record;
  EXPECT_TRUE(copy.IsValid());
  EXPECT_EQ(copy.GetIndex(), 1u);
  ASSERT_TRUE(copy.Get(list, record));
  EXPECT_TRUE(isRecordOf(record, 2));
  copy = iterator;
  EXPECT_EQ(copy.GetIndex(), 2u);
  ASSERT_TRUE(copy.Get(list, record));
  EXPECT_TRUE(isRecordOf(record, 3));
}

TEST(ListIterator, EveryOperationWithoutARecordIsReportedAndFails) {
  AssertionCapture capture;
  VList list;
  append(list, {1});
  VListIterator iterator;
  const auto reported = [&](int line) {
    const bool alike =
        capture.reports() == Reports{AssertionCapture::report("stdhelpers", line, "m_valid")};
    capture.take();
    return alike;
  };
  VRecord record = recordOf(9);
  iterator.Next(list);
  EXPECT_TRUE(reported(510));
  EXPECT_FALSE(iterator.IsValid());
  EXPECT_FALSE(iterator.Get(list, record));
  EXPECT_TRUE(reported(560));
  EXPECT_FALSE(iterator.Set(list, record));
  EXPECT_TRUE(reported(565));
  EXPECT_EQ(valuesOf(list), (Values{1}));
}

}  // namespace
