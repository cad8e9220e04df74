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
/// order. Memory: that of the two movies and of two small pieces of media. Samples that share their
/// bytes are compared until four times the bytes of the smaller file and 64 KiB have been read, and
/// chapters until a million of their tags have; what is left then makes its subject `unknown`.
/// @param poll  called now and then; may throw to end a long look
/// @throws cli::Failure when a file can't be read
std::vector<Compared> compareFiles(File& left, File& right, const std::function<void()>& poll);

}  // namespace inspect
