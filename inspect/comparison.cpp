#include "inspect/comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "cli/text.h"
#include "inspect/box_fields.h"
#include "inspect/opening.h"
#include "inspect/sample_reader.h"

namespace inspect {
namespace {

using cli::counted;

constexpr uint32_t kPollInterval = 4096;  // samples

// Tables of some kilobytes may claim thousands of millions of samples that share their bytes. No
// file that anybody plays shares each byte so often.
constexpr uint64_t kMostSharing = 4;         // bytes compared for each byte of the file
constexpr uint64_t kAlwaysCompared = 65536;  // bytes; a sample without any there counts as one
// Every chapter has the tags of the file, too.
constexpr uint64_t kMostChapterTags = 1'000'000;

/// A difference found, or nothing.
using Difference = std::optional<std::string>;

std::string quoted(const std::string& text) { return "\"" + cli::printable(text) + "\""; }

/// "X: 3 and 4" when the two are not the same.
template <class Value>
Difference differ(const std::string& what, const Value& left, const Value& right) {
  if (left == right) return std::nullopt;
  return fmt::format("{}: {} and {}", what, left, right);
}

/// One of the two files.
struct Side {
  explicit Side(File& opened) : file(opened), map(readMovieMap(opened)) { open(opened, opening); }

  File& file;
  MovieMap map;
  Opening opening;
};

class Comparer {
 public:
  Comparer(File& left, File& right, const std::function<void()>& poll)
      : left_(left),
        right_(right),
        poll_(poll),
        budget_(kAlwaysCompared + kMostSharing * std::min(left.size(), right.size())) {}

  std::vector<Compared> compare() {
    add("tracks", tracks(), counted(left_.map.tracks.size(), "track"));
    const size_t common = std::min(left_.map.tracks.size(), right_.map.tracks.size());
    Difference packets;
    Difference times;
    for (size_t i = 0; i < common && unfinished_.empty(); ++i) samples(i, packets, times);
    if (left_.map.tracks.size() != right_.map.tracks.size() && !packets) {
      packets = fmt::format("of {} and {}", counted(left_.map.tracks.size(), "track"),
                            counted(right_.map.tracks.size(), "track"));
    }
    addOfSamples("packets", packets, counted(packets_, "packet") + ", " + counted(bytes_, "byte"));
    addOfSamples("times", times, "");
    add("headers", headers(), "");
    library();
    return std::move(result_);
  }

 private:
  void add(const char* subject, const Difference& difference, const std::string& same) {
    result_.push_back(
        {subject, difference ? Verdict::differ : Verdict::same, difference ? *difference : same});
  }

  void addOfSamples(const char* subject, const Difference& difference, const std::string& same) {
    if (difference || unfinished_.empty()) return add(subject, difference, same);
    result_.push_back({subject, Verdict::unknown, unfinished_});
  }

  Difference tracks() const {
    const auto& left = left_.map.tracks;
    const auto& right = right_.map.tracks;
    if (auto found = differ("number of tracks", left.size(), right.size())) return found;
    for (size_t i = 0; i < left.size(); ++i) {
      if (auto found = trackKinds(fmt::format("track {}, ", i), left[i], right[i])) return found;
    }
    return std::nullopt;
  }

  static Difference trackKinds(const std::string& track, const TrackMap& left,
                               const TrackMap& right) {
    if (auto found = differ(track + "kind", left.kindText(), right.kindText())) return found;
    if (auto found =
            differ(track + "sample descriptions", left.entries.size(), right.entries.size())) {
      return found;
    }
    for (size_t i = 0; i < left.entries.size(); ++i) {
      const SampleEntry& a = left.entries[i];
      const SampleEntry& b = right.entries[i];
      const std::array<Difference, 7> found = {
          differ(track + "entry", typeText(a.type), typeText(b.type)),
          differ(track + "channels", a.channels, b.channels),
          differ(track + "sample rate", a.sampleRate, b.sampleRate),
          differ(track + "width", a.width, b.width),
          differ(track + "height", a.height, b.height),
          differ(track + "object type", a.objectType, b.objectType),
          differ(track + "NAL length size", a.nalLengthSize, b.nalLengthSize)};
      for (const Difference& difference : found) {
        if (difference) return difference;
      }
    }
    return std::nullopt;
  }

  /// Walks a track of both files sample by sample.
  void samples(size_t index, Difference& packets, Difference& times) {
    const TrackMap& leftTrack = left_.map.tracks[index];
    const TrackMap& rightTrack = right_.map.tracks[index];
    SampleReader leftReader(left_.file, leftTrack);
    SampleReader rightReader(right_.file, rightTrack);
    if (!times) {
      times = differ(fmt::format("track {}, ticks in a second", index), leftTrack.timescale,
                     rightTrack.timescale);
    }
    Sample left;
    Sample right;
    for (;;) {
      const bool hasLeft = leftReader.next(left);
      const bool hasRight = rightReader.next(right);
      if (!hasLeft || !hasRight) {
        if (hasLeft != hasRight && !packets) {
          packets = fmt::format("track {}: {} and {}", index,
                                counted(leftTrack.sampleCount, "packet"), rightTrack.sampleCount);
        }
        return;
      }
      if (left.number % kPollInterval == 0) poll_();
      if (!afford(left, right)) {
        unfinished_ = placeOf(index, left) +
                      "and all that follow are left out: the tables claim more than the file holds";
        return;
      }
      if (!times) times = sampleTimes(index, left, right);
      if (!packets) packets = payload(index, left, right);
      if (packets && times) return;
    }
  }

  /// Whether a sample may still be compared.
  bool afford(const Sample& left, const Sample& right) {
    const bool read = !isOutside(left_.file, left) && !isOutside(right_.file, right);
    const uint64_t cost = read ? std::max<uint64_t>(std::min(left.size, right.size), 1) : 1;
    if (cost > budget_) return false;
    budget_ -= cost;
    return true;
  }

  static std::string placeOf(size_t track, const Sample& sample) {
    return fmt::format("track {}, sample {}, ", track, sample.number);
  }

  static Difference sampleTimes(size_t track, const Sample& left, const Sample& right) {
    // Most samples are equal, and a file may have millions of them: no text is made for those.
    if (left.decodeTime == right.decodeTime && left.duration == right.duration &&
        left.compositionOffset == right.compositionOffset && left.sync == right.sync) {
      return std::nullopt;
    }
    const std::string place = placeOf(track, left);
    if (auto found = differ(place + "decoded at tick", left.decodeTime, right.decodeTime)) {
      return found;
    }
    if (auto found = differ(place + "ticks long", left.duration, right.duration)) return found;
    if (auto found =
            differ(place + "composition offset", left.compositionOffset, right.compositionOffset)) {
      return found;
    }
    return differ(place + "sync", left.sync, right.sync);
  }

  static bool isOutside(const File& file, const Sample& sample) {
    return sample.offset > file.size() || file.size() - sample.offset < sample.size;
  }

  Difference payload(size_t track, const Sample& left, const Sample& right) {
    if (left.hasSize != right.hasSize) return placeOf(track, left) + "only one has a size";
    if (!left.hasSize) return std::nullopt;
    if (left.size != right.size) {
      return differ(placeOf(track, left) + "bytes", left.size, right.size);
    }
    if (isOutside(left_.file, left) != isOutside(right_.file, right)) {
      return placeOf(track, left) + "only one lies within its file";
    }
    if (isOutside(left_.file, left)) return std::nullopt;
    static constexpr uint32_t kPiece = 32768;
    if (leftPiece_.empty()) {
      leftPiece_.resize(kPiece);
      rightPiece_.resize(kPiece);
    }
    for (uint32_t done = 0; done < left.size;) {
      const uint32_t count = std::min(kPiece, left.size - done);
      left_.file.read(left.offset + done, leftPiece_.data(), count);
      right_.file.read(right.offset + done, rightPiece_.data(), count);
      if (std::memcmp(leftPiece_.data(), rightPiece_.data(), count) != 0) {
        const auto first =
            std::mismatch(leftPiece_.begin(), leftPiece_.begin() + count, rightPiece_.begin());
        return fmt::format("{}byte {}", placeOf(track, left),
                           done + (first.first - leftPiece_.begin()));
      }
      done += count;
      if (done % (kPiece * 64) == 0) poll_();
    }
    ++packets_;
    bytes_ += left.size;
    return std::nullopt;
  }

  Difference headers() const {
    const MovieMap& left = left_.map;
    const MovieMap& right = right_.map;
    if (auto found =
            differ("duration of the movie, in seconds", tickSeconds(left.duration, left.timescale),
                   tickSeconds(right.duration, right.timescale))) {
      return found;
    }
    if (auto found = differ("movie fragments", left.fragments, right.fragments)) return found;
    for (size_t i = 0; i < std::min(left.tracks.size(), right.tracks.size()); ++i) {
      const TrackMap& a = left.tracks[i];
      const TrackMap& b = right.tracks[i];
      const std::string track = fmt::format("track {}, ", i);
      if (auto found = differ(track + "duration in ticks", a.duration, b.duration)) return found;
      if (auto found = edits(track, a, b)) return found;
    }
    return std::nullopt;
  }

  Difference edits(const std::string& track, const TrackMap& left, const TrackMap& right) const {
    if (auto found = differ(track + "edits", left.edits.size(), right.edits.size())) return found;
    for (size_t i = 0; i < left.edits.size(); ++i) {
      const std::string edit = fmt::format("{}edit {}, ", track, i);
      if (auto found =
              differ(edit + "media tick", left.edits[i].mediaTime, right.edits[i].mediaTime)) {
        return found;
      }
      if (auto found =
              differ(edit + "seconds", tickSeconds(left.edits[i].duration, left_.map.timescale),
                     tickSeconds(right.edits[i].duration, right_.map.timescale))) {
        return found;
      }
    }
    return std::nullopt;
  }

  /// What the library makes of both, where it takes both.
  void library() {
    const auto refusal = [](const Side& side) -> std::string {
      // A refusal for want of a track leaves the tags readable.
      return side.opening.refusal && side.opening.refusal->position ? side.opening.refusal->message
                                                                    : "";
    };
    const std::string left = refusal(left_);
    const std::string right = refusal(right_);
    if (!left.empty() || !right.empty()) {
      const auto told = [](const std::string& text) { return text.empty() ? "taken" : text; };
      result_.push_back({"tags", left == right ? Verdict::same : Verdict::differ,
                         left == right
                             ? "not compared: both files are refused, " + left
                             : fmt::format("refused: {}, and {}", told(left), told(right))});
      return;
    }
    const atomkit::Movie& a = left_.opening.movie;
    const atomkit::Movie& b = right_.opening.movie;
    add("configuration", configurations(a, b), "");
    add("tags", tags("", a.tags(), b.tags()), counted(a.tags().entryCount(), "tag"));
    uint32_t compared = 0;
    const Difference found = chapters(a, b, compared);
    if (found || compared == a.chapterCount()) {
      add("chapters", found, counted(compared, "chapter"));
    } else {
      result_.push_back({"chapters", Verdict::unknown,
                         fmt::format("chapter {} and those after it are left out: they and the "
                                     "file have too many tags",
                                     compared)});
    }
    add("covers", covers(), counted(pictures(left_).size(), "picture"));
  }

  static Difference configurations(const atomkit::Movie& left, const atomkit::Movie& right) {
    for (uint32_t i = 0; i < std::min(left.trackCount(), right.trackCount()); ++i) {
      atomkit::ByteArray a;
      atomkit::ByteArray b;
      left.decoderConfig(i, a);
      right.decoderConfig(i, b);
      const std::string track = fmt::format("track {}, decoder configuration", i);
      if (auto found = differ(track + " in bytes", a.count(), b.count())) return found;
      if (a.count() != 0 && std::memcmp(a.data(), b.data(), a.count()) != 0) return track;
    }
    return std::nullopt;
  }

  static std::string valueText(const atomkit::TagStore& tags, uint32_t entry, uint32_t value) {
    return tags.value(entry, value).text();
  }

  static Difference tags(const std::string& place, const atomkit::TagStore& left,
                         const atomkit::TagStore& right) {
    for (uint32_t i = 0; i < left.entryCount(); ++i) {
      const std::string tag = left.entryName(i);
      const uint32_t other = right.find(left.entryName(i));
      if (other == atomkit::TagStore::kNoTag) return place + quoted(tag) + " only in the first";
      if (auto found = differ(place + "values of " + quoted(tag), left.valueCount(i),
                              right.valueCount(other))) {
        return found;
      }
      for (uint32_t v = 0; v < left.valueCount(i); ++v) {
        if (auto found = differ(place + quoted(tag), quoted(valueText(left, i, v)),
                                quoted(valueText(right, other, v)))) {
          return found;
        }
      }
    }
    for (uint32_t i = 0; i < right.entryCount(); ++i) {
      if (left.find(right.entryName(i)) == atomkit::TagStore::kNoTag) {
        return place + quoted(right.entryName(i)) + " only in the second";
      }
    }
    return std::nullopt;
  }

  static uint64_t valueCountOf(const atomkit::TagStore& tags) {
    uint64_t count = tags.entryCount();
    for (uint32_t i = 0; i < tags.entryCount(); ++i) count += tags.valueCount(i);
    return count;
  }

  /// @param compared  gets the number of chapters that were compared
  Difference chapters(const atomkit::Movie& left, const atomkit::Movie& right, uint32_t& compared) {
    if (auto found = differ("number", left.chapterCount(), right.chapterCount())) return found;
    uint64_t tagsLeft = kMostChapterTags;
    for (uint32_t& i = compared; i < left.chapterCount(); ++i) {
      poll_();
      const uint64_t cost =
          valueCountOf(left.chapter(i).tags) + valueCountOf(right.chapter(i).tags);
      if (cost > tagsLeft) return std::nullopt;
      tagsLeft -= cost;
      const std::string chapter = fmt::format("chapter {}, ", i);
      if (auto found =
              differ(chapter + "start in 100 ns", left.chapterStart(i), right.chapterStart(i))) {
        return found;
      }
      if (auto found = tags(chapter, left.chapter(i).tags, right.chapter(i).tags)) return found;
    }
    return std::nullopt;
  }

  /// Where the pictures of a file lie.
  static std::vector<ByteRange> pictures(const Side& side) {
    struct Finder final : public BoxVisitor {
      Go enter(const Box& box) override {
        const bool data = box.type == fourCC("data") && box.isIn(fourCC("covr"));
        const bool bare = box.type == fourCC("covr") && box.isIn(fourCC("tags"));
        if (data && box.payloadSize() > 8) found.push_back({box.payload() + 8, box.end});
        if (bare && box.payloadSize() > 0) found.push_back({box.payload(), box.end});
        return box.type == fourCC("trak") || box.type == fourCC("moof") ? Go::past : Go::into;
      }
      std::vector<ByteRange> found;
    } finder;
    walkBoxes(side.file, finder);
    return std::move(finder.found);
  }

  Difference covers() {
    const std::vector<ByteRange> left = pictures(left_);
    const std::vector<ByteRange> right = pictures(right_);
    if (auto found = differ("number", left.size(), right.size())) return found;
    for (size_t i = 0; i < left.size(); ++i) {
      const std::string picture = fmt::format("picture {}, ", i);
      if (auto found = differ(picture + "bytes", left[i].end - left[i].offset,
                              right[i].end - right[i].offset)) {
        return found;
      }
      if (!sameBytes(left[i], right[i])) return picture + "another one";
    }
    return std::nullopt;
  }

  bool sameBytes(const ByteRange& left, const ByteRange& right) {
    std::array<uint8_t, 4096> a;
    std::array<uint8_t, 4096> b;
    for (uint64_t done = 0; done < left.end - left.offset; done += a.size()) {
      const auto count =
          static_cast<size_t>(std::min<uint64_t>(a.size(), left.end - left.offset - done));
      left_.file.read(left.offset + done, a.data(), count);
      right_.file.read(right.offset + done, b.data(), count);
      if (std::memcmp(a.data(), b.data(), count) != 0) return false;
    }
    return true;
  }

  Side left_;
  Side right_;
  const std::function<void()>& poll_;
  std::vector<Compared> result_;
  std::vector<uint8_t> leftPiece_;
  std::vector<uint8_t> rightPiece_;
  uint64_t budget_;         // bytes, and samples without any, that may still be compared
  std::string unfinished_;  // why samples were left out
  uint64_t packets_ = 0;
  uint64_t bytes_ = 0;
};

}  // namespace

std::vector<Compared> compareFiles(File& left, File& right, const std::function<void()>& poll) {
  return Comparer(left, right, poll).compare();
}

}  // namespace inspect
