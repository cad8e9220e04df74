#include "inspect/losses.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>

#include "atomkit/core/containers/exception.h"
#include "atomkit/meta/tags/item_list.h"
#include "atomkit/meta/tags/tag_item.h"
#include "atomkit/meta/tags/tag_names.h"
#include "atomkit/meta/tags/tagging_box.h"
#include "cli/text.h"
#include "inspect/advice.h"
#include "inspect/box_fields.h"
#include "inspect/payload.h"
#include "inspect/sample_reader.h"

namespace inspect {
namespace {

using cli::counted;

constexpr uint64_t kPollInterval = 65536;  // samples
constexpr uint64_t kHostUnitsPerSecond = 16777216;

/// Half a unit is rounded up; products and sums wrap at 2^64.
uint64_t hostUnits(uint64_t ticks, uint32_t timescale) {
  return timescale == 0 ? 0 : (ticks * kHostUnitsPerSecond + timescale / 2) / timescale;
}

uint64_t framesIn(uint64_t ticks, uint32_t rate, uint32_t timescale) {
  return timescale == 0 ? 0 : (ticks * rate + timescale / 2) / timescale;
}

class Finder {
 public:
  Finder(File& file, const Opening& opening, const MovieMap& map, const std::function<void()>& poll)
      : file_(file), opening_(opening), map_(map), poll_(poll) {}

  std::vector<Loss> find() {
    tracks();
    headers();
    if (canStart()) {
      if (opening_.taken.audio) audio(*opening_.taken.audio);
      if (opening_.taken.video) video(*opening_.taken.video);
    }
    edits();
    fragments();
    userData();
    chapterTracks();
    items();
    order();
    return std::move(losses_);
  }

 private:
  void add(const char* code, uint64_t count, std::string text) {
    losses_.push_back({code, std::nullopt, count, std::move(text)});
  }
  void add(const char* code, const TrackMap& track, uint64_t count, std::string text) {
    losses_.push_back({code, track.number, count, std::move(text)});
  }

  bool isTaken(uint32_t track) const {
    return track == opening_.taken.audio || track == opening_.taken.video;
  }

  void tracks() {
    for (const TrackMap& track : map_.tracks) {
      if (isTaken(track.number)) continue;
      const atomkit::CodecKind kind = opening_.movie.codecKind(track.number);
      std::string why = unplayableKind(track) + " is not played";
      if (opening_.taken.audio && kind == atomkit::CodecKind::mp4a &&
          *opening_.taken.audio < track.number) {
        why = fmt::format("audio comes from track {} alone", *opening_.taken.audio);
      } else if (opening_.taken.video && isVideo(kind) && *opening_.taken.video < track.number) {
        why = fmt::format("video comes from track {} alone", *opening_.taken.video);
      }
      add("track_not_taken", track, track.sampleCount,
          fmt::format("Track {} is not taken: {}; {} not delivered", track.number, why,
                      counted(track.sampleCount, "sample")));
    }
  }

  void headers() {
    if (map_.headerVersion != 0) {
      add("header_misread", 1,
          fmt::format("The movie header has version {}, and is read as version 0: the movie's "
                      "duration comes out as {} s",
                      map_.headerVersion, opening_.movie.duration() / 10'000'000));
    }
    for (const TrackMap& track : map_.tracks) {
      if (!isTaken(track.number)) continue;
      atomkit::TrackSummary summary;
      opening_.movie.summary(track.number, summary);
      if (summary.timescale == track.timescale && summary.duration() == track.duration) continue;
      add("header_misread", track, 1,
          fmt::format("The media header of track {} has version {}, and is read as version 0: "
                      "{} ticks/s in place of {}",
                      track.number, track.mediaHeaderVersion, summary.timescale, track.timescale));
    }
  }

  /// Where the whole file ends, in host units; all ones when that is not known.
  uint64_t rangeEnd() const {
    atomkit::TrackSummary main;
    opening_.movie.summary(opening_.taken.audio ? *opening_.taken.audio : *opening_.taken.video,
                           main);
    return main.duration() == UINT64_MAX ? UINT64_MAX : hostUnits(main.duration(), main.timescale);
  }

  /// Looks at a sample that is about to be read. @return false when it, and what follows, fails
  bool canBeRead(const char* kind, const TrackMap& track, const Sample& sample) {
    const uint64_t rest = track.sampleCount - sample.number;
    if (!sample.hasPlace) {
      add("misplaced", track, rest,
          fmt::format("From sample {} on {} comes from the last chunk, as there are no more: {} of "
                      "wrong bytes",
                      sample.number, kind, counted(rest, "packet")));
      return false;
    }
    std::string why;
    if (track.constantSize == 0 && !sample.hasSize) {
      why = track.compactSizes ? "the sizes are in 'stz2', which is not read" : "it has no size";
    } else if (sample.size == 0) {
      why = "it has a size of 0";
    } else if (sample.offset > file_.size() || file_.size() - sample.offset < sample.size) {
      why = fmt::format("it lies at {}, past the end of the file", sample.offset);
    } else {
      return true;
    }
    add("unreadable", track, rest,
        fmt::format("Reading {} fails at sample {}: {}; {} not delivered", kind, sample.number, why,
                    counted(rest, "sample")));
    return false;
  }

  /// The plug-in starts with a seek to 0, which needs a sample at that time in both tracks.
  bool canStart() {
    for (const auto& number : {opening_.taken.audio, opening_.taken.video}) {
      if (!number) continue;
      const TrackMap& track = map_.tracks.at(*number);
      try {
        opening_.movie.sampleAt(*number, 0);
      } catch (const atomkit::exception& error) {
        add("cannot_start", track, track.sampleCount,
            fmt::format("Playing can't start: in track {} no sample lasts for any time ({})",
                        *number, error.message()));
        return false;
      }
    }
    return true;
  }

  void audio(uint32_t number) {
    const TrackMap& track = map_.tracks.at(number);
    atomkit::TrackSummary summary;
    opening_.movie.summary(number, summary);
    const uint64_t end = rangeEnd();
    // The frames of a range without an end have no number that could be counted down.
    uint64_t framesLeft = end == UINT64_MAX ? 0 : (end * summary.sampleRate + 8388608) >> 24;
    const uint64_t most = mostSamplesFollowed(file_);
    SampleReader reader(file_, track);
    Sample sample;
    while (sample.number < most && reader.next(sample)) {
      if (sample.number % kPollInterval == 0) poll_();
      const uint64_t rest = track.sampleCount - sample.number;
      const uint64_t frames = framesIn(sample.duration, summary.sampleRate, summary.timescale);
      if (framesLeft == 0 || frames == 0) {
        add("late_samples", track, rest,
            fmt::format("Audio ends with sample {} of {}: {}; {} not delivered", sample.number,
                        track.sampleCount,
                        frames == 0 ? "it lasts for no frame"
                                    : "its header tells a shorter duration than its samples have",
                        counted(rest, "sample")));
        return;
      }
      if (!canBeRead("audio", track, sample)) return;
      framesLeft -= std::min(framesLeft, frames);
    }
  }

  void video(uint32_t number) {
    const TrackMap& track = map_.tracks.at(number);
    atomkit::TrackSummary summary;
    opening_.movie.summary(number, summary);
    const uint64_t end = rangeEnd();
    const uint32_t start = opening_.movie.nearestSyncSample(
        number, opening_.movie.sampleAt(number, 0).sample, atomkit::Direction::backward);
    if (start != 0) {
      add("start_skipped", track, start,
          fmt::format("Video starts at sample {}, the sync sample that a seek to the start finds; "
                      "{} not delivered",
                      start, counted(start, "sample")));
    }
    uint64_t negative = 0;
    bool ended = false;
    const uint64_t most = mostSamplesFollowed(file_);
    SampleReader reader(file_, track);
    Sample sample;
    while (sample.number < most && reader.next(sample)) {
      if (sample.number % kPollInterval == 0) poll_();
      if (sample.compositionOffset < 0) ++negative;
      if (ended || sample.number < start) continue;
      // The library adds the offset without its sign.
      const uint64_t shown = sample.decodeTime + static_cast<uint32_t>(sample.compositionOffset);
      if (hostUnits(shown, summary.timescale) >= end) {
        ended = true;
        const uint64_t rest = track.sampleCount - sample.number;
        add("late_samples", track, rest,
            fmt::format("Video ends before sample {} of {}, which is shown {}; {} not delivered",
                        sample.number, track.sampleCount,
                        sample.compositionOffset < 0
                            ? "too late because its composition offset is negative"
                            : "at or after the end",
                        counted(rest, "sample")));
      } else if (!canBeRead("video", track, sample)) {
        ended = true;
      }
    }
    if (negative != 0) {
      add("negative_offsets", track, negative,
          fmt::format(
              "{} of video {} a negative composition offset, which is taken as one of about "
              "2^32 ticks",
              counted(negative, "sample"), negative == 1 ? "has" : "have"));
    }
    const SampleEntry* const entry = track.entries.empty() ? nullptr : &track.entries.back();
    if (entry && entry->nalLengthSize != 0 && entry->nalLengthSize != 4) {
      add("nal_length_size", track, entry->nalLengthSize,
          fmt::format("The lengths of H.264 units have {}, which the interface can't tell; hosts "
                      "take them to have 4",
                      counted(entry->nalLengthSize, "byte")));
    }
  }

  void edits() {
    for (const TrackMap& track : map_.tracks) {
      if (!isTaken(track.number) || track.edits.empty()) continue;
      const bool plain = track.edits.size() == 1 && track.edits[0].mediaTime == 0;
      if (plain) continue;
      uint64_t delay = 0;
      size_t first = 0;
      while (first < track.edits.size() && track.edits[first].mediaTime == -1) {
        delay += track.edits[first++].duration;
      }
      std::string what;
      if (delay != 0) what += fmt::format(" a delay of {} s,", tickSeconds(delay, map_.timescale));
      if (first < track.edits.size() && track.edits[first].mediaTime > 0) {
        what += fmt::format(
            " a start {} s into the media,",
            tickSeconds(static_cast<uint64_t>(track.edits[first].mediaTime), track.timescale));
      }
      const size_t pieces = track.edits.size() - first;
      if (pieces > 1) what += fmt::format(" {} pieces,", pieces);
      if (what.empty()) continue;
      what.pop_back();
      add("edit_list", track, track.edits.size(),
          fmt::format("The edit list of track {} ({}) is not applied:{}", track.number,
                      track.number == opening_.taken.audio ? "audio" : "video", what));
    }
  }

  void fragments() {
    if (map_.fragments == 0) return;
    add("fragments", map_.fragments,
        fmt::format("What is in {} is not seen", counted(map_.fragments, "movie fragment")));
  }

  // What the movie's user data loses.

  struct UserData final : public BoxVisitor {
    explicit UserData(Finder& owner) : finder(owner) {}
    Go enter(const Box& box) override { return finder.userDataBox(box, *this); }

    Finder& finder;
    uint32_t taggingBoxes = 0;
    uint32_t itemLists = 0;
    uint64_t items = 0;
    uint64_t pictures = 0;
    uint64_t furtherValues = 0;
    std::map<std::string, uint64_t> dropped;
    std::vector<std::string> titles;
    bool taggingBroken = false;
    bool itemsBroken = false;
  };

  void userData() {
    UserData found(*this);
    walkBoxes(file_, found);
    const bool tagging = found.taggingBoxes == 1 && !found.taggingBroken;
    if (found.taggingBoxes > 1) {
      add("tags_dropped", found.taggingBoxes,
          fmt::format("There are {} tagging boxes, of which each discards the one before",
                      found.taggingBoxes));
    }
    if (tagging && found.items != 0) {
      add("tags_hidden", found.items,
          fmt::format("{} of the item list {} hidden by the tagging box",
                      counted(found.items, "item"), found.items == 1 ? "is" : "are"));
    } else if (!found.dropped.empty() && !found.itemsBroken) {
      uint64_t count = 0;
      std::string names;
      for (const auto& [name, times] : found.dropped) {
        count += times;
        names += (names.empty() ? "" : ", ") + name;
        if (times > 1) names += fmt::format(" x{}", times);
      }
      add("tags_unknown", count,
          fmt::format("{} of the item list {} no tag: {}", counted(count, "item"),
                      count == 1 ? "makes" : "make", names));
    }
    if (found.furtherValues != 0 && !tagging && !found.itemsBroken) {
      add("values_replaced", found.furtherValues,
          fmt::format("{} of items {} replaced by the one after it",
                      counted(found.furtherValues, "value"),
                      found.furtherValues == 1 ? "is" : "are"));
    }
    if (found.pictures != 0) {
      add("covers", found.pictures,
          fmt::format("{}: the interface hands none out",
                      counted(found.pictures, "cover picture")));
    }
    chapterTitles(found.titles);
  }

  Go userDataBox(const Box& box, UserData& found) {
    switch (box.depth) {
      case 0:
        return box.type == fourCC("moov") && box.index == 0 ? Go::into : Go::past;
      case 1:
        return box.type == fourCC("udta") ? Go::into : Go::past;
      case 2:
        return inUserData(box, found);
      default:
        break;
    }
    if (box.type == fourCC("ilst") && box.isIn(fourCC("meta"))) return Go::into;
    if (box.isIn(fourCC("ilst"))) item(box, found);
    if (box.type == fourCC("covr") && box.isIn(fourCC("tags")) && box.payloadSize() > 0) {
      ++found.pictures;
    }
    return Go::past;
  }

  Go inUserData(const Box& box, UserData& found) {
    switch (box.type) {
      case fourCC("chpl"):
        found.titles = chapterList(box);
        return Go::past;
      case fourCC("tags"):
        ++found.taggingBoxes;
        found.taggingBroken = reportBroken(box, "tagging box", [](auto& reader, uint64_t size) {
          atomkit::TaggingBox target;
          readTaggingContents(atomkit::kWantTextTags, target, reader, size);
        });
        return Go::into;
      case fourCC("meta"):
        if (found.itemLists++ != 0 && !found.itemsBroken) {
          add("tags_dropped", 1, "A second 'meta' box is not read");
          return Go::past;
        }
        found.itemsBroken = reportBroken(box, "item list", [](auto& reader, uint64_t size) {
          atomkit::ItemListTags target;
          readMetadataContents(atomkit::kWantTextTags, target, reader, size);
        });
        return Go::into;
      default:
        return Go::past;
    }
  }

  /// Whether the library gives up inside a box of tags, and with it what the box holds.
  template <class Read>
  bool reportBroken(const Box& box, const char* what, const Read& read) {
    CountingSource source(file_, box.payload());
    atomkit::HostStreamAdapter stream(source, file_.size() - box.payload());
    atomkit::AtomReader reader(stream, box.payloadSize());
    try {
      read(reader, box.payloadSize());
      return false;
    } catch (const atomkit::exception& error) {
      const BoxChain chain = boxAt(file_, source.position() - 1);
      add("tags_dropped", 1,
          fmt::format("The tags of the {} are dropped: {}, after byte {}, in {}", what,
                      error.message(), source.position(),
                      chain.deepest() ? pathText(*chain.deepest()) : "no box"));
      return true;
    }
  }

  /// Asks the library what it makes of one item.
  void item(const Box& box, UserData& found) {
    ++found.items;
    uint64_t values = 0;
    std::string name;
    struct Parts final : public BoxVisitor {
      Parts(File& searched, uint64_t& count, std::string& text)
          : file(searched), valueCount(count), nameText(text) {}
      Go enter(const Box& part) override {
        if (part.type == fourCC("data") && part.payloadSize() > 8) {
          ++valueCount;
          Payload in(file, part.payload() + 8, part.end);
          startsWithZero = in.u8() == 0;
        }
        if (part.type == fourCC("name")) {
          Payload in(file, part.payload(), part.end);
          in.skip(4);
          nameText = in.bytes(std::min<uint64_t>(in.left(), 64));
        }
        return Go::past;
      }
      File& file;
      uint64_t& valueCount;
      std::string& nameText;
      bool startsWithZero = false;  // the last value, which is the one that counts
    } parts(file_, values, name);
    walkBoxesIn(file_, box, parts);
    if (box.type == fourCC("covr")) {
      found.pictures += values;
      return;
    }
    if (values > 1) found.furtherValues += values - 1;
    CountingSource source(file_, box.payload());
    atomkit::HostStreamAdapter stream(source, file_.size() - box.payload());
    atomkit::AtomReader reader(stream, box.payloadSize());
    atomkit::TagStore tags;
    try {
      readTagItem(tags, box.type, reader, box.payloadSize());
    } catch (const atomkit::exception&) {
      return;  // told for the whole list
    }
    if (tags.entryCount() != 0) return;
    // A text that is empty, or a flag that is not set, says nothing that could be lost.
    const bool isNumber = box.type == fourCC("trkn") || box.type == fourCC("disk") ||
                          box.type == fourCC("gnre") || box.type == fourCC("tmpo");
    if (!isNumber && values == 0) return;
    if (!isNumber && parts.startsWithZero && atomkit::tagNameOf(box.type)) return;
    const std::string shown = typeText(box.type);
    constexpr size_t kMostNames = 64;
    const std::string key = name.empty() ? shown : shown + ":" + cli::printable(name);
    if (found.dropped.size() < kMostNames || found.dropped.contains(key)) {
      ++found.dropped[key];
    } else {
      ++found.dropped["others"];
    }
  }

  std::vector<std::string> chapterList(const Box& box) {
    Payload in(file_, box.payload(), box.end);
    const uint8_t version = in.u8();
    in.skip(4);
    const uint32_t count = in.u32();
    std::vector<std::string> titles;
    if (version > 1 || count > atomkit::kMaxChapters) return titles;
    for (uint32_t i = 0; i < count && !in.isShort(); ++i) {
      in.word(version);
      std::string title = in.bytes(in.u8());
      title.resize(std::min(title.find('\0'), title.size()));
      titles.push_back(std::move(title));
    }
    return titles;
  }

  void chapterTitles(const std::vector<std::string>& titles) {
    const atomkit::Movie& movie = opening_.movie;
    uint64_t hidden = 0;
    std::string by;
    for (uint32_t i = 0; i < std::min<size_t>(titles.size(), movie.chapterCount()); ++i) {
      const atomkit::TagStore& tags = movie.chapter(i).tags;
      const uint32_t entry = tags.find("title");
      if (titles[i].empty() || entry == atomkit::TagStore::kNoTag) continue;
      const std::string told = tags.valueCount(entry) == 0 ? "" : tags.value(entry, 0).text();
      if (told == titles[i]) continue;
      ++hidden;
      by = told;
    }
    if (hidden == 0) return;
    add("chapter_titles_hidden", hidden,
        fmt::format("{} of {} {} hidden by the title of the tags, \"{}\"", hidden,
                    counted(titles.size(), "chapter title"), hidden == 1 ? "is" : "are",
                    cli::printable(by)));
  }

  void chapterTracks() {
    for (const TrackMap& track : map_.tracks) {
      if (!isTaken(track.number)) continue;
      for (const uint32_t id : track.chapterTracks) {
        const auto chapters = std::find_if(map_.tracks.begin(), map_.tracks.end(),
                                           [id](const TrackMap& other) { return other.id == id; });
        if (chapters == map_.tracks.end()) continue;
        add("chapter_track", chapters->sampleCount,
            fmt::format("Track {} names chapters for track {}, and is not read; {}",
                        chapters->number, track.number, counted(chapters->sampleCount, "chapter")));
      }
      return;  // the other track names the same
    }
  }

  void items() {
    const atomkit::Movie& movie = opening_.movie;
    if (opening_.taken.video) return;
    uint64_t empty = 0;
    for (uint32_t i = 0; i < movie.chapterCount(); ++i) {
      if (movie.chapterEnd(i) <= movie.chapterStart(i)) ++empty;
    }
    if (empty == 0) return;
    add("empty_items", empty,
        fmt::format("{} can't be played: {} not end after {} start", counted(empty, "chapter"),
                    empty == 1 ? "it does" : "they do", empty == 1 ? "its" : "their"));
  }

  void order() {
    if (!map_.mediaData.empty() && map_.mediaData.front().offset < map_.movieOffset) {
      add("not_from_a_pipe", 1,
          "The media data comes before the movie box: a source that can't seek is refused");
    }
  }

  File& file_;
  const Opening& opening_;
  const MovieMap& map_;
  const std::function<void()>& poll_;
  std::vector<Loss> losses_;
};

}  // namespace

std::vector<Loss> findLosses(File& file, const Opening& opening, const MovieMap& map,
                             const std::function<void()>& poll) {
  return Finder(file, opening, map, poll).find();
}

}  // namespace inspect
