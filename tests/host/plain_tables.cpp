#include "tests/host/plain_tables.h"

#include <algorithm>
#include <stdexcept>

namespace plain {
namespace {

uint64_t number(std::string_view bytes, size_t at, size_t count) {
  uint64_t value = 0;
  for (const char byte : bytes.substr(at, count)) value = value << 8 | static_cast<uint8_t>(byte);
  return value;
}

uint32_t word(std::string_view bytes, size_t at) {
  return static_cast<uint32_t>(number(bytes, at, 4));
}

/// The payloads of the boxes of one type among the boxes that `bytes` holds.
std::vector<std::string_view> boxes(std::string_view bytes, std::string_view type) {
  std::vector<std::string_view> found;
  while (bytes.size() >= 8) {
    const bool large = word(bytes, 0) == 1;
    const size_t header = large ? 16 : 8;
    const uint64_t size = large ? number(bytes, 8, 8) : word(bytes, 0);
    if (size < header || size > bytes.size()) break;
    if (bytes.substr(4, 4) == type) found.push_back(bytes.substr(header, size - header));
    bytes.remove_prefix(size);
  }
  return found;
}

std::string_view box(std::string_view bytes, std::string_view type) {
  const auto found = boxes(bytes, type);
  if (found.empty()) throw std::runtime_error("no box " + std::string(type));
  return found.front();
}

bool has(std::string_view bytes, std::string_view type) { return !boxes(bytes, type).empty(); }

/// Version, flags and count come before the rows of every table but 'stsz'.
constexpr size_t kRows = 8;

/// The value of every sample in a table of runs { u32 count, u32 value }.
std::vector<uint32_t> expanded(std::string_view table) {
  std::vector<uint32_t> values;
  for (uint32_t run = 0; run < word(table, 4); ++run) {
    values.insert(values.end(), word(table, kRows + 8 * run), word(table, kRows + 8 * run + 4));
  }
  return values;
}

std::vector<uint64_t> chunkOffsets(std::string_view stbl) {
  const bool large = has(stbl, "co64");
  const std::string_view table = box(stbl, large ? "co64" : "stco");
  const size_t width = large ? 8 : 4;
  std::vector<uint64_t> offsets;
  for (uint32_t i = 0; i < word(table, 4); ++i) {
    offsets.push_back(number(table, kRows + width * i, width));
  }
  return offsets;
}

/// Samples in a chunk, by its number counted from 1.
uint32_t samplesInChunk(std::string_view stsc, uint32_t chunk) {
  uint32_t samples = 0;
  for (uint32_t run = 0; run < word(stsc, 4); ++run) {
    if (word(stsc, kRows + 12 * run) <= chunk) samples = word(stsc, kRows + 12 * run + 4);
  }
  return samples;
}

}  // namespace

std::vector<Sample> samplesOf(std::string_view file, uint32_t track) {
  const std::string_view trak = boxes(box(file, "moov"), "trak").at(track);
  const std::string_view stbl = box(box(box(trak, "mdia"), "minf"), "stbl");
  const std::string_view stsz = box(stbl, "stsz");
  const std::string_view stsc = box(stbl, "stsc");
  const std::vector<uint32_t> deltas = expanded(box(stbl, "stts"));
  const std::vector<uint32_t> offsets =
      has(stbl, "ctts") ? expanded(box(stbl, "ctts")) : std::vector<uint32_t>();
  std::vector<uint32_t> syncSamples;  // counted from 1
  if (has(stbl, "stss")) {
    const std::string_view stss = box(stbl, "stss");
    for (uint32_t i = 0; i < word(stss, 4); ++i) syncSamples.push_back(word(stss, kRows + 4 * i));
  }

  const uint32_t constantSize = word(stsz, 4);
  const uint32_t count = word(stsz, 8);
  std::vector<Sample> samples;
  uint64_t decode = 0;
  uint32_t chunk = 0;
  for (uint64_t place : chunkOffsets(stbl)) {
    ++chunk;
    for (uint32_t left = samplesInChunk(stsc, chunk); left > 0 && samples.size() < count; --left) {
      const size_t i = samples.size();
      const uint32_t size = constantSize ? constantSize : word(stsz, 12 + 4 * i);
      const int32_t shift = i < offsets.size() ? static_cast<int32_t>(offsets[i]) : 0;
      const bool sync =
          !has(stbl, "stss") || std::binary_search(syncSamples.begin(), syncSamples.end(), i + 1);
      samples.push_back({size, place, decode, static_cast<int64_t>(decode) + shift, sync});
      place += size;
      decode += i < deltas.size() ? deltas[i] : 0;
    }
  }
  return samples;
}

}  // namespace plain
