// Changes a file as a tree of boxes, so that the sizes of the boxes around a change stay right most
// of the time, tables keep their layout, and chunk offsets still point into the media data.
#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>

#include "fuzz/mutator/box_tree.h"

namespace fuzz {

/// Changes some bytes and returns how many there are afterwards, at most `room`.
using ChangeBytes = std::function<size_t(uint8_t* bytes, size_t count, size_t room)>;

/// A few bytes set to values that counts and lengths are sensitive to.
size_t changeSomeBytes(std::mt19937& random, uint8_t* bytes, size_t count);

/// @return the changed boxes, at most `room` bytes
Bytes mutateBoxes(const uint8_t* bytes, size_t count, size_t room, std::mt19937& random,
                  const ChangeBytes& changeBytes);

}  // namespace fuzz
