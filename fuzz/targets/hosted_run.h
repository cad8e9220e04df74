// One input, from the library's entry to the last reference: both kinds of splitters are made,
// driven and given back.
#pragma once
#include <cstddef>
#include <cstdint>

#include "fuzz/host/host_script.h"

namespace fuzz {

/// Ends the program where an invariant is broken.
void runHosted(const HostScript& script, const uint8_t* file, size_t length);

}  // namespace fuzz
