// The pictures of a file: cover art of item lists and of the tagging box.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "inspect/box.h"
#include "inspect/file.h"

namespace inspect {

/// What a picture is, as its first bytes show.
struct PictureKind {
  const char* name;       ///< "JPEG"; "unknown" for bytes of no known kind
  const char* extension;  ///< of a file name, without a dot
  const char* mediaType;  ///< "image/jpeg"
};

/// @param start  the first bytes; sixteen are enough
const PictureKind& pictureKind(std::string_view start);

struct Picture {
  std::string path;     ///< of the box that holds it
  uint64_t offset = 0;  ///< of its first byte in the file
  uint64_t size = 0;    ///< bytes that are there
  PictureKind kind{};
  bool isInTaggingBox = false;
  bool isCutShort = false;  ///< the box declares more bytes than there are
};

/// All pictures in file order. Those of no bytes are left out. Memory: none for the bytes.
std::vector<Picture> findPictures(File& file);

}  // namespace inspect
