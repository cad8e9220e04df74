// The packets of the tests' media as ffprobe tells them, and what follows from them for a host.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/playback.h"
#include "tests/programs/media.h"

namespace golden {

struct Packet {
  uint32_t size;
  uint64_t offset;
  int64_t presentation;  ///< ticks
  uint64_t decode;       ///< ticks from the first packet
  bool sync;
  uint32_t checksum;
};

/// A line of tests/data/golden/packets.tsv, which scripts/golden_packets.py makes with ffprobe.
struct StreamLine {
  media::File file;
  std::string kind;    ///< audio, video
  uint32_t track;      ///< zero-based
  uint32_t timescale;  ///< ticks per second
  uint32_t packets;
  uint64_t bytes;
  uint32_t lastDuration;  ///< ticks
  bool hasSyncTable;
  std::string first;  ///< lines of the listing, with blanks for tabs
  std::string last;
  std::string sha256;  ///< of the whole listing
};

struct Stream {
  uint32_t timescale = 0;
  uint32_t count = 0;
  uint32_t lastDuration = 0;  ///< ticks
  bool hasSyncTable = false;  ///< otherwise every sample can be sought
  std::vector<Packet> packets;

  /// Ticks that a packet lasts.
  uint64_t duration(size_t packet) const;
  /// Ticks of all packets together.
  uint64_t end() const;
  /// Sample frames that a packet holds at a sampling rate.
  uint64_t frames(size_t packet, uint32_t sampleRate) const;
  /// The packet that is being decoded at a time, in ticks. @pre time < end()
  size_t packetAt(uint64_t time) const;
  /// Where a seek to the packet lands: the sync sample at or before the packet after it. Reading
  /// one packet further on means that a seek into the packet just before a key frame lands on that
  /// key frame.
  size_t syncFor(size_t packet) const;
};

struct Table {
  std::optional<Stream> audio;
  std::optional<Stream> video;
};

/// All lines of the table, and the files that they are about.
std::vector<StreamLine> streamLines();
std::vector<media::File> files();

/// The packets of a file, read from its sample tables in the plainest way. Fails the running test
/// where they are not those that ffprobe tells, and then leaves the listing beside the table.
/// @pre file.available()
Table read(const media::File& file);

/// What becomes of a file of the corpus when the reference host plays it.
struct Outcome {
  std::string name;
  bool clean;  ///< it has a table of packets
  int info;    ///< exit status of `velahost info`
  int play;    ///< exit status of `velahost packets`
  size_t audioPackets;
  size_t videoPackets;
  std::string remark;  ///< why it is so; a dash where nothing is remarkable
};

/// How a case is shown when it fails.
inline std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
  return out << outcome.name;
}

/// The table of outcomes, one row for every file of the corpus.
std::vector<Outcome> outcomes();

/// The row of one file. @throws std::out_of_range when it has none
Outcome outcomeOf(const media::File& file);

/// Ticks in host units, rounded.
uint64_t hostUnits(uint64_t ticks, uint32_t timescale);

/// Host units in ticks, rounded.
uint64_t ticks(uint64_t hostUnits, uint32_t timescale);

/// The presentation time of a packet in host units. A composition offset is added as an unsigned
/// 32-bit number, so a negative one leads far beyond every end.
uint64_t presentationTime(const Stream& stream, const Packet& packet);

}  // namespace golden
