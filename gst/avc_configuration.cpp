#include "gst/avc_configuration.h"

namespace velagst {
namespace {

constexpr uint8_t kTypeMask = 0x1f;
constexpr uint8_t kSequenceSet = 7;
constexpr uint8_t kPictureSet = 8;
constexpr size_t kLargestSequenceCount = 31;  // a count of 5 bits
constexpr size_t kLargestPictureCount = 255;  // a count of 8 bits
constexpr size_t kProfileBytes = 4;           // NAL header, profile, compatibility, level

struct ParameterSet {
  const uint8_t* bytes;
  size_t size;
};

void append(std::vector<uint8_t>& record, const ParameterSet& set) {
  record.push_back(static_cast<uint8_t>(set.size >> 8));
  record.push_back(static_cast<uint8_t>(set.size));
  record.insert(record.end(), set.bytes, set.bytes + set.size);
}

}  // namespace

// 'avcC' AVCDecoderConfigurationRecord
//   u8 version (1), u8 profile, u8 compatibility, u8 level,
//   6 bits set, 2 bits size of a NAL unit's length less 1,
//   3 bits set, 5 bits count of sequence parameter sets, each { u16 size, u8 bytes[] },
//   u8 count of picture parameter sets, each { u16 size, u8 bytes[] }
std::optional<AvcConfiguration> buildAvcConfiguration(const uint8_t* config, size_t size) {
  std::vector<ParameterSet> sequenceSets;
  std::vector<ParameterSet> pictureSets;
  for (size_t at = 0; at < size;) {
    if (size - at < 2) return std::nullopt;
    const size_t length = static_cast<size_t>(config[at]) << 8 | config[at + 1];
    at += 2;
    if (length > size - at) return std::nullopt;
    const ParameterSet set{config + at, length};
    at += length;
    if (length == 0) continue;
    const uint8_t type = set.bytes[0] & kTypeMask;
    if (type == kSequenceSet && length >= kProfileBytes) sequenceSets.push_back(set);
    if (type == kPictureSet) pictureSets.push_back(set);
  }
  if (sequenceSets.empty() || sequenceSets.size() > kLargestSequenceCount) return std::nullopt;
  if (pictureSets.empty() || pictureSets.size() > kLargestPictureCount) return std::nullopt;

  AvcConfiguration built;
  const ParameterSet& first = sequenceSets.front();
  built.firstSequenceSet.assign(first.bytes, first.bytes + first.size);
  built.record = {1, first.bytes[1], first.bytes[2], first.bytes[3], 0xff};
  built.record.push_back(static_cast<uint8_t>(0xe0 | sequenceSets.size()));
  for (const ParameterSet& set : sequenceSets) append(built.record, set);
  built.record.push_back(static_cast<uint8_t>(pictureSets.size()));
  for (const ParameterSet& set : pictureSets) append(built.record, set);
  return built;
}

}  // namespace velagst
