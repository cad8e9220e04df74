#include "tests/host/golden_packets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>

#include "host/checksum.h"
#include "tests/host/plain_tables.h"
#include "tests/support/sha256.h"

namespace golden {
namespace {

uint64_t number(const std::string& text) { return std::stoull(text); }

/// The form of a packet in a listing.
std::string lineOf(const Packet& packet) {
  char line[120];
  std::snprintf(
      line, sizeof line, "%u\t%llu\t%lld\t%llu\t%c\t%08x", packet.size,
      static_cast<unsigned long long>(packet.offset), static_cast<long long>(packet.presentation),
      static_cast<unsigned long long>(packet.decode), packet.sync ? 'K' : '-', packet.checksum);
  return line;
}

std::vector<Packet> packetsOf(const std::string& file, uint32_t track) {
  std::vector<Packet> packets;
  for (const plain::Sample& sample : plain::samplesOf(file, track)) {
    const std::string bytes = file.substr(sample.offset, sample.size);
    const uint32_t checksum =
        velahost::crc32(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    packets.push_back(
        {sample.size, sample.offset, sample.presentation, sample.decode, sample.sync, checksum});
  }
  return packets;
}

/// Holds the packets against the line. Where they differ, the listing is left for a comparison.
void expectListing(const StreamLine& line, const std::vector<Packet>& packets) {
  std::string listing;
  uint64_t bytes = 0;
  for (const Packet& packet : packets) {
    listing += lineOf(packet) + "\n";
    bytes += packet.size;
  }
  const auto blanks = [](std::string text) {
    std::replace(text.begin(), text.end(), '\t', ' ');
    return text;
  };
  EXPECT_EQ(packets.size(), line.packets);
  EXPECT_EQ(bytes, line.bytes);
  EXPECT_EQ(packets.empty() ? "" : blanks(lineOf(packets.front())), line.first);
  EXPECT_EQ(packets.empty() ? "" : blanks(lineOf(packets.back())), line.last);
  if (sha256(listing) == line.sha256) return;
  const std::filesystem::path ours =
      media::dataFolder() / "golden" / (line.file.name + "." + line.kind + ".ours.tsv");
  std::ofstream(ours, std::ios::binary) << listing;
  ADD_FAILURE() << "The listing of " << line.file.name << ", " << line.kind
                << ", is not the one that tests/data/golden/packets.tsv stands for. Compare:\n"
                << "  scripts/golden_packets.py list '" << line.file.path().string() << "' "
                << line.kind << " | diff - '" << ours.string() << "'";
}

}  // namespace

std::vector<StreamLine> streamLines() {
  std::vector<StreamLine> lines;
  for (const auto& row : media::readTable(media::dataFolder() / "golden/packets.tsv")) {
    const auto origin = row.at(0) == "own" ? media::File::Origin::own : media::File::Origin::corpus;
    lines.push_back({{origin, row.at(1)},
                     row.at(2),
                     static_cast<uint32_t>(number(row.at(3))),
                     static_cast<uint32_t>(number(row.at(4))),
                     static_cast<uint32_t>(number(row.at(5))),
                     number(row.at(6)),
                     static_cast<uint32_t>(number(row.at(7))),
                     row.at(8) == "table",
                     row.at(9),
                     row.at(10),
                     row.at(11)});
  }
  return lines;
}

std::vector<media::File> files() {
  std::vector<media::File> files;
  for (const StreamLine& line : streamLines()) {
    if (files.empty() || files.back().name != line.file.name) files.push_back(line.file);
  }
  return files;
}

Table read(const media::File& file) {
  Table table;
  const std::string bytes = media::readText(file.path());
  for (const StreamLine& line : streamLines()) {
    if (line.file.name != file.name || line.file.origin != file.origin) continue;
    Stream& stream = (line.kind == "audio" ? table.audio : table.video).emplace();
    stream.timescale = line.timescale;
    stream.count = line.packets;
    stream.lastDuration = line.lastDuration;
    stream.hasSyncTable = line.hasSyncTable;
    stream.packets = packetsOf(bytes, line.track);
    expectListing(line, stream.packets);
  }
  return table;
}

uint64_t Stream::duration(size_t packet) const {
  return packet + 1 < packets.size() ? packets[packet + 1].decode - packets[packet].decode
                                     : lastDuration;
}

uint64_t Stream::end() const { return packets.back().decode + lastDuration; }

uint64_t Stream::frames(size_t packet, uint32_t sampleRate) const {
  return (duration(packet) * sampleRate + timescale / 2) / timescale;
}

size_t Stream::packetAt(uint64_t time) const {
  // Packets that last no time at all are never the one that is being decoded.
  const auto after =
      std::upper_bound(packets.begin(), packets.end(), time,
                       [](uint64_t value, const Packet& packet) { return value < packet.decode; });
  return static_cast<size_t>(after - packets.begin()) - 1;
}

size_t Stream::syncFor(size_t packet) const {
  if (!hasSyncTable) return packet;
  size_t found = packets.size();
  for (size_t i = 0; i < packets.size(); ++i) {
    if (packets[i].sync && (i <= packet + 1 || found == packets.size())) found = i;
  }
  return found;
}

std::vector<Outcome> outcomes() {
  std::vector<Outcome> all;
  for (const auto& row : media::readTable(media::dataFolder() / "golden/files.tsv")) {
    all.push_back({row.at(0), row.at(1) == "clean", std::stoi(row.at(2)), std::stoi(row.at(3)),
                   std::stoul(row.at(4)), std::stoul(row.at(5)), row.at(6)});
  }
  return all;
}

Outcome outcomeOf(const media::File& file) {
  for (Outcome& outcome : outcomes()) {
    if (outcome.name == file.name) return std::move(outcome);
  }
  throw std::out_of_range(file.name + " has no outcome");
}

uint64_t hostUnits(uint64_t ticks, uint32_t timescale) {
  return (ticks * vela::kHostUnitsPerSecond + timescale / 2) / timescale;
}

uint64_t ticks(uint64_t hostUnits, uint32_t timescale) {
  return (hostUnits * timescale + vela::kHostUnitsPerSecond / 2) / vela::kHostUnitsPerSecond;
}

uint64_t presentationTime(const Stream& stream, const Packet& packet) {
  const bool offsetIsNegative = packet.presentation < static_cast<int64_t>(packet.decode);
  const uint64_t shown =
      static_cast<uint64_t>(packet.presentation) + (offsetIsNegative ? uint64_t{1} << 32 : 0);
  return hostUnits(shown, stream.timescale);
}

}  // namespace golden
