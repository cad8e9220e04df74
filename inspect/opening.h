// Opening: what the plug-in makes of a file when a host opens it to play, and where it stopped.
#pragma once
#include <cstdint>
#include <optional>
#include <string>

#include "atomkit/core/movie/movie.h"
#include "inspect/box_walker.h"
#include "inspect/file.h"

namespace inspect {

/// The bytes of a file, in the order in which the library asks for them.
class CountingSource final : public atomkit::ByteSource {
 public:
  /// @param file  borrowed
  explicit CountingSource(File& file, uint64_t position = 0) : file_(file), position_(position) {}

  uint32_t read(void* buffer, uint32_t count) override;
  uint64_t skip(uint64_t count) override;

  /// Bytes from the file's start up to which the library has come.
  uint64_t position() const { return position_; }

 private:
  File& file_;
  uint64_t position_;
};

/// Why a file is refused.
struct Refusal {
  std::string message;               ///< the library's own
  std::optional<uint64_t> position;  ///< bytes read when the rule struck; none when it strikes a
                                     ///< track, not a place
  BoxChain box;                      ///< the deepest box that holds the last of them; may be none
  bool describable = false;          ///< whether a host that only asks for tags can open it
};

/// The tracks that a host gets.
struct TakenTracks {
  std::optional<uint32_t> audio;
  std::optional<uint32_t> video;

  bool any() const { return audio || video; }
};

/// The first audio and the first video track that the plug-in plays.
TakenTracks takenTracks(const atomkit::Movie& movie);

struct Opening {
  /// Parsed with everything that playing needs; to be used only when nothing was refused.
  atomkit::Movie movie;
  TakenTracks taken;
  std::optional<Refusal> refusal;
};

/// Opens a file as the plug-in does over a source that can seek.
/// @throws cli::Failure when the file can't be read
void open(File& file, Opening& opening);

}  // namespace inspect
