#include "atomkit/core/containers/owned_string.h"

#include <cstring>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/containers/memory.h"

namespace atomkit {
namespace {

unsigned char fold(char byte) noexcept {
  const auto value = static_cast<unsigned char>(byte);
  return value >= 'A' && value <= 'Z' ? static_cast<unsigned char>(value + ('a' - 'A')) : value;
}

}  // namespace

OwnedString::~OwnedString() { release(text_); }

void OwnedString::clear() noexcept {
  release(text_);
  text_ = nullptr;
}

void OwnedString::assign(const char* text) {
  if (text && text == text_) return;
  clear();
  if (!text || !*text) return;
  const size_t bytes = std::strlen(text) + 1;
  text_ = static_cast<char*>(allocate(bytes));
  if (!text_) throw exception(kOutOfMemory);
  std::memcpy(text_, text, bytes);
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
