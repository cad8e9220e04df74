// Comparison: whether two files hold the same, wherever in them it lies.
#pragma once
#include <functional>
#include <string>
#include <vector>

#include "inspect/file.h"

namespace inspect {

/// One subject of a comparison.
struct Compared {
  const char* subject;  ///< "tracks", "packets" and so on
  bool same;
  std::string text;  ///< the first difference, or how much was the same; safe on a terminal
};

/// Compares tracks, packets (their bytes), times, headers, tags, chapters and covers, in this
/// order. Memory: that of the two movies and of two small pieces of media.
/// @param poll  called now and then; may throw to end a long look
/// @throws cli::Failure when a file can't be read
std::vector<Compared> compareFiles(File& left, File& right, const std::function<void()>& poll);

}  // namespace inspect
