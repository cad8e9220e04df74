// Runs a reader over one box as the walk over the boxes does.
#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <string_view>
#include <vector>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/containers/plain_array.h"
#include "atomkit/core/streams/box_reader.h"
#include "atomkit/core/streams/byte_stream.h"
#include "tests/support/boxes.h"
#include "tests/support/failing_source.h"
#include "tests/support/memory_source.h"

/// Reads a box header from `source`, hands the payload to read(AtomReader&, uint64_t payloadSize)
/// and skips what that leaves unread.
template <class Read>
void readBox(atomkit::ByteSource& source, uint64_t length, Read read) {
  atomkit::HostStreamAdapter stream(source, length);
  const atomkit::BoxHeader header = atomkit::expectBoxHeader(stream, UINT64_MAX);
  atomkit::AtomReader reader(stream, header.payloadSize);
  read(reader, header.payloadSize);
  reader.finish();
}

template <class Read>
void readBox(const boxes::Bytes& bytes, Read read) {
  MemorySource source(bytes);
  readBox(source, source.size(), read);
}

/// Lets each operation of the source fail once while `read` reads the box: what the source throws
/// must come out, whichever operation it was.
template <class Read>
void expectSourceFailuresToPassThrough(const boxes::Bytes& bytes, Read read) {
  for (uint32_t number = 0;; ++number) {
    FailingSource source(bytes, number, Failure::once);
    bool thrown = false;
    try {
      readBox(source, atomkit::kUnknownLength, read);
    } catch (const HostCode&) {
      thrown = true;
    }
    if (!source.failed()) {
      EXPECT_GT(number, 20u) << "a box of too few operations";
      return;
    }
    EXPECT_TRUE(thrown) << "operation " << number;
  }
}

/// Delivers one byte per read, whatever is asked for.
class OneByteSource final : public atomkit::ByteSource {
 public:
  explicit OneByteSource(boxes::Bytes bytes) : source_(std::move(bytes)) {}

  uint32_t read(void* buffer, uint32_t count) override {
    return source_.read(buffer, count < 1 ? count : 1);
  }
  uint64_t skip(uint64_t count) override { return source_.skip(count); }

 private:
  MemorySource source_;
};

/// The message of the atomkit::exception that `run` throws; empty when it throws none.
template <class Run>
std::string_view messageOf(Run run) {
  try {
    run();
  } catch (const atomkit::exception& error) {
    return error.message();
  }
  return {};
}

/// The first `size` bytes.
inline boxes::Bytes cutTo(const boxes::Bytes& bytes, size_t size) {
  return boxes::Bytes(bytes.data(), bytes.data() + size);
}

inline boxes::Bytes bytesOf(const atomkit::ByteArray& array) {
  return boxes::Bytes(array.data(), array.data() + array.count());
}
