#include "inspect/picture_files.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/output_file.h"
#include "cli/text.h"

namespace inspect {

namespace fs = std::filesystem;

namespace {

/// Bytes of the source's name that are kept: with what is added, within the 255 that file systems
/// take.
constexpr size_t kLongestStem = 200;

#ifndef _WIN32
/// Up to `count` bytes of a name, without half a character at the end.
std::string shortened(std::string name, size_t count) {
  if (name.size() <= count) return name;
  const auto isInsideCharacter = [&](size_t i) {
    return (static_cast<uint8_t>(name[i]) & 0xc0) == 0x80;
  };
  while (count > 0 && isInsideCharacter(count)) --count;
  name.resize(count);
  return name;
}
#endif

}  // namespace

fs::path pictureFileName(const fs::path& source, const Picture& picture, size_t number) {
  const std::string end = fmt::format(".{}-{}.{}", picture.isInTaggingBox ? "tags-cover" : "cover",
                                      number, picture.kind.extension);
#ifdef _WIN32
  fs::path name = source.stem();  // in UTF-16, which has no half characters here
#else
  fs::path name = shortened(source.stem().string(), kLongestStem);
#endif
  return name += end;
}

void savePicture(File& file, const Picture& picture, const fs::path& target,
                 const Surroundings& surroundings) {
  std::error_code ignored;
  if (fs::exists(fs::symlink_status(target, ignored))) {
    throw cli::Failure(ExitStatus::outputFailed,
                       "The output " + cli::pathText(target) + " exists, and nothing is replaced.");
  }
  cli::OutputFile output(target, cli::Existing::keep);
  constexpr size_t kPiece = 65536;
  std::vector<uint8_t> piece(kPiece);
  for (uint64_t done = 0; done < picture.size;) {
    surroundings.throwIfCancelled();
    const auto wanted = static_cast<size_t>(std::min<uint64_t>(piece.size(), picture.size - done));
    const size_t got = file.read(picture.offset + done, piece.data(), wanted);
    if (got == 0) {
      throw cli::Failure(ExitStatus::otherResult, "The file has become shorter while it was read.");
    }
    output.write(piece.data(), got);
    done += got;
  }
  output.finish();
}

}  // namespace inspect
