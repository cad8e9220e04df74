// What is worth saying of a box besides its fields: ignored, repeated, cut short, unknown.
#pragma once
#include <string>
#include <vector>

#include "inspect/box_walker.h"

namespace inspect {

/// Follows a walk, because what becomes of a sample table depends on the descriptions before it.
class BoxMarks {
 public:
  /// Asked for every box of a walk, in its order.
  /// @param isShort  whether its payload ends before its fields do
  /// @return short phrases; the first word of each is ignored, duplicate, cut, unknown, or open
  std::vector<std::string> of(const Box& box, bool isShort);

  /// What stands where a box should, and what that means to the plug-in.
  static std::string of(const NoBox& noBox);

 private:
  enum class Kind { unseen, playable, other };
  Kind track_ = Kind::unseen;  ///< of the descriptions seen in this track so far
};

}  // namespace inspect
