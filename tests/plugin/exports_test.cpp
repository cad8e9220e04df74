// What the built shared object exports, and what it imports.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tests/plugin/loaded_plugin.h"

namespace {

std::vector<std::string> linesOf(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), &pclose);
  std::vector<std::string> lines;
  std::array<char, 4096> buffer;
  while (pipe && std::fgets(buffer.data(), buffer.size(), pipe.get())) {
    std::string line = buffer.data();
    if (!line.empty() && line.back() == '\n') line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

/// The last word of every line: the symbol without its version.
std::vector<std::string> symbols(const std::string& options) {
  std::vector<std::string> names;
  for (const std::string& line : linesOf(VELA_NM " " + options + " '" VELA_PLUGIN_PATH "'")) {
    std::istringstream words(line);
    std::string word;
    std::string last;
    while (words >> word) last = word;
    names.push_back(last.substr(0, last.find('@')));
  }
  return names;
}

}  // namespace

TEST(Exports, AreVelaEntryAndNothingElse) {
  EXPECT_EQ(symbols("-D --defined-only"), std::vector<std::string>{"VelaEntry"});
}

TEST(Exports, CanBeLoadedAndUnloadedAgainAndAgain) {
  for (int i = 0; i < 3; ++i) {
    const LoadedPlugin plugin;
    void* const module = plugin.newModule();
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(call<uint32_t>(module, module_slot::kGetVersion), 2u);
    call<void>(module, module_slot::kDestroy, uint32_t{1});
  }
}

#if !VELA_SANITIZED  // a sanitizer brings start-up code and imports of its own

// Guards of static objects, destructors registered for the end of the program, thread-local
// storage and the C++ runtime's own memory, locks and streams: none of this exists on the device.
TEST(Imports, NeedNothingThatTheDeviceDoesNotHave) {
  const std::vector<std::string> needed = symbols("-D --undefined-only");
  ASSERT_FALSE(needed.empty());
  const char* const forbidden[] = {"__cxa_guard_",   "__cxa_atexit", "__cxa_thread_atexit",
                                   "__tls_get_addr", "pthread_",     "_ZNSt",
                                   "_ZNKSt",         "_ZSt",         "_Znw",
                                   "_Zna",           "_Zdl",         "_Zda"};
  for (const std::string& name : needed) {
    if (name == "_ZSt9terminatev") continue;  // where one compiler ends in a noexcept function
    for (const char* start : forbidden) {
      EXPECT_FALSE(name.starts_with(start)) << name;
    }
  }
}

TEST(Imports, HaveNoStaticObjectToInitialise) {
  // One word belongs to the compiler's start-up code.
  size_t bytes = 0;
  for (const std::string& line : linesOf(VELA_READELF " -SW '" VELA_PLUGIN_PATH "'")) {
    const size_t at = line.find(".init_array");
    if (at == std::string::npos) continue;
    std::istringstream words(line.substr(at));
    std::string name, type, address, offset, size;
    words >> name >> type >> address >> offset >> size;
    bytes = std::stoul(size, nullptr, 16);
  }
  EXPECT_EQ(bytes, sizeof(void*));
}

#endif
