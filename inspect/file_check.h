// Everything that check says about one file.
#pragma once
#include <functional>
#include <optional>
#include <vector>

#include "inspect/file.h"
#include "inspect/findings.h"

namespace inspect {

struct FileCheck {
  std::vector<Finding> findings;             ///< the gravest first
  std::optional<Interleaving> interleaving;  ///< of a file that the plug-in opens
};

/// @param poll  called now and then; may throw to end a long look
FileCheck checkFile(File& file, const std::function<void()>& poll);

}  // namespace inspect
