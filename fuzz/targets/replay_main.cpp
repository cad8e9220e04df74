// Replays the files and folders of its command line through the fuzz target that it is linked with:
// each file as it is, then copies of it with small changes that are the same in every run: 60, or
// as many as "--copies N" before it says. Of what follows "--as-is" there are none.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/mutator/box_mutator.h"
#include "fuzz/targets/input_head.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using Input = std::vector<uint8_t>;

constexpr int kChangedCopies = 60;
constexpr size_t kLargestChanged = 8192;  // bytes; larger inputs are replayed as they are
constexpr size_t kLargestInput = 65536;

void run(const Input& input) { LLVMFuzzerTestOneInput(input.data(), input.size()); }

/// A few bytes set to other values, the end cut off, or the tree of boxes changed.
Input changed(Input input, std::mt19937& random) {
  const fuzz::ChangeBytes changeBytes = [&](uint8_t* bytes, size_t count, size_t) {
    return fuzz::changeSomeBytes(random, bytes, count);
  };
  const size_t head = fuzz::inputHead(input.data(), input.size());
  if (head < input.size() && random() % 2 == 0) {
    const fuzz::Bytes boxes = fuzz::mutateBoxes(input.data() + head, input.size() - head,
                                                kLargestInput, random, changeBytes);
    input.resize(head);
    input.insert(input.end(), boxes.begin(), boxes.end());
    return input;
  }
  fuzz::changeSomeBytes(random, input.data(), input.size());
  if (random() % 8 == 0) input.resize(random() % input.size());
  return input;
}

/// @return the number of inputs that were run
size_t replay(const std::filesystem::path& path, int copies) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return 0;
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  const Input input(bytes.begin(), bytes.end());
  run(input);
  if (input.empty() || input.size() > kLargestChanged) return 1;
  std::mt19937 random(static_cast<uint32_t>(input.size()));
  for (int i = 0; i < copies; ++i) run(changed(input, random));
  return 1 + static_cast<size_t>(copies);
}

}  // namespace

int main(int argumentCount, char** arguments) {
  size_t replayed = 0;
  int copies = kChangedCopies;
  for (int i = 1; i < argumentCount; ++i) {
    if (std::string_view(arguments[i]) == "--as-is") {
      copies = 0;
      continue;
    }
    if (std::string_view(arguments[i]) == "--copies" && i + 1 < argumentCount) {
      copies = std::atoi(arguments[++i]);
      continue;
    }
    if (!std::filesystem::exists(arguments[i])) {
      std::fprintf(stderr, "%s is missing\n", arguments[i]);
      return 1;
    }
    if (!std::filesystem::is_directory(arguments[i])) {
      replayed += replay(arguments[i], copies);
      continue;
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(arguments[i])) {
      if (entry.is_regular_file()) replayed += replay(entry.path(), copies);
    }
  }
  std::printf("%zu inputs replayed\n", replayed);
  return replayed > 0 ? 0 : 1;
}
