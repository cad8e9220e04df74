// BoxWalker: goes through the boxes of a file, good or damaged, from the first to the last.
#pragma once
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "inspect/box.h"
#include "inspect/file.h"

namespace inspect {

/// Bytes in which a box should stand but does not.
struct NoBox {
  /// Why they are none.
  enum class Reason {
    tooShort,   ///< fewer than the eight bytes of a header
    badType,    ///< a type with a byte below 0x20
    badSize,    ///< a size below that of the header
    zeroBytes,  ///< only zero bytes, as QuickTime ends a list with and editors fill gaps with
    tooDeep,    ///< boxes nested deeper than kDeepest, which are not walked
  };
  Reason reason;
  const Box* parent;      ///< null at the top of the file
  uint32_t depth;         ///< the depth that a box there would have
  uint64_t offset;        ///< bytes from the file's start
  uint64_t end;           ///< up to the end of the parent, or of the file
  uint64_t declaredSize;  ///< what stands where a size would; 0 for tooShort
};

/// Boxes nested deeper than this are not walked; no file needs a third of it.
inline constexpr uint32_t kDeepest = 48;

/// What a walk does after a box.
enum class Go { into, past, stop };

/// Takes the boxes of a walk, each before those inside it.
class BoxVisitor {
 public:
  /// @return into to see the boxes in it, where it holds any
  virtual Go enter(const Box& box) = 0;
  /// After the boxes in it, or after enter() returned past. Not after stop.
  virtual void leave(const Box&) {}
  /// What is left of a list of boxes when no box follows. @return stop or anything else
  virtual Go noBox(const NoBox&) { return Go::past; }

 protected:
  ~BoxVisitor() = default;
};

/// Where the boxes inside a box begin; nothing for a box that holds none, as far as is known.
std::optional<uint64_t> childrenStart(File& file, const Box& box);

/// Walks a file. Memory: proportional to the depth, and to the different types within one box.
/// Payloads are not read, but for the few bytes that tell where inner boxes begin.
void walkBoxes(File& file, BoxVisitor& visitor);

/// Walks the boxes inside a box.
void walkBoxesIn(File& file, const Box& box, BoxVisitor& visitor);

/// Ticks per second of a track, from the first 'mdhd' in its 'trak'; 0 when there is none.
uint32_t mediaTimescale(File& file, const Box& trak);

/// A copy of a box and of the boxes around it, which outlives the walk.
class BoxChain {
 public:
  BoxChain() = default;
  explicit BoxChain(const Box& deepest);
  BoxChain(BoxChain&&) = default;  // the boxes stay where they are in memory
  BoxChain& operator=(BoxChain&&) = default;

  /// Null when there is none.
  const Box* deepest() const { return boxes_.empty() ? nullptr : &boxes_.back(); }

 private:
  std::vector<Box> boxes_;  // from the outermost on; each names the one before it as its parent
};

/// The deepest box that holds the byte at `offset`.
BoxChain boxAt(File& file, uint64_t offset);

/// The box that a path names.
BoxChain boxNamed(File& file, std::span<const PathStep> path);

}  // namespace inspect
