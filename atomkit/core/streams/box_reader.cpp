#include "atomkit/core/streams/box_reader.h"

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/value_readers.h"

namespace atomkit {
namespace {

constexpr uint32_t kShortHeaderBytes = 8;
constexpr uint32_t kLongHeaderBytes = 16;
constexpr uint32_t kSizeFollowsType = 1;  // in the 32-bit size field
constexpr uint8_t kLowestTypeByte = 0x20;

}  // namespace

bool readBoxHeader(ByteStream& stream, BoxHeader& header) {
  uint8_t bytes[kShortHeaderBytes];
  const uint8_t* raw = stream.take(sizeof bytes);
  if (raw) {
    stream.head().poll();
  } else {
    if (stream.read(bytes, sizeof bytes) < sizeof bytes) return false;
    raw = bytes;
  }
  for (int i = 4; i < 8; ++i) {
    if (raw[i] < kLowestTypeByte) return false;
  }
  uint64_t size = 0;
  for (int i = 0; i < 4; ++i) size = size << 8 | raw[i];
  header.type = fourCCFrom(raw + 4);  // before the next read, which may take the window away
  header.headerSize = kShortHeaderBytes;
  if (size == kSizeFollowsType) {
    header.headerSize = kLongHeaderBytes;
    size = readU64(stream);
  }
  // DELIBERATE D-209: size 0, a box that goes to the end of the file, is refused like any other
  // size below that of the header.
  if (size < header.headerSize) throw exception(kInvalidBoxHeader);
  header.payloadSize = size - header.headerSize;
  return true;
}

BoxHeader expectBoxHeader(ByteStream& stream, uint64_t limit) {
  BoxHeader header;
  if (!readBoxHeader(stream, header)) throw exception(kInvalidBoxHeader);
  if (header.boxSize() > limit) throw exception("atom size bigger than expected");
  return header;
}

void walkChildren(BoxHandler& handler, ByteStream& stream, uint64_t payloadSize) {
  uint64_t consumed = 0;
  while (consumed < payloadSize) {
    const BoxHeader header = expectBoxHeader(stream, payloadSize - consumed);
    AtomReader child(stream, header.payloadSize);
    handler.handleBox(child, header.type, header.payloadSize);
    child.finish();
    consumed += header.boxSize();
  }
}

}  // namespace atomkit
