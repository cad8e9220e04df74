// Box: one box of a file as its header tells it, and the path that names it.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "atomkit/core/streams/fourcc.h"

namespace inspect {

using atomkit::fourCC;
using atomkit::FourCC;

struct Box {
  FourCC type = 0;
  uint32_t index = 0;           ///< among the boxes of this type in the same box, from 0
  uint32_t depth = 0;           ///< 0 at the top of the file
  const Box* parent = nullptr;  ///< null at the top; lives as long as this box is walked
  uint64_t offset = 0;          ///< of the header, in bytes from the file's start
  uint32_t headerSize = 8;      ///< bytes: 8, or 16 with a 64-bit size
  uint64_t declaredSize = 0;    ///< bytes, header included; 0 where the box goes to the file's end
  uint64_t end = 0;  ///< past its last byte that is there: within the file and the parent

  uint64_t payload() const { return offset + headerSize; }
  uint64_t payloadSize() const { return end - payload(); }
  /// Goes to the end of the file, whatever its size.
  bool isOpenEnded() const { return declaredSize == 0; }
  /// Declares more bytes than the file, or the box around it, has left.
  bool isCutShort() const { return !isOpenEnded() && declaredSize > end - offset; }
  bool isIn(FourCC parentType) const { return parent && parent->type == parentType; }
};

/// A type as UTF-8 in which a path can be written: the byte A9 is ©; a byte that is no printable
/// ASCII, and / [ ] and \, are \xNN.
std::string typeText(FourCC type);

/// "/moov/trak[1]/mdia": the types from the top of the file, with the index where it is not 0.
std::string pathText(const Box& box);

/// One step of a path.
struct PathStep {
  FourCC type;
  uint32_t index;
};

/// The steps of a path as pathText() writes it, with or without a slash at the start and [0].
/// @throws cli::Failure (usage) for any other text
std::vector<PathStep> parsePath(std::string_view path);

}  // namespace inspect
