// The documents against the tree: links, the program that the README quotes, versions, slots.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

const fs::path kRoot = VELA_SOURCE_DIR;

std::string textOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  EXPECT_TRUE(in) << file;
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

/// The first group of every match.
std::vector<std::string> findAll(const std::string& text, const char* pattern) {
  const std::regex expression(pattern);
  std::vector<std::string> found;
  for (std::sregex_iterator it(text.begin(), text.end(), expression), end; it != end; ++it) {
    found.push_back((*it)[1]);
  }
  return found;
}

/// Every Markdown page of the tree, those of build folders excepted.
std::vector<fs::path> documents() {
  std::vector<fs::path> pages;
  for (fs::recursive_directory_iterator it(kRoot), end; it != end; ++it) {
    const std::string name = it->path().filename().string();
    if (it->is_directory() && (name == "build" || name.front() == '.')) {
      it.disable_recursion_pending();
    } else if (it->path().extension() == ".md") {
      pages.push_back(it->path());
    }
  }
  return pages;
}

TEST(Documents, EveryRelativeLinkLeadsToAFile) {
  for (const fs::path& page : documents()) {
    for (std::string target : findAll(textOf(page), R"(\]\(([^)\s]+)\))")) {
      if (target.find("://") != std::string::npos || target.front() == '#') continue;
      target = target.substr(0, target.find('#'));
      EXPECT_TRUE(fs::exists(page.parent_path() / target)) << page << " links to " << target;
    }
  }
}

TEST(Documents, EveryFileThatTheContributingGuideNamesIsThere) {
  const std::string guide = textOf(kRoot / "CONTRIBUTING.md");
  const auto named =
      findAll(guide, "`((?:atomkit|frontend|hal|host|platform|tests|fuzz|docs)/[A-Za-z0-9_./]+)`");
  EXPECT_GT(named.size(), 10u);
  for (const std::string& file : named) EXPECT_TRUE(fs::exists(kRoot / file)) << file;
}

TEST(Readme, QuotesTheMinimalHostAsItIs) {
  const auto quotes = findAll(textOf(kRoot / "README.md"), "```cpp\n([^`]*)\n```");
  ASSERT_FALSE(quotes.empty());
  const std::string program = textOf(kRoot / "examples/minimal_host/main.cpp");
  for (const std::string& quote : quotes) EXPECT_THAT(program, HasSubstr(quote));
}

TEST(Version, IsTheSameInTheBuildTheHeaderAndTheChangelog) {
  const std::string header = textOf(kRoot / "frontend/vela_splitter.h");
  const auto parts = findAll(header, "VERSION_(?:MAJOR|MINOR|PATCH) ([0-9]+)");
  ASSERT_EQ(parts.size(), 3u);
  const std::string version = parts[0] + "." + parts[1] + "." + parts[2];
  EXPECT_EQ(version, VELA_PROJECT_VERSION);
  EXPECT_THAT(header, HasSubstr("VELA_SPLITTER_MP4_VERSION \"" + version + "\""));

  const auto releases = findAll(textOf(kRoot / "CHANGELOG.md"), "\n## ([0-9.]+)");
  ASSERT_FALSE(releases.empty());
  EXPECT_EQ(releases.front(), version);
}

TEST(BinaryContract, NamesEveryOperationOfTheHeader) {
  const auto operations =
      findAll(textOf(kRoot / "frontend/vela_splitter.h"), R"(virtual [^(;]*?(\w+)\()");
  EXPECT_GT(operations.size(), 100u);
  const std::string contract = textOf(kRoot / "docs/binary-contract.md");
  for (const std::string& operation : operations) {
    if (operation.rfind("unusedSlot", 0) == 0) continue;
    EXPECT_THAT(contract, HasSubstr("`" + operation)) << "no such operation in the contract";
  }
}

TEST(BinaryContract, GivesTheIdentifiersOfTheHeader) {
  const std::string header = textOf(kRoot / "frontend/vela_splitter.h");
  const std::string contract = textOf(kRoot / "docs/binary-contract.md");
  const std::regex pattern(R"(makeGuid\(0x(\w{8}), 0x(\w{4}), 0x(\w{4}), 0x(\w{4})(\w{12})\))");
  size_t count = 0;
  for (std::sregex_iterator it(header.begin(), header.end(), pattern), end; it != end; ++it) {
    const std::smatch& guid = *it;
    EXPECT_THAT(contract, HasSubstr(guid.format("{$1-$2-$3-$4-$5}")));
    ++count;
  }
  EXPECT_EQ(count, 9u);
}

}  // namespace
