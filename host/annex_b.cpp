#include "host/annex_b.h"

#include <array>
#include <cstddef>

#include "host/failure.h"

namespace velahost {
namespace {

constexpr std::array<uint8_t, 4> kStartCode = {0, 0, 0, 1};

}  // namespace

std::vector<uint8_t> annexBParameterSets(const std::vector<uint8_t>& config) {
  if (config.empty()) {
    throw Failure(ExitStatus::notRepresentable,
                  "The video can't be written with start codes: the plug-in found no parameter "
                  "sets.");
  }
  std::vector<uint8_t> out;
  for (size_t at = 0; at < config.size();) {
    const size_t left = config.size() - at;
    const size_t length = left < 2 ? left : size_t{config[at]} << 8 | config[at + 1];
    if (left < 2 || length > left - 2) {
      throw Failure(ExitStatus::notRepresentable,
                    "The video can't be written with start codes: the lengths of its parameter "
                    "sets don't add up.");
    }
    const auto first = config.begin() + static_cast<std::ptrdiff_t>(at + 2);
    out.insert(out.end(), kStartCode.begin(), kStartCode.end());
    out.insert(out.end(), first, first + static_cast<std::ptrdiff_t>(length));
    at += 2 + length;
  }
  return out;
}

void convertToAnnexB(std::vector<uint8_t>& packet) {
  for (size_t at = 0; at < packet.size();) {
    const size_t left = packet.size() - at;
    size_t length = 0;
    if (left >= kStartCode.size()) {
      for (size_t i = 0; i < kStartCode.size(); ++i) length = length << 8 | packet[at + i];
    }
    if (left < kStartCode.size() || length > left - kStartCode.size()) {
      throw Failure(ExitStatus::notRepresentable,
                    "The video can't be written with start codes: its units do not carry lengths "
                    "of four bytes that add up to the packet.");
    }
    for (const uint8_t byte : kStartCode) packet[at++] = byte;
    at += length;
  }
}

}  // namespace velahost
