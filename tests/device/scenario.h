// A host that opens one file on a device, describes and plays it, and writes down all that it is
// told.
#pragma once
#include <cstdint>
#include <functional>
#include <string>

#include "frontend/vela_splitter.h"
#include "tests/device/device.h"
#include "tests/support/boxes.h"

namespace device {

/// What a run came to.
struct Transcript {
  std::string text;             ///< all that the plug-in told, or the codes that it gave
  bool opened = false;          ///< the splitter could be made
  bool complete = false;        ///< every operation succeeded
  std::vector<uint32_t> codes;  ///< the codes of operations that did not
};

/// Opens, describes and plays `file` on `device` for a few packets, seeks, and releases everything.
Transcript runScenario(Device& device, const boxes::Bytes& file);

/// A film with chapters and tags, small enough for hundreds of runs.
boxes::Bytes smallFilm();

}  // namespace device
