#include "hal/containers/reorder.h"

#include <cstddef>

#include "hal/containers/bit_table.h"
#include "hal/containers/sort.h"

bool VReorder::GElements(void* p_base, uint32_t size, const uint32_t* p_permutation,
                         uint32_t p_count) noexcept {
  return GReorder({static_cast<uint8_t*>(p_base), size, p_permutation, p_count, nullptr},
                  KElementReports);
}

bool VReorder::GPointers(void* p_pointers, const uint32_t* p_permutation,
                         uint32_t p_count) noexcept {
  return GReorder(
      {static_cast<uint8_t*>(p_pointers), sizeof(void*), p_permutation, p_count, nullptr},
      KPointerReports);
}

bool VReorder::GReorder(Work p_work, const Reports& p_reports) noexcept {
  VBitTable done;
  p_work.m_done = done.SetCount(p_work.m_count);
  if (!p_work.m_done) {
    // DELIBERATE D-154: a reorder of no elements has no storage either, and is reported like one
    // without memory. D-160: nothing moves.
    VAssertion::GReport(p_reports.m_noStorage);
    return false;
  }
  done.Clear();
  for (uint32_t n = 0; n < p_work.m_count; ++n) {
    if (p_work.m_permutation[n] == n || done.Get(n)) continue;
    GFollowCycle(p_work, n, p_reports);
  }
  return true;
}

void VReorder::GFollowCycle(const Work& p_work, uint32_t n, const Reports& p_reports) noexcept {
  uint32_t cur = n;
  uint32_t next = p_work.m_permutation[n];
  do {
    // A cycle is entered at its smallest position, so every other one is larger and not done yet;
    // position n itself is never marked. DELIBERATE D-160: a walk that meets a marked or smaller
    // position would never come back to n, and ends there. So does one that leaves the array, for
    // which there is no report.
    const bool isOutside = next >= p_work.m_count;
    const bool doneTwice = !isOutside && VBitArrayBitTable::GGet(p_work.m_done, next);
    const bool notRising = next <= n;
    if (doneTwice) VAssertion::GReport(p_reports.m_doneTwice);
    if (notRising) VAssertion::GReport(p_reports.m_notRising);
    if (n >= p_work.m_count) VAssertion::GReport(p_reports.m_outOfRange);
    if (isOutside || doneTwice || notRising) return;
    VSort::GSwapBytes(p_work.m_base + size_t{cur} * p_work.m_size,
                      p_work.m_base + size_t{next} * p_work.m_size, p_work.m_size);
    VBitArrayBitTable::GSet(p_work.m_done, next, 1);
    cur = next;
    next = p_work.m_permutation[cur];
  } while (next != n);
}
