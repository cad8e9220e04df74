// The emulator sees every broken rule: a library that breaks them one by one.
#include <gtest/gtest.h>

#include "tests/device/device.h"
#include "tests/support/fake_sinks.h"

namespace device {
namespace {

Options brokenLibrary() {
  Options options;
  options.dll = VELA_BROKEN_DLL;
  return options;
}

// Calls one function of the broken library and detaches it.
void run(const std::string& function) {
  Device device(brokenLibrary());
  device.call(function, {});
}

struct Rule {
  const char* function;
  const char* message;
};

class DeviceRulesDeathTest : public testing::TestWithParam<Rule> {};

TEST_P(DeviceRulesDeathTest, IsSeenWhenItIsBroken) {
  EXPECT_EXIT(run(GetParam().function), testing::ExitedWithCode(kViolationStatus),
              GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, DeviceRulesDeathTest,
    testing::Values(
        Rule{"UnalignedRead", "unaligned: a read of 4 bytes"},
        Rule{"WritePastABlock", "outside of every live block: a write of 1 bytes"},
        Rule{"CopyPastABlock", "memset\\(\\): 101 bytes at .* are not all in one live block"},
        Rule{"ReadAfterFree", "outside of every live block: a read of 1 bytes"},
        Rule{"FreeTwice", "free\\(\\) of .*, where no block begins"},
        Rule{"LeaveABlock", "1 blocks of 100 bytes are left after detach"},
        Rule{"LoseARegister", "does not keep register r6"},
        Rule{"LoseTheStackPointer", "does not keep the stack pointer"},
        Rule{"CopyBetweenPlacesThatOverlap", "memcpy\\(\\) between places that overlap"},
        Rule{"RunOutsideOfText", "execution outside of .text"},
        Rule{"WriteToConstants", "a write without the right to"},
        Rule{"ReadNowhere", "a read where nothing is mapped"}),
    [](const auto& rule) { return std::string(rule.param.function); });

TEST(DeviceRules, NothingIsSeenWhenNoneIsBroken) { run("Nothing"); }

TEST(DeviceRules, ScratchRegistersDoNotSurviveACall) {
  Device device(brokenLibrary());
  EXPECT_NE(static_cast<uint32_t>(device.call("ReadAScratchRegisterAfterACall", {})), 0u);
}

TEST(DeviceRulesDeathTest, ACallOfAnUnusedSlotIsSeen) {
  const auto callIt = [] {
    Device device(brokenLibrary());
    FakeMediaInfo info;
    Lent object(device.objects().host(), HostKind::mediaInfo, &info);
    device.call("CallAnUnusedSlot", {object.address()});
  };
  EXPECT_EXIT(callIt(), testing::ExitedWithCode(kViolationStatus),
              "a call of MediaInfo slot 12, which is not used");
}

TEST(DeviceRulesDeathTest, AnImportThatIsNotOfferedIsSeen) {
  Machine machine(8);
  const Coredll system(machine, ~uint64_t{0}, false);
  EXPECT_EXIT(system.resolve("coredll.dll", "CreateFileW"),
              testing::ExitedWithCode(kViolationStatus), "imports CreateFileW from coredll.dll");
}

}  // namespace
}  // namespace device
