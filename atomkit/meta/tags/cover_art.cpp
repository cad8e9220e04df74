#include "atomkit/meta/tags/cover_art.h"

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/box_reader.h"
#include "atomkit/core/streams/value_readers.h"
#include "atomkit/meta/tags/tag_item.h"

namespace atomkit {
namespace {

constexpr uint32_t kMaxCoverBytes = 8 * 1024 * 1024;

class CoverBoxHandler final : public BoxHandler {
 public:
  explicit CoverBoxHandler(ByteArray& cover) : cover_(&cover) {}

  void handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) override {
    if (type != fourCC("data") || payloadSize < kDataHeaderBytes) return;
    reader.skipExact(kDataHeaderBytes);
    const uint64_t bytes = payloadSize - kDataHeaderBytes;
    if (bytes > kMaxCoverBytes) throw exception("cover art atom too big");
    readBytes(reader, *cover_, static_cast<uint32_t>(bytes));
  }

 private:
  ByteArray* cover_;
};

}  // namespace

// 'covr' cover art item
//   'data' { u8 version, u24 flags, u32 locale (all ignored), u8 picture[] (at most 8 MiB) };
//   a 'data' box of fewer than 8 bytes and all other children are skipped
void readCoverArt(ByteArray& cover, AtomReader& reader, uint64_t payloadSize) {
  CoverBoxHandler handler(cover);
  walkChildren(handler, reader, payloadSize);
}

}  // namespace atomkit
