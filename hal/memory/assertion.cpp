#include "hal/memory/assertion.h"

#include "platform/platform.h"

void VAssertion::GReport(const char16_t* report) noexcept {
  platform::debugOutput(report);
  platform::debugBreak();
}
