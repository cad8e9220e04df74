// A whole file through the library's entry, with a host that does all that it should. Every answer
// is held against the plain model of the file.
#include <cstddef>
#include <cstdint>

#include "fuzz/targets/hosted_run.h"
#include "fuzz/targets/input_head.h"

size_t fuzz::inputHead(const uint8_t*, size_t) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::HostScript script;
  for (size_t i = 0; i < size; i += 97) {
    script.player = static_cast<uint8_t>(script.player * 31 + data[i]);
  }
  fuzz::runHosted(script, data, size);
  return 0;
}
