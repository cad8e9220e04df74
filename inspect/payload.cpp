#include "inspect/payload.h"

#include <algorithm>

namespace inspect {

uint64_t Payload::number(size_t bytes) {
  uint8_t read[8] = {};
  const bool there = left() >= bytes && file_.read(position_, read, bytes) == bytes;
  if (!there) {
    short_ = true;
    position_ = end_;
    return 0;
  }
  position_ += bytes;
  uint64_t value = 0;
  for (size_t i = 0; i < bytes; ++i) value = value << 8 | read[i];
  return value;
}

std::string Payload::bytes(uint64_t count) {
  if (count > left()) short_ = true;
  std::string text(static_cast<size_t>(std::min(count, left())), '\0');
  text.resize(file_.read(position_, text.data(), text.size()));
  position_ += text.size();
  return text;
}

void Payload::skip(uint64_t count) {
  if (count > left()) short_ = true;
  position_ += std::min(count, left());
}

uint32_t Payload::descriptorLength() {
  uint32_t length = 0;
  for (int i = 0; i < 4; ++i) {
    const uint8_t byte = u8();
    length = length << 7 | (byte & 0x7fu);
    if ((byte & 0x80) == 0) break;
  }
  return length;
}

}  // namespace inspect
