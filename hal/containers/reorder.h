// VReorder: brings the elements of an array into the order of a permutation, in place.
#pragma once
#include <cstdint>

#include "hal/memory/assertion.h"

/// Entry k of a permutation is the index of the element that must end up at position k; it must be
/// a bijection of 0 ... count-1. A check that sees that it is not reports that, and the rest of
/// that cycle stays as it is. An entry of `count` or more ends its cycle without a report. Nothing
/// outside the array is touched. Cost: one swap for each step of a cycle; one bit for each element.
class VReorder {
 public:
  /// Reorders `p_count` elements of `size` bytes. Reports "done" when there is no storage for the
  /// bits (also for a count of 0), and moves nothing then. @return whether there was storage
  static bool GElements(void* p_base, uint32_t size, const uint32_t* p_permutation,
                        uint32_t p_count) noexcept;

  /// The same for an array of pointers to anything.
  static bool GPointers(void* p_pointers, const uint32_t* p_permutation, uint32_t p_count) noexcept;

 protected:
  /// What failed checks write: elements and pointers have lines of their own.
  struct Reports {
    const char16_t* m_noStorage;
    const char16_t* m_doneTwice;
    const char16_t* m_notRising;
    const char16_t* m_outOfRange;
  };
  static constexpr Reports KElementReports = {
      VASSERT_REPORT("stdhelpers", "199", "done"),
      VASSERT_REPORT("stdhelpers", "210", "!VBitArrayBitTable::GGet(done,next)"),
      VASSERT_REPORT("stdhelpers", "211", "next>n"),
      VASSERT_REPORT("stdhelpers", "212", "n<count"),
  };
  static constexpr Reports KPointerReports = {
      VASSERT_REPORT("stdhelpers", "1128", "done"),
      VASSERT_REPORT("stdhelpers", "1140", "!VBitArrayBitTable::GGet(done,next)"),
      VASSERT_REPORT("stdhelpers", "1141", "next>n"),
      VASSERT_REPORT("stdhelpers", "1142", "n<count"),
  };

  /// An array in the middle of being reordered; nothing is owned.
  struct Work {
    uint8_t* m_base;
    uint32_t m_size;  // bytes of an element
    const uint32_t* m_permutation;
    uint32_t m_count;
    uint8_t* m_done;  // one bit per position, set when its element is there
  };
  /// Moves the elements of the cycle that begins at position `n`, its smallest.
  static void GFollowCycle(const Work& p_work, uint32_t n, const Reports& p_reports) noexcept;

 private:
  static bool GReorder(Work p_work, const Reports& p_reports) noexcept;
};
