#include "atomkit/core/owned_string.h"

#include <cstring>

#include "atomkit/core/byte_stream.h"
#include "atomkit/core/exception.h"
#include "atomkit/core/memory.h"

namespace atomkit {
namespace {

unsigned char fold(char byte) noexcept {
  const auto value = static_cast<unsigned char>(byte);
  return value >= 'A' && value <= 'Z' ? static_cast<unsigned char>(value + ('a' - 'A')) : value;
}

}  // namespace

OwnedString::~OwnedString() { release(text_); }

char* OwnedString::replaceBuffer(uint64_t bytes) {
  release(text_);
  text_ = nullptr;
  if (bytes <= SIZE_MAX) text_ = static_cast<char*>(allocate(static_cast<size_t>(bytes)));
  if (!text_) throw exception(kOutOfMemory);
  return text_;
}

void OwnedString::assign(const char* text) {
  if (text && text == text_) return;
  if (!text || !*text) {
    release(text_);
    text_ = nullptr;
    return;
  }
  const size_t bytes = std::strlen(text) + 1;
  std::memcpy(replaceBuffer(bytes), text, bytes);
}

void OwnedString::read(ByteStream& stream, uint32_t count) {
  stream.requireBytes(count);
  char* buffer = replaceBuffer(uint64_t{count} + 1);
  buffer[0] = 0;
  stream.readExact(buffer, count);
  buffer[count] = 0;
}

uint32_t OwnedString::length() const noexcept { return static_cast<uint32_t>(std::strlen(text())); }

int compareIgnoringCase(const char* left, const char* right) noexcept {
  for (;; ++left, ++right) {
    const unsigned char a = fold(*left);
    const unsigned char b = fold(*right);
    if (a != b) return a < b ? -1 : 1;
    if (a == 0) return 0;
  }
}

int comparePrefixIgnoringCase(const char* text, const char* prefix) noexcept {
  for (; *prefix; ++text, ++prefix) {
    const unsigned char a = fold(*text);
    const unsigned char b = fold(*prefix);
    if (a != b) return a < b ? -1 : 1;
  }
  return 0;
}

}  // namespace atomkit
