// Families of hostile files: each grows one thing that a file may hold much of.
#pragma once
#include <cstdint>
#include <span>

#include "tests/support/boxes.h"

struct Family {
  const char* name;
  /// A file of about `bytes` bytes.
  boxes::Bytes (*make)(uint64_t bytes);
  /// Chapters are bounded by their number, not by the file's size, so they may cost extra memory.
  bool hasChapters = false;
  /// Tags of the shortest kind: an entry of some forty bytes for five bytes of the file.
  bool hasShortestFields = false;
};

std::span<const Family> hostileFamilies();
