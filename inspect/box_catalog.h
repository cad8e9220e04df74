// What is known of boxes by their types: their names, and which of them the plug-in reads.
#pragma once
#include "inspect/box.h"

namespace inspect {

/// What a box is, in a few words ("movie header"); null for a type that is not known in its place.
const char* boxName(const Box& box);

/// Whether the library takes a box, or looks for others in it. It depends on the boxes around it
/// too: an item list outside the movie's user data is passed over. Not looked at is what the
/// track's kind decides.
bool isRead(const Box& box);

/// What a second box of its type in the same place does to the library; null where it may repeat.
const char* effectOfDuplicate(const Box& box);

/// The fixed parts of sample entries, before the boxes in them.
inline constexpr uint64_t kAudioEntryBytes = 28;
inline constexpr uint64_t kVideoEntryBytes = 78;

bool isAudioEntry(FourCC type);
bool isVideoEntry(FourCC type);
/// Whether a box holds boxes and nothing else.
bool isPlainContainer(FourCC type);

}  // namespace inspect
