#include "hal/stdhelpers.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

// This file has no other include of the library.
static_assert(sizeof(VBufferString) > 0);
static_assert(sizeof(VBoundedReader) > 0);

TEST(StdHelpers, GathersEveryHeaderOfTheLibrary) {
  const std::filesystem::path folder = HAL_FOLDER;
  std::stringstream gathered;
  gathered << std::ifstream(folder / "stdhelpers.h").rdbuf();
  int headers = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    const std::string name = entry.path().lexically_relative(folder).generic_string();
    if (entry.path().extension() != ".h" || name == "stdhelpers.h") continue;
    ++headers;
    EXPECT_NE(gathered.str().find("#include \"hal/" + name + "\"\n"), std::string::npos) << name;
  }
  EXPECT_GT(headers, 20);
}
