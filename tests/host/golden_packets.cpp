#include "tests/host/golden_packets.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

namespace golden {
namespace {

uint64_t number(const std::string& text, int base = 10) { return std::stoull(text, nullptr, base); }

Stream streamOf(const std::vector<std::string>& row) {
  Stream stream;
  stream.timescale = static_cast<uint32_t>(number(row.at(3)));
  stream.count = static_cast<uint32_t>(number(row.at(5)));
  stream.lastDuration = static_cast<uint32_t>(number(row.at(7)));
  stream.hasSyncTable = row.at(9) == "table";
  return stream;
}

Packet packetOf(const std::vector<std::string>& row) {
  return {static_cast<uint32_t>(number(row.at(0))),
          number(row.at(1)),
          std::stoll(row.at(2)),
          number(row.at(3)),
          row.at(4) == "K",
          static_cast<uint32_t>(number(row.at(5), 16))};
}

Run runOf(const std::vector<std::string>& row) {
  return {static_cast<uint32_t>(number(row.at(0))), number(row.at(1)), number(row.at(2)),
          static_cast<uint32_t>(number(row.at(5), 16))};
}

}  // namespace

Table read(const media::File& file) {
  Table table;
  const char* const folder = file.origin == media::File::Origin::own ? "own" : "corpus";
  Stream* current = nullptr;
  bool isRuns = false;
  for (const auto& row :
       media::readTable(media::dataFolder() / "golden/packets" / folder / (file.name + ".tsv"))) {
    if (row.at(0) == "stream") {
      current = &(row.at(1) == "audio" ? table.audio : table.video).emplace(streamOf(row));
      isRuns = row.at(11) == "runs";
    } else if (isRuns) {
      current->runs.push_back(runOf(row));
    } else {
      current->packets.push_back(packetOf(row));
    }
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
  const auto behind =
      std::upper_bound(packets.begin(), packets.end(), time,
                       [](uint64_t value, const Packet& packet) { return value < packet.decode; });
  return static_cast<size_t>(behind - packets.begin()) - 1;
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
