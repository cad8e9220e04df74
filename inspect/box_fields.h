// The fields of the boxes that are known, by name and unit.
#pragma once
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "inspect/box.h"
#include "inspect/file.h"

namespace inspect {

struct Field {
  std::string name;
  nlohmann::ordered_json value;  ///< as JSON tells it
  std::string unit;              ///< "ticks/s", "Hz" and so on; empty for none
  std::string text;              ///< as text tells it, with its unit; empty: the value and the unit
  bool usual = false;            ///< has the value that nearly all files have; text leaves it out
};

struct BoxFields {
  std::optional<uint8_t> version;  ///< of a box that has version and flags
  uint32_t flags = 0;
  std::vector<Field> fields;
  /// The box ends before its last field does.
  bool isShort = false;
};

/// Ticks per second in which the times of some boxes count; 0 while they are not known.
struct Timescales {
  uint32_t movie = 0;  ///< of 'mvhd'
  uint32_t media = 0;  ///< of the track's 'mdhd'
};

/// Reads the fields of a box. Long lists are told by their number of entries, long texts by their
/// beginning.
/// @param timescales  taken, and set when the box tells one; edits come before their track's
/// header,
///   so the caller looks ahead for that
BoxFields readFields(File& file, const Box& box, Timescales& timescales);

/// A field as text: "timescale 1000 ticks/s". Safe on a terminal.
std::string fieldText(const Field& field);

/// Ticks as seconds, with six decimals at most; empty without a timescale.
std::string tickSeconds(uint64_t ticks, uint32_t timescale);

}  // namespace inspect
