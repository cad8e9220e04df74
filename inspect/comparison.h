// Comparison: whether two files hold the same, wherever in them it lies.
#pragma once
#include <functional>
#include <string>
#include <vector>

#include "inspect/file.h"

namespace inspect {

/// `unknown`: no difference was found, but not everything was compared.
enum class Verdict { same, differ, unknown };

/// One subject of a comparison.
struct Compared {
  const char* subject;  ///< "tracks", "packets" and so on
  Verdict verdict;
  std::string text;  ///< the first difference, how much was the same, or why nobody knows; safe on
                     ///< a terminal
};

/// Compares tracks, packets (their bytes), times, headers, tags, chapters and covers, in this
/// order. Memory: that of the two movies and of two small pieces of media. Time: in proportion to
/// the size of the smaller file, whatever its tables claim. Samples may share bytes: up to 16 times
/// the file's bytes are compared, and what is left then is told.
/// @param poll  called now and then; may throw to end a long look
/// @throws cli::Failure when a file can't be read
std::vector<Compared> compareFiles(File& left, File& right, const std::function<void()>& poll);

}  // namespace inspect
