#include "host/key_pictures.h"

#include <cstddef>
#include <optional>

#include "host/failure.h"
#include "host/text.h"

namespace velahost {
namespace {

constexpr size_t kLengthBytes = 4;
constexpr uint8_t kIdrPicture = 5;
constexpr uint8_t kSupplementalInformation = 6;
constexpr uint8_t kSequenceParameterSet = 7;
constexpr uint8_t kPictureParameterSet = 8;
constexpr uint8_t kRecoveryPoint = 6;

/// The length of the unit at `at`, or nothing when it doesn't fit into the packet.
std::optional<size_t> unitLength(const std::vector<uint8_t>& packet, size_t at) {
  const size_t left = packet.size() - at;
  if (left < kLengthBytes) return std::nullopt;
  size_t length = 0;
  for (size_t i = 0; i < kLengthBytes; ++i) length = length << 8 | packet[at + i];
  if (length > left - kLengthBytes) return std::nullopt;
  return length;
}

/// Messages follow each other: type and size, each in bytes of which 255 means that more follow.
bool hasRecoveryPoint(const uint8_t* unit, size_t size) {
  size_t at = 1;
  const auto number = [&] {
    size_t value = 0;
    while (at < size && unit[at] == 0xff) value += unit[at++];
    return at < size ? value + unit[at++] : value;
  };
  while (at + 1 < size) {
    const size_t type = number();
    const size_t length = number();
    if (type == kRecoveryPoint) return true;
    if (length > size - at) break;
    at += length;
  }
  return false;
}

bool isAvcKeyPicture(const std::vector<uint8_t>& packet) {
  for (size_t at = 0; at < packet.size();) {
    const std::optional<size_t> length = unitLength(packet, at);
    if (!length) return false;
    at += kLengthBytes;
    if (*length > 0) {
      const uint8_t type = packet[at] & 0x1f;
      if (type == kIdrPicture) return true;
      if (type == kSupplementalInformation && hasRecoveryPoint(packet.data() + at, *length)) {
        return true;
      }
    }
    at += *length;
  }
  return false;
}

/// The first picture of the packet: start code 00 00 01 B6, then two bits with its type, 0 for
/// intra-coded.
bool isMpeg4KeyPicture(const std::vector<uint8_t>& packet) {
  for (size_t i = 0; i + 4 < packet.size(); ++i) {
    if (packet[i] == 0 && packet[i + 1] == 0 && packet[i + 2] == 1 && packet[i + 3] == 0xb6) {
      return packet[i + 4] >> 6 == 0;
    }
  }
  return false;
}

Failure cannot(const char* why) {
  return Failure(ExitStatus::notRepresentable,
                 std::string("The video can't be put into a file of its own: ") + why + ".");
}

}  // namespace

bool isKeyPicture(const vela::Guid& mediaId, const std::vector<uint8_t>& packet) {
  if (sameGuid(mediaId, vela::kMediaH264)) return isAvcKeyPicture(packet);
  return sameGuid(mediaId, vela::kMediaMpeg4Visual) && isMpeg4KeyPicture(packet);
}

bool hasFourByteLengths(const std::vector<uint8_t>& packet) {
  size_t at = 0;
  while (at < packet.size()) {
    const std::optional<size_t> length = unitLength(packet, at);
    if (!length) return false;
    at += kLengthBytes + *length;
  }
  return true;
}

std::vector<uint8_t> avcConfiguration(const std::vector<uint8_t>& config) {
  std::vector<std::vector<uint8_t>> sequences;
  std::vector<std::vector<uint8_t>> pictures;
  for (size_t at = 0; at < config.size();) {
    const size_t left = config.size() - at;
    const size_t length = left < 2 ? left : size_t{config[at]} << 8 | config[at + 1];
    if (left < 2 || length > left - 2)
      throw cannot("the lengths of its parameter sets don't add up");
    const auto first = config.begin() + static_cast<std::ptrdiff_t>(at + 2);
    const std::vector<uint8_t> set(first, first + static_cast<std::ptrdiff_t>(length));
    const uint8_t type = length == 0 ? uint8_t{0} : static_cast<uint8_t>(set[0] & 0x1f);
    if (type == kSequenceParameterSet) sequences.push_back(set);
    if (type == kPictureParameterSet) pictures.push_back(set);
    at += 2 + length;
  }
  if (sequences.empty() || pictures.empty() || sequences[0].size() < 4) {
    throw cannot("it has no parameter sets");
  }
  if (sequences.size() > 31 || pictures.size() > 255)
    throw cannot("it has too many parameter sets");
  // u8 version 1, u8 profile, u8 compatibility, u8 level, u6 ones, u2 bytes of a length minus 1,
  // u3 ones, u5 count of { u16 length, sequence parameter set }, u8 count of { ... picture ... }
  std::vector<uint8_t> out = {1, sequences[0][1], sequences[0][2], sequences[0][3], 0xff};
  const auto append = [&out](const std::vector<std::vector<uint8_t>>& sets, size_t reserved) {
    out.push_back(static_cast<uint8_t>(reserved | sets.size()));
    for (const std::vector<uint8_t>& set : sets) {
      out.push_back(static_cast<uint8_t>(set.size() >> 8));
      out.push_back(static_cast<uint8_t>(set.size() & 0xff));
      out.insert(out.end(), set.begin(), set.end());
    }
  };
  append(sequences, 0xe0);
  append(pictures, 0);
  return out;
}

}  // namespace velahost
