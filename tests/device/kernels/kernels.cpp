// A library whose functions are the table copies as they are built for the device, so that a test
// can compare them with this machine's.
#include "atomkit/core/streams/word_order.h"

#define KERNEL extern "C" __attribute__((visibility("default")))

extern "C" int DllMain(void*, unsigned long, void*) { return 1; }

KERNEL void CopyWords(uint32_t* to, const uint8_t* from, uint32_t count) {
  atomkit::copyWords(to, from, count);
}

KERNEL uint64_t CopyAddingWords(uint32_t* to, const uint8_t* from, uint32_t count) {
  return atomkit::copyAddingWords(to, from, count);
}

KERNEL void CopyLongWords(uint64_t* to, const uint8_t* from, uint32_t count) {
  atomkit::copyLongWords(to, from, count);
}
