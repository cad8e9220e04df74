// Replays the files and folders of its command line through the fuzz target that it is linked with:
// each file as it is, then copies of it with small changes that are the same in every run.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using Input = std::vector<uint8_t>;

constexpr int kChangedCopies = 60;
constexpr size_t kLargestChanged = 16384;  // bytes; larger inputs are replayed as they are

void run(const Input& input) { LLVMFuzzerTestOneInput(input.data(), input.size()); }

/// Up to four bytes set to a value that lengths and counts are sensitive to, or the end cut off.
Input changed(Input input, std::mt19937& random) {
  static constexpr uint8_t kValues[] = {0x00, 0x01, 0x07, 0x08, 0x10, 0x7f, 0x80, 0xff};
  for (uint32_t changes = 1 + random() % 4; changes > 0; --changes) {
    input[random() % input.size()] = kValues[random() % std::size(kValues)];
  }
  if (random() % 8 == 0) input.resize(random() % input.size());
  return input;
}

/// @return the number of inputs that were run
size_t replay(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return 0;
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  const Input input(bytes.begin(), bytes.end());
  run(input);
  if (input.empty() || input.size() > kLargestChanged) return 1;
  std::mt19937 random(static_cast<uint32_t>(input.size()));
  for (int i = 0; i < kChangedCopies; ++i) run(changed(input, random));
  return 1 + kChangedCopies;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  size_t replayed = 0;
  for (int i = 1; i < argumentCount; ++i) {
    if (!std::filesystem::is_directory(arguments[i])) {
      replayed += replay(arguments[i]);
      continue;
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(arguments[i])) {
      if (entry.is_regular_file()) replayed += replay(entry.path());
    }
  }
  std::printf("%zu inputs replayed\n", replayed);
  return replayed > 0 ? 0 : 1;
}
