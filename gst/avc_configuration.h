// The decoder configuration of H.264 as the framework wants it.
#pragma once
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace velagst {

struct AvcConfiguration {
  std::vector<uint8_t> record;            ///< an 'avcC' record
  std::vector<uint8_t> firstSequenceSet;  ///< from its NAL header on
};

/// Builds the 'avcC' record out of the plug-in's configuration: parameter sets, each after its
/// length in 16 bits. The record says that NAL units of the samples have lengths of 4 bytes.
/// @return nothing when a length runs past the end, when there is no sequence or no picture
///         parameter set, or when there are more sets than the record can count
std::optional<AvcConfiguration> buildAvcConfiguration(const uint8_t* config, size_t size);

}  // namespace velagst
