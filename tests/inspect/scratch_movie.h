// A file made of boxes, in a folder that vanishes with it.
#pragma once
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/inspect/command_run.h"
#include "tests/support/boxes.h"

namespace inspecting {

class ScratchMovie {
 public:
  explicit ScratchMovie(const boxes::Bytes& bytes, const std::string& name = "made.m4a")
      : name_(name) {
    std::ofstream out(file(), std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    EXPECT_TRUE(out.good());
  }

  std::filesystem::path folder() const { return folder_ / ""; }
  std::filesystem::path file() const { return folder_ / name_; }

  /// Runs a command on the file.
  CommandRun run(const std::string& command, std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {command, file().string()});
    return inspecting::run(std::move(options));
  }
  /// What a command that succeeds says in JSON.
  nlohmann::json json(const std::string& command, std::vector<std::string> options = {}) const {
    options.push_back("--json");
    const CommandRun result = run(command, std::move(options));
    EXPECT_EQ(result.status, 0) << result.err;
    return nlohmann::json::parse(result.out);
  }

 private:
  media::ScratchFolder folder_;
  std::string name_;
};

}  // namespace inspecting
