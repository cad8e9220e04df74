#include "inspect/box_fields.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <iterator>

#include "atomkit/meta/tags/genre_names.h"
#include "cli/text.h"
#include "inspect/box_catalog.h"
#include "inspect/box_walker.h"
#include "inspect/payload.h"

namespace inspect {
namespace {

using Json = nlohmann::ordered_json;

constexpr uint64_t kLongestText = 120;  // bytes of a text that are told

/// A 16.16 or an 8.8 number.
double fixedPoint(int64_t value, int fractionBits) {
  return static_cast<double>(value) / static_cast<double>(int64_t{1} << fractionBits);
}

/// Seconds since 1904, as files count them, as a date; empty for 0, which means unknown.
std::string dateText(uint64_t seconds) {
  constexpr uint64_t k1904To1970 = 2082844800;
  constexpr uint64_t kYear9999 = 255485232000;  // about; what is past it is no date
  if (seconds == 0 || seconds >= kYear9999) return "";
  const int64_t sinceEpoch = static_cast<int64_t>(seconds) - static_cast<int64_t>(k1904To1970);
  int64_t days = sinceEpoch / 86400;
  int64_t rest = sinceEpoch % 86400;
  if (rest < 0) {
    rest += 86400;
    --days;
  }
  const std::chrono::year_month_day date{std::chrono::sys_days{std::chrono::days{days}}};
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                     rest / 3600, rest / 60 % 60, rest % 60);
}

/// Three letters of five bits each; empty for anything else.
std::string languageText(uint16_t packed) {
  std::string text;
  for (const int shift : {10, 5, 0})
    text.push_back(static_cast<char>(0x60 + (packed >> shift & 0x1f)));
  const bool letters =
      std::all_of(text.begin(), text.end(), [](char c) { return c >= 'a' && c <= 'z'; });
  return letters && packed < 0x8000 ? text : "";
}

const char* objectTypeName(uint32_t type) {
  switch (type) {
    case 0x20:
      return "MPEG-4 Visual";
    case 0x21:
      return "H.264";
    case 0x40:
      return "MPEG-4 audio";
    case 0x66:
      return "MPEG-2 AAC Main";
    case 0x67:
      return "MPEG-2 AAC LC";
    case 0x68:
      return "MPEG-2 AAC SSR";
    case 0x69:
      return "MPEG-2 audio (MP3)";
    case 0x6b:
      return "MPEG-1 audio (MP3)";
    case 0x6c:
      return "JPEG";
    case 0x6d:
      return "PNG";
    case 0xa5:
      return "AC-3";
    case 0xa6:
      return "E-AC-3";
    case 0xa9:
      return "DTS";
    case 0xdd:
      return "Vorbis";
    case 0xe1:
      return "QCELP";
    default:
      return "unknown";
  }
}

/// Collects the fields of one box.
class Reader {
 public:
  Reader(File& file, const Box& box, Timescales& timescales)
      : file_(file), box_(box), in_(file, box.payload(), box.end), timescales_(timescales) {}

  BoxFields read() {
    dispatch();
    result_.isShort = in_.isShort();
    return std::move(result_);
  }

 private:
  uint8_t full() {
    result_.version = in_.u8();
    result_.flags = in_.u24();
    return *result_.version;
  }

  /// What is not there is no field; its values were read as 0.
  Field& add(const char* name, Json value, const char* unit = "", std::string text = "") {
    if (in_.isShort()) return missing_;
    result_.fields.push_back({name, std::move(value), unit, std::move(text)});
    return result_.fields.back();
  }
  void addUsual(const char* name, Json value, bool usual, const char* unit = "") {
    add(name, std::move(value), unit).usual = usual;
  }
  void addType(const char* name) { add(name, typeText(type())); }
  FourCC type() {
    const std::string bytes = in_.bytes(4);
    uint8_t four[4] = {};
    std::copy(bytes.begin(), bytes.end(), four);
    return atomkit::fourCCFrom(four);
  }

  /// Ticks, and the seconds that they are.
  void addTicks(const char* name, uint64_t ticks, uint32_t timescale, uint64_t unknown) {
    const std::string seconds = tickSeconds(ticks, timescale);
    std::string text = fmt::format("{} ticks", ticks);
    if (ticks == unknown) {
      text = "unknown";
    } else if (!seconds.empty()) {
      text += fmt::format(" ({} s)", seconds);
    }
    add(name, ticks == unknown ? Json(nullptr) : Json(ticks), "ticks", text);
  }

  void addDate(const char* name, uint64_t seconds) {
    const std::string date = dateText(seconds);
    Field& field = add(name, seconds, "s since 1904", date);
    field.usual = seconds == 0;
  }

  void addText(const char* name, const std::string& text) { add(name, text); }

  /// The rest of the box as text; its beginning, where it is long.
  void addRest(const char* name) {
    const uint64_t bytes = in_.left();
    const std::string text = in_.bytes(std::min(bytes, kLongestText));
    if (bytes <= kLongestText) {
      addText(name, text);
      return;
    }
    add(name, text + "…", "", fmt::format("\"{}…\" ({} bytes)", cli::printable(text), bytes));
  }

  void addHex(const char* name, uint64_t bytes) {
    constexpr uint64_t kMost = 48;
    const std::string read = in_.bytes(std::min({bytes, in_.left(), kMost}));
    std::string hex = cli::hexText({read.begin(), read.end()}, "");
    if (bytes > read.size()) {
      hex += "…";
      in_.skip(std::min(bytes - read.size(), in_.left()));
    }
    add(name, hex, "hex", hex);
  }

  void addMatrix() {
    static constexpr uint32_t kIdentity[9] = {0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000};
    Json words = Json::array();
    bool usual = true;
    for (const uint32_t identity : kIdentity) {
      const uint32_t word = in_.u32();
      usual = usual && word == identity;
      words.push_back(static_cast<int32_t>(word));
    }
    addUsual("matrix", std::move(words), usual);
  }

  /// An entry count, and the lack of room for as many.
  void addCount(uint64_t entryBytes, const char* name = "entry_count") {
    const uint32_t count = in_.u32();
    std::string text;
    if (entryBytes != 0 && count > in_.left() / entryBytes) {
      text = fmt::format("{} (room for {})", count, in_.left() / entryBytes);
    }
    add(name, count, "", text);
  }

  void dispatch();
  void fileType();
  void movieHeader();
  void trackHeader();
  void mediaHeader();
  void handler();
  void editList();
  void audioEntry();
  void videoEntry();
  void elementaryStream();
  void avcConfiguration();
  void sampleSizes();
  void chapterList();
  void itemValue();
  void trackFragmentHeader();

  File& file_;
  const Box& box_;
  Payload in_;
  Timescales& timescales_;
  BoxFields result_;
  Field missing_;
};

void Reader::fileType() {
  addType("major_brand");
  add("minor_version", in_.u32());
  Json brands = Json::array();
  std::string text;
  while (in_.left() >= 4 && brands.size() < 32) {
    brands.push_back(typeText(type()));
    text += (text.empty() ? "" : " ") + brands.back().get<std::string>();
  }
  add("compatible_brands", std::move(brands), "", text);
}

void Reader::movieHeader() {
  const uint8_t version = full();
  addDate("creation_time", in_.word(version));
  addDate("modification_time", in_.word(version));
  timescales_.movie = in_.u32();
  add("timescale", timescales_.movie, "ticks/s");
  addTicks("duration", in_.word(version), timescales_.movie,
           version == 1 ? UINT64_MAX : UINT32_MAX);
  const uint32_t rate = in_.u32();
  addUsual("rate", fixedPoint(static_cast<int32_t>(rate), 16), rate == 0x10000);
  const uint16_t volume = in_.u16();
  addUsual("volume", fixedPoint(static_cast<int16_t>(volume), 8), volume == 0x100);
  in_.skip(10);
  addMatrix();
  in_.skip(24);
  add("next_track_id", in_.u32());
}

void Reader::trackHeader() {
  const uint8_t version = full();
  addUsual("enabled", (result_.flags & 1) != 0, (result_.flags & 1) != 0);
  addDate("creation_time", in_.word(version));
  addDate("modification_time", in_.word(version));
  add("track_id", in_.u32());
  in_.skip(4);
  addTicks("duration", in_.word(version), timescales_.movie,
           version == 1 ? UINT64_MAX : UINT32_MAX);
  in_.skip(8);
  const auto layer = static_cast<int16_t>(in_.u16());
  addUsual("layer", layer, layer == 0);
  const uint16_t group = in_.u16();
  addUsual("alternate_group", group, group == 0);
  const uint16_t volume = in_.u16();
  addUsual("volume", fixedPoint(static_cast<int16_t>(volume), 8), volume == 0x100 || volume == 0);
  in_.skip(2);
  addMatrix();
  const uint32_t width = in_.u32();
  const uint32_t height = in_.u32();
  addUsual("width", fixedPoint(width, 16), width == 0, "pixels");
  addUsual("height", fixedPoint(height, 16), height == 0, "pixels");
}

void Reader::mediaHeader() {
  const uint8_t version = full();
  addDate("creation_time", in_.word(version));
  addDate("modification_time", in_.word(version));
  timescales_.media = in_.u32();
  add("timescale", timescales_.media, "ticks/s");
  addTicks("duration", in_.word(version), timescales_.media,
           version == 1 ? UINT64_MAX : UINT32_MAX);
  const uint16_t language = in_.u16();
  const std::string name = languageText(language);
  add("language", name.empty() ? Json(language) : Json(name)).usual =
      name == "und" || language == 0;
  in_.skip(2);
}

void Reader::handler() {
  full();
  in_.skip(4);
  addType("handler_type");
  in_.skip(12);
  std::string name = in_.bytes(std::min(in_.left(), kLongestText));
  // QuickTime writes a length byte first; the others end the name with a zero byte.
  if (!name.empty() && static_cast<uint8_t>(name[0]) == name.size() - 1) name.erase(0, 1);
  name.resize(std::min(name.find('\0'), name.size()));
  add("name", name).usual = name.empty();
}

void Reader::editList() {
  const uint8_t version = full();
  const uint32_t count = in_.u32();
  add("entry_count", count);
  constexpr uint32_t kMostShown = 8;
  const uint64_t room = in_.left() / (version == 1 ? 20 : 12);
  if (count > room) in_.skip(in_.left() + 1);  // too short for its entries
  Json edits = Json::array();
  std::string text;
  for (uint32_t i = 0; i < std::min<uint64_t>({count, room, kMostShown}); ++i) {
    const uint64_t duration = in_.word(version);
    const int64_t start =
        version == 1 ? static_cast<int64_t>(in_.u64()) : static_cast<int32_t>(in_.u32());
    const uint32_t rate = in_.u32();
    edits.push_back({{"duration", duration},
                     {"media_time", start},
                     {"rate", fixedPoint(static_cast<int32_t>(rate), 16)}});
    if (!text.empty()) text += "; ";
    const std::string seconds = tickSeconds(duration, timescales_.movie);
    const std::string lasting =
        seconds.empty() ? fmt::format("{} ticks", duration) : seconds + " s";
    if (start == -1) {
      text += "nothing for " + lasting;
    } else {
      const std::string from = tickSeconds(static_cast<uint64_t>(start), timescales_.media);
      text += fmt::format("{} from media tick {}", duration == 0 ? "all" : lasting, start);
      if (!from.empty() && start > 0) text += fmt::format(" ({} s)", from);
    }
    if (rate != 0x10000)
      text += fmt::format(" at rate {}", fixedPoint(static_cast<int32_t>(rate), 16));
  }
  if (count > edits.size()) text += "; …";
  add("edits", std::move(edits), "", text);
}

void Reader::audioEntry() {
  in_.skip(6);
  const uint16_t reference = in_.u16();
  addUsual("data_reference_index", reference, reference == 1);
  const uint16_t version = in_.u16();
  addUsual("entry_version", version, version == 0);
  in_.skip(6);
  add("channels", in_.u16());
  add("sample_size", in_.u16(), "bits");
  in_.skip(4);
  add("sample_rate", fixedPoint(in_.u32(), 16), "Hz");
}

void Reader::videoEntry() {
  in_.skip(6);
  const uint16_t reference = in_.u16();
  addUsual("data_reference_index", reference, reference == 1);
  in_.skip(16);
  add("width", in_.u16(), "pixels");
  add("height", in_.u16(), "pixels");
  const uint32_t across = in_.u32();
  const uint32_t down = in_.u32();
  addUsual("horizontal_resolution", fixedPoint(across, 16), across == 0x480000, "dpi");
  addUsual("vertical_resolution", fixedPoint(down, 16), down == 0x480000, "dpi");
  in_.skip(4);
  const uint16_t frames = in_.u16();
  addUsual("frame_count", frames, frames == 1);
  const std::string field = in_.bytes(32);
  const size_t length = field.empty() ? 0 : std::min<size_t>(static_cast<uint8_t>(field[0]), 31);
  std::string name = field.substr(std::min<size_t>(1, field.size()), length);
  name.resize(std::min(name.find('\0'), name.size()));
  add("compressor", name).usual = name.empty();
  const uint16_t depth = in_.u16();
  addUsual("depth", depth, depth == 24, "bits");
}

// Walks the descriptors as the library does: fixed fields, tags looked for where they should stand.
void Reader::elementaryStream() {
  full();
  uint8_t tag = in_.u8();
  if (tag == 3) {
    in_.descriptorLength();
    add("es_id", in_.u16()).usual = true;
    const uint8_t flags = in_.u8();
    addUsual("es_flags", flags, (flags & 0xe0) == 0);
    if (flags & 0x80) in_.skip(2);
    if (flags & 0x40) in_.skip(in_.u8());
    if (flags & 0x20) in_.skip(2);
    tag = in_.u8();
  }
  if (tag != 4) {
    add("descriptor_tag", tag, "", fmt::format("{} where 4, the decoder's, should be", tag));
    return;
  }
  in_.descriptorLength();
  const uint8_t objectType = in_.u8();
  add("object_type", objectType, "",
      fmt::format("0x{:02x} {}", objectType, objectTypeName(objectType)));
  add("stream_type", in_.u8() >> 2).usual = true;
  add("buffer_size", in_.u24(), "bytes").usual = true;
  add("maximum_bitrate", in_.u32(), "bit/s");
  add("average_bitrate", in_.u32(), "bit/s");
  if (in_.left() == 0 || in_.u8() != 5) return;
  addHex("decoder_config", in_.descriptorLength());
}

void Reader::avcConfiguration() {
  add("configuration_version", in_.u8()).usual = true;
  add("profile", in_.u8());
  add("compatibility", in_.u8()).usual = true;
  add("level", fixedPoint(in_.u8(), 0) / 10);
  const uint8_t lengths = in_.u8();
  add("nal_length_size", (lengths & 3) + 1, "bytes");
  if ((lengths & 0xfc) != 0xfc) {
    add("reserved_bits_1", lengths >> 2, "",
        fmt::format("0x{:02x} where all six bits should be 1", lengths >> 2));
  }
  const uint8_t sets = in_.u8();
  if ((sets & 0xe0) != 0xe0) {
    add("reserved_bits_2", sets >> 5, "",
        fmt::format("0x{:x} where all three bits should be 1", sets >> 5));
  }
  add("sequence_parameter_sets", sets & 0x1f);
  for (int i = 0; i < (sets & 0x1f); ++i) in_.skip(in_.u16());
  const uint8_t pictures = in_.u8();
  add("picture_parameter_sets", pictures);
  for (int i = 0; i < pictures && !in_.isShort(); ++i) in_.skip(in_.u16());
}

void Reader::sampleSizes() {
  full();
  const uint32_t size = in_.u32();
  if (size == 0) {
    add("sample_size", size, "bytes", "sizes listed");
    addCount(4, "sample_count");
    return;
  }
  add("sample_size", size, "bytes", fmt::format("every sample has {} bytes", size));
  add("sample_count", in_.u32());
}

void Reader::chapterList() {
  const uint8_t version = full();
  in_.skip(1);
  add("chapter_count", in_.u32());
  if (version > 1) add("note", "", "", "a version that the plug-in passes over");
}

void Reader::itemValue() {
  const uint32_t code = in_.u32() & 0xffffff;
  result_.fields.reserve(4);
  add("type_code", code).usual = code <= 1 || code == 13 || code == 14 || code == 21;
  const uint32_t locale = in_.u32();
  addUsual("locale", locale, locale == 0);
  switch (box_.parent->type) {
    case fourCC("trkn"):
    case fourCC("disk"): {
      in_.skip(2);
      const uint16_t number = in_.u16();
      const uint16_t total = in_.u16();
      add("number", number);
      add("total", total).usual = total == 0;
      if (in_.left() < 2) add("note", "", "", "too short: no tag");
      return;
    }
    case fourCC("gnre"): {
      const uint16_t genre = in_.u16();
      const char* const name = atomkit::genreName(genre);
      add("genre", genre, "", fmt::format("{} {}", genre, name ? name : "(no genre)"));
      return;
    }
    case fourCC("tmpo"):
      add("tempo", in_.u16(), "BPM");
      return;
    case fourCC("covr"): {
      const uint64_t bytes = in_.left();
      const std::string start = in_.bytes(std::min<uint64_t>(8, bytes));
      const char* const kind = start.starts_with("\xff\xd8\xff")  ? "JPEG"
                               : start.starts_with("\x89PNG\r\n") ? "PNG"
                               : start.starts_with("GIF8")        ? "GIF"
                               : start.starts_with("BM")          ? "BMP"
                               : bytes == 0                       ? "nothing"
                                                                  : "unknown";
      add("picture", kind);
      add("picture_bytes", bytes, "bytes");
      return;
    }
    default:
      break;
  }
  constexpr uint32_t kText = 1;
  const uint64_t bytes = in_.left();
  if (code != kText && bytes <= 8) {
    uint64_t number = 0;
    for (uint64_t i = 0; i < bytes; ++i) number = number << 8 | in_.u8();
    add("value", number);
    return;
  }
  addRest("value");
}

void Reader::trackFragmentHeader() {
  full();
  add("track_id", in_.u32());
  if (result_.flags & 1) add("base_data_offset", in_.u64(), "bytes");
  if (result_.flags & 2) add("sample_description_index", in_.u32());
  if (result_.flags & 8) add("default_sample_duration", in_.u32(), "ticks");
  if (result_.flags & 0x10) add("default_sample_size", in_.u32(), "bytes");
  if (result_.flags & 0x20) add("default_sample_flags", in_.u32());
}

void Reader::dispatch() {
  if (box_.isIn(fourCC("stsd"))) {
    if (isAudioEntry(box_.type)) audioEntry();
    if (isVideoEntry(box_.type)) videoEntry();
    return;
  }
  const bool inItem = box_.parent && box_.parent->isIn(fourCC("ilst"));
  const bool inTagging = box_.isIn(fourCC("tags")) || box_.isIn(fourCC("tseg"));
  switch (box_.type) {
    case fourCC("ftyp"):
    case fourCC("styp"):
      return fileType();
    case fourCC("mvhd"):
      return movieHeader();
    case fourCC("tkhd"):
      return trackHeader();
    case fourCC("mdhd"):
      return mediaHeader();
    case fourCC("hdlr"):
      return handler();
    case fourCC("elst"):
      return editList();
    case fourCC("vmhd"):
    case fourCC("smhd"):
    case fourCC("nmhd"):
    case fourCC("url "):
    case fourCC("alis"):
      full();
      return;
    case fourCC("esds"):
      return elementaryStream();
    case fourCC("avcC"):
      return avcConfiguration();
    case fourCC("btrt"):
      add("buffer_size", in_.u32(), "bytes");
      add("maximum_bitrate", in_.u32(), "bit/s");
      add("average_bitrate", in_.u32(), "bit/s");
      return;
    case fourCC("pasp"):
      add("horizontal", in_.u32());
      add("vertical", in_.u32());
      return;
    case fourCC("frma"):
      return addType("original_format");
    case fourCC("schm"):
      full();
      return addType("scheme");
    case fourCC("dref"):
    case fourCC("stsd"):
      full();
      return addCount(8);
    case fourCC("stts"):
    case fourCC("ctts"):
      full();
      return addCount(8);
    case fourCC("stss"):
    case fourCC("stco"):
      full();
      return addCount(4);
    case fourCC("co64"):
      full();
      return addCount(8);
    case fourCC("stsc"):
      full();
      return addCount(12);
    case fourCC("stsz"):
      return sampleSizes();
    case fourCC("stz2"):
      full();
      in_.skip(3);
      add("field_size", in_.u8(), "bits");
      add("sample_count", in_.u32());
      return;
    case fourCC("chpl"):
      return chapterList();
    case fourCC("meta"):
      if (inTagging) {
        add("field_count", in_.u32());
      } else if (childrenStart(file_, box_) != box_.payload()) {
        full();
      } else {
        add("note", "", "", "without version and flags, as in QuickTime");
      }
      return;
    case fourCC("tshd"):
      add("chapter", in_.u32());
      return;
    case fourCC("keys"):
      full();
      return addCount(8);
    case fourCC("data"):
      if (inItem) return itemValue();
      return;
    case fourCC("mean"):
    case fourCC("name"):
      if (!inItem) return;
      full();
      return addRest("text");
    case fourCC("mehd"): {
      const uint8_t version = full();
      return addTicks("duration", in_.word(version), timescales_.movie, UINT64_MAX);
    }
    case fourCC("trex"):
      full();
      add("track_id", in_.u32());
      add("default_sample_description_index", in_.u32()).usual = true;
      add("default_sample_duration", in_.u32(), "ticks");
      add("default_sample_size", in_.u32(), "bytes");
      return;
    case fourCC("mfhd"):
      full();
      add("sequence_number", in_.u32());
      return;
    case fourCC("tfhd"):
      return trackFragmentHeader();
    case fourCC("tfdt"): {
      const uint8_t version = full();
      return addTicks("decode_time", in_.word(version), 0, UINT64_MAX);
    }
    case fourCC("trun"):
      full();
      add("sample_count", in_.u32());
      if (result_.flags & 1) add("data_offset", static_cast<int32_t>(in_.u32()), "bytes");
      return;
    case fourCC("mfro"):
      full();
      add("size", in_.u32(), "bytes");
      return;
    case fourCC("uuid"):
      return addHex("extended_type", 16);
    default:
      if (box_.isIn(fourCC("tref"))) {
        Json tracks = Json::array();
        while (in_.left() >= 4 && tracks.size() < 16) tracks.push_back(in_.u32());
        const std::string text = tracks.dump();
        add("track_ids", std::move(tracks), "", text.substr(1, text.size() - 2));
      }
  }
}

}  // namespace

BoxFields readFields(File& file, const Box& box, Timescales& timescales) {
  return Reader(file, box, timescales).read();
}

std::string fieldText(const Field& field) {
  std::string text = field.text;
  if (text.empty()) {
    text = field.value.is_string() ? "\"" + cli::printable(field.value.get<std::string>()) + "\""
                                   : field.value.dump();
    if (!field.unit.empty()) text += " " + field.unit;
  }
  return field.name == "note" ? text : field.name + " " + text;
}

std::string tickSeconds(uint64_t ticks, uint32_t timescale) {
  if (timescale == 0) return "";
  const uint64_t micro = (ticks % timescale * 1000000 + timescale / 2) / timescale;
  std::string text = fmt::format("{}.{:06}", ticks / timescale + micro / 1000000, micro % 1000000);
  const size_t last = text.find_last_not_of('0');
  return text.substr(0, std::max(last + 1, text.find('.') + 4));  // three decimals at least
}

}  // namespace inspect
