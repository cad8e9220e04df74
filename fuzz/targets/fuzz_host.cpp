// A file and a host that fails, lies, cancels, delivers half or calls back: the input begins with
// the host's script.
#include <cstddef>
#include <cstdint>

#include "fuzz/targets/hosted_run.h"
#include "fuzz/targets/input_head.h"

size_t fuzz::inputHead(const uint8_t* data, size_t size) {
  size_t used = 0;
  HostScript::read(data, size, used);
  return used;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  size_t used = 0;
  const fuzz::HostScript script = fuzz::HostScript::read(data, size, used);
  fuzz::runHosted(script, data + used, size - used);
  return 0;
}
