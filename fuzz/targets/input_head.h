// What every target says about its inputs, for the mutator and the replayer.
#pragma once
#include <cstddef>
#include <cstdint>

namespace fuzz {

/// How many bytes of an input come before its boxes; `size` for inputs that are not boxes.
size_t inputHead(const uint8_t* data, size_t size);

}  // namespace fuzz
