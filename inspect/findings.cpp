#include "inspect/findings.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "cli/text.h"
#include "inspect/box_fields.h"

namespace inspect {
namespace {

using cli::counted;

constexpr uint32_t kPollInterval = 65536;  // entries of a table

/// Where a chunk lies.
struct Extent {
  uint64_t offset;
  uint64_t size;
  uint32_t track;
  uint32_t firstSample;

  /// Stays at the top where the sum would wrap.
  uint64_t end() const { return offset + size < offset ? UINT64_MAX : offset + size; }
};

/// "is" or "are", after a count.
const char* be(uint64_t count) { return count == 1 ? "is" : "are"; }

double secondsOf(uint64_t ticks, uint32_t timescale) {
  return timescale == 0 ? 0 : static_cast<double>(ticks) / timescale;
}

class Checker {
 public:
  Checker(File& file, const MovieMap& map, const std::function<void()>& poll)
      : file_(file), map_(map), poll_(poll) {}

  std::vector<Finding> check() {
    for (const TrackMap& track : map_.tracks) {
      counts(track);
      times(track);
      syncs(track);
      chunkMap(track);
      chunks(track);
    }
    movieDuration();
    overlaps();
    holes();
    std::stable_sort(findings_.begin(), findings_.end(), [](const auto& left, const auto& right) {
      return left.severity > right.severity;
    });
    return std::move(findings_);
  }

 private:
  void add(Severity severity, const char* code, const TrackMap& track, uint64_t count,
           std::string text) {
    findings_.push_back({severity, code, track.number, count, std::move(text)});
  }
  void add(Severity severity, const char* code, uint64_t count, std::string text) {
    findings_.push_back({severity, code, std::nullopt, count, std::move(text)});
  }

  static uint64_t declaredSizes(const TrackMap& track) {
    return track.constantSize != 0 ? track.declaredSizes : track.sizes.declared;
  }

  /// Tables that are shorter than they say, or that disagree on the number of samples.
  void counts(const TrackMap& track) {
    const struct {
      const char* name;
      const TableSpan& span;
    } tables[] = {{"stts", track.times},    {"ctts", track.compositions}, {"stss", track.syncs},
                  {"stsc", track.chunkMap}, {"stco", track.chunks},       {"stsz", track.sizes}};
    for (const auto& table : tables) {
      if (&table.span == &track.sizes && track.constantSize != 0) continue;
      if (table.span.declared <= table.span.count) continue;
      add(Severity::error, "table_cut", track, table.span.declared - table.span.count,
          fmt::format("'{}' claims {} entries and has room for {}", table.name, table.span.declared,
                      table.span.count));
    }
    if (track.compactSizes) {
      add(Severity::warning, "compact_sizes", track, 1,
          "the sizes are in 'stz2', which few players read");
    } else if (track.sizes.present && track.sampleCount != declaredSizes(track)) {
      const uint64_t sizes = declaredSizes(track);
      const bool missing = sizes < track.sampleCount;
      add(missing ? Severity::error : Severity::warning, "counts_differ", track,
          missing ? track.sampleCount - sizes : sizes - track.sampleCount,
          fmt::format("{} by 'stts', but {} by 'stsz'", counted(track.sampleCount, "sample"),
                      sizes));
    }
  }

  void times(const TrackMap& track) {
    if (track.sampleCount > UINT32_MAX) {
      add(Severity::error, "wrap", track, track.sampleCount,
          fmt::format("the counts of 'stts' add up to {}, more than 32 bits hold",
                      track.sampleCount));
    }
    constexpr uint64_t kHundredNsPerSecond = 10'000'000;
    const uint64_t longest =
        std::max(track.tableDuration, track.duration == UINT64_MAX ? 0 : track.duration);
    if (track.timesWrap || longest > UINT64_MAX / 16'777'216) {
      add(Severity::error, "wrap", track, 1,
          "the durations add up to more than 64 bits hold, in ticks or in the units of a host");
    } else if (longest > UINT64_MAX / kHundredNsPerSecond) {
      add(Severity::error, "wrap", track, 1, "the duration in 100 ns wraps past 64 bits");
    }
    if (track.hasMediaHeader && track.timescale == 0) {
      add(Severity::error, "timescale", track, 1, "the media header has a timescale of 0");
    }
    mediaDuration(track);
    Table runs(file_, track.times);
    uint64_t still = 0;
    uint64_t number = 0;
    for (uint32_t run = 0; run < runs.count(); ++run) {
      if (run % kPollInterval == 0) poll_();
      number += runs.at(run, 0);
      // The last sample of a track has no duration in many files.
      if (runs.at(run, 1) == 0) {
        still += runs.at(run, 0) - (number == track.sampleCount && runs.at(run, 0) != 0 ? 1 : 0);
      }
    }
    if (still != 0) {
      add(Severity::warning, "no_duration", track, still,
          fmt::format("{} {} no duration", counted(still, "sample"), still == 1 ? "has" : "have"));
    }
    if (!track.compositions.present) return;
    uint64_t composed = 0;
    Table offsets(file_, track.compositions);
    for (uint32_t run = 0; run < offsets.count(); ++run) composed += offsets.at(run, 0);
    if (composed != track.sampleCount) {
      add(Severity::warning, "counts_differ", track,
          composed < track.sampleCount ? track.sampleCount - composed
                                       : composed - track.sampleCount,
          fmt::format("{} by 'stts', but {} by 'ctts'", counted(track.sampleCount, "sample"),
                      composed));
    }
  }

  void mediaDuration(const TrackMap& track) {
    if (!track.times.present || !track.hasMediaHeader || track.duration == UINT64_MAX) return;
    if (track.duration == track.tableDuration || track.timesWrap) return;
    const double difference = std::abs(secondsOf(track.duration, track.timescale) -
                                       secondsOf(track.tableDuration, track.timescale));
    add(difference > 0.5 ? Severity::warning : Severity::note, "durations_differ", track, 1,
        fmt::format("'mdhd' tells {} s, but 'stts' adds up to {} s",
                    tickSeconds(track.duration, track.timescale),
                    tickSeconds(track.tableDuration, track.timescale)));
  }

  void movieDuration() {
    if (map_.movieBoxes == 0) {
      add(Severity::error, "no_movie", 1, "there is no movie box");
      return;
    }
    if (!map_.hasHeader) {
      add(Severity::error, "no_movie_header", 1, "there is no movie header");
      return;
    }
    if (map_.timescale == 0) {
      add(Severity::error, "timescale", 1, "the movie header has a timescale of 0");
      return;
    }
    double longest = 0;
    bool known = false;
    for (const TrackMap& track : map_.tracks) {
      if (track.timescale == 0 || track.duration == UINT64_MAX) continue;
      // What an edit list leaves out does not count, and its delays do.
      double lasts = secondsOf(track.duration, track.timescale);
      if (!track.edits.empty()) {
        lasts = 0;
        for (const Edit& edit : track.edits) lasts += secondsOf(edit.duration, map_.timescale);
        if (lasts == 0) lasts = secondsOf(track.duration, track.timescale);
      }
      longest = std::max(longest, lasts);
      known = true;
    }
    const double difference = std::abs(secondsOf(map_.duration, map_.timescale) - longest);
    if (!known || difference <= 0.05 || map_.fragments != 0) return;
    add(difference > 0.5 ? Severity::warning : Severity::note, "durations_differ", 1,
        fmt::format("'mvhd' tells {} s, but the longest track lasts {:.3f} s",
                    tickSeconds(map_.duration, map_.timescale), longest));
  }

  void syncs(const TrackMap& track) {
    Table table(file_, track.syncs);
    uint64_t beyond = 0;
    uint64_t disordered = 0;
    uint64_t before = 0;
    for (uint32_t entry = 0; entry < table.count(); ++entry) {
      if (entry % kPollInterval == 0) poll_();
      const uint64_t number = table.at(entry);
      if (number > track.sampleCount) ++beyond;
      if (number <= before) ++disordered;
      before = number;
    }
    if (beyond != 0) {
      add(Severity::error, "sync_beyond", track, beyond,
          fmt::format("{} {} past the last sample, {}", counted(beyond, "sync sample"), be(beyond),
                      track.sampleCount));
    }
    if (disordered != 0) {
      add(Severity::error, "sync_order", track, disordered,
          fmt::format("{} {} 0, or not after the one before", counted(disordered, "sync sample"),
                      be(disordered)));
    }
  }

  void chunkMap(const TrackMap& track) {
    Table table(file_, track.chunkMap);
    uint64_t disordered = 0;
    uint64_t empty = 0;
    uint64_t undescribed = 0;
    for (uint32_t entry = 0; entry < table.count(); ++entry) {
      if (entry % kPollInterval == 0) poll_();
      const uint64_t before = entry == 0 ? 0 : table.at(entry - 1, 0);
      if (table.at(entry, 0) <= before || (entry == 0 && table.at(entry, 0) != 1)) ++disordered;
      if (table.at(entry, 1) == 0) ++empty;
      const uint64_t description = table.at(entry, 2);
      const bool few = track.entries.size() < kMostEntries;
      if (description == 0 || (few && description > track.entries.size())) ++undescribed;
    }
    if (disordered != 0) {
      add(Severity::error, "map_order", track, disordered,
          fmt::format("{} of 'stsc' {} not after the one before, or the first is not 1",
                      counted(disordered, "first chunk"), be(disordered)));
    }
    if (empty != 0) {
      add(Severity::error, "map_empty", track, empty,
          fmt::format("{} of 'stsc' {} chunks of no samples", counted(empty, "entry"),
                      empty == 1 ? "has" : "have"));
    }
    if (undescribed != 0) {
      add(Severity::warning, "no_description", track, undescribed,
          fmt::format("{} of 'stsc' {} a description that is not there",
                      counted(undescribed, "run"), undescribed == 1 ? "names" : "name"));
    }
  }

  /// Lays the samples of a track into its chunks.
  void chunks(const TrackMap& track) {
    if (track.sampleCount == 0 || !track.sizes.present) return;
    if (!track.chunks.present || track.chunks.count == 0) {
      add(Severity::error, "no_chunks", track, track.sampleCount,
          fmt::format("no chunk offsets for {}", counted(track.sampleCount, "sample")));
      return;
    }
    Table offsets(file_, track.chunks);
    Table map(file_, track.chunkMap);
    Table sizes(file_, track.sizes);
    uint32_t entry = 0;
    uint64_t sample = 0;
    uint64_t backward = 0;
    uint64_t used = 0;
    uint64_t zeroSized = 0;
    uint64_t before = 0;
    for (uint32_t chunk = 0; chunk < offsets.count(); ++chunk) {
      if (chunk % kPollInterval == 0) poll_();
      while (entry + 1 < map.count() && map.at(entry + 1, 0) <= uint64_t{chunk} + 1) ++entry;
      const uint64_t perChunk = map.empty() ? 0 : map.at(entry, 1);
      const uint64_t count = std::min(perChunk, track.sampleCount - sample);
      if (count == 0) continue;
      Extent extent{offsets.at(chunk), 0, track.number, static_cast<uint32_t>(sample)};
      if (track.constantSize != 0) {
        extent.size = count * track.constantSize;
      } else {
        const uint64_t end = std::min<uint64_t>(sample + count, sizes.count());
        for (uint64_t i = sample; i < end; ++i) {
          const uint32_t size = sizes.at32(static_cast<uint32_t>(i));
          extent.size += size;
          if (size == 0) ++zeroSized;
        }
      }
      sample += count;
      ++used;
      if (extent.offset < before) ++backward;
      before = extent.offset;
      extents_.push_back(extent);
    }
    if (sample < track.sampleCount) {
      const uint64_t rest = track.sampleCount - sample;
      add(Severity::error, "no_chunk", track, rest,
          fmt::format("{} {} in no chunk: there {}", counted(rest, "sample"), be(rest),
                      map.empty() ? "is no 'stsc'" : "are too few chunks"));
    }
    if (used < offsets.count()) {
      add(Severity::warning, "chunks_unused", track, offsets.count() - used,
          fmt::format("{} {} no samples", counted(offsets.count() - used, "chunk"),
                      offsets.count() - used == 1 ? "holds" : "hold"));
    }
    if (backward != 0) {
      add(Severity::warning, "chunk_order", track, backward,
          fmt::format("{} of {} {} before the one that is played before", backward,
                      counted(used, "chunk"), backward == 1 ? "lies" : "lie"));
    }
    if (zeroSized != 0) {
      add(Severity::warning, "no_size", track, zeroSized,
          fmt::format("{} {} a size of 0", counted(zeroSized, "sample"),
                      zeroSized == 1 ? "has" : "have"));
    }
  }

  /// The end of the media data that holds an offset; 0 when none does.
  uint64_t mediaEnd(uint64_t offset) const {
    const auto after = std::upper_bound(
        map_.mediaData.begin(), map_.mediaData.end(), offset,
        [](uint64_t value, const ByteRange& range) { return value < range.offset; });
    if (after == map_.mediaData.begin()) return 0;
    const ByteRange& range = *(after - 1);
    return offset < range.end ? range.end : 0;
  }

  struct Outside {
    uint64_t chunks = 0;
    uint64_t first = 0;  ///< its place
    uint32_t firstSample = 0;

    void count(const Extent& extent) {
      if (chunks++ == 0) {
        first = extent.offset;
        firstSample = extent.firstSample;
      }
    }
  };

  void overlaps() {
    std::vector<Outside> pastFile(map_.tracks.size());
    std::vector<Outside> pastMedia(map_.tracks.size());
    for (const Extent& extent : extents_) {
      if (extent.end() > file_.size()) {
        pastFile[extent.track].count(extent);
      } else if (extent.size != 0 && mediaEnd(extent.offset) < extent.end()) {
        pastMedia[extent.track].count(extent);
      }
    }
    for (const TrackMap& track : map_.tracks) {
      const Outside& file = pastFile[track.number];
      if (file.chunks != 0) {
        add(Severity::error, "outside_file", track, file.chunks,
            fmt::format("{} {} past the end of the file, the first with sample {} at {}",
                        counted(file.chunks, "chunk"), file.chunks == 1 ? "reaches" : "reach",
                        file.firstSample, file.first));
      }
      const Outside& media = pastMedia[track.number];
      if (media.chunks != 0) {
        add(Severity::error, "outside_media_data", track, media.chunks,
            fmt::format("{} {} outside of the media data, the first with sample {} at {}",
                        counted(media.chunks, "chunk"), media.chunks == 1 ? "lies" : "lie",
                        media.firstSample, media.first));
      }
    }

    std::sort(extents_.begin(), extents_.end(), [](const Extent& left, const Extent& right) {
      return left.offset != right.offset ? left.offset < right.offset : left.size > right.size;
    });
    uint64_t overlapping = 0;
    uint64_t shared = 0;
    const Extent* reaching = nullptr;  // the one that reaches farthest so far
    std::string first;
    for (const Extent& extent : extents_) {
      if (extent.size == 0) continue;
      if (reaching && extent.offset < reaching->end()) {
        const bool same = extent.offset == reaching->offset && extent.size == reaching->size &&
                          extent.track != reaching->track;
        if (same) {
          ++shared;
        } else if (overlapping++ == 0) {
          first = fmt::format("track {} from sample {} at {}, and track {} from sample {} at {}",
                              reaching->track, reaching->firstSample, reaching->offset,
                              extent.track, extent.firstSample, extent.offset);
        }
      }
      if (!reaching || extent.end() > reaching->end()) reaching = &extent;
    }
    if (overlapping != 0) {
      add(Severity::error, "overlap", overlapping,
          fmt::format("{} {} bytes with another, the first: {}", counted(overlapping, "chunk"),
                      overlapping == 1 ? "shares" : "share", first));
    }
    if (shared != 0) {
      add(Severity::note, "shared", shared,
          fmt::format("{} {} those of another track", counted(shared, "chunk"), be(shared)));
    }
  }

  /// Bytes of the media data that no sample uses. @pre the extents are sorted
  void holes() {
    if (map_.fragments != 0 || extents_.empty()) return;
    uint64_t count = 0;
    uint64_t bytes = 0;
    uint64_t largest = 0;
    uint64_t largestAt = 0;
    const auto note = [&](uint64_t from, uint64_t to) {
      if (to <= from) return;
      ++count;
      bytes += to - from;
      if (to - from <= largest) return;
      largest = to - from;
      largestAt = from;
    };
    auto extent = extents_.begin();
    for (const ByteRange& range : map_.mediaData) {
      uint64_t position = range.offset;
      for (; extent != extents_.end() && extent->offset < range.end; ++extent) {
        if (extent->offset >= range.offset) note(position, extent->offset);
        position = std::max(position, std::min(extent->end(), range.end));
      }
      note(position, range.end);
    }
    if (count == 0) return;
    add(Severity::note, "holes", count,
        fmt::format("{} of the media data {} used by no sample, {} in all, the largest of {} at {}",
                    counted(count, "piece"), be(count), counted(bytes, "byte"), largest,
                    largestAt));
  }

  File& file_;
  const MovieMap& map_;
  const std::function<void()>& poll_;
  std::vector<Finding> findings_;
  std::vector<Extent> extents_;
};

}  // namespace

const char* name(Severity severity) {
  switch (severity) {
    case Severity::note:
      return "note";
    case Severity::warning:
      return "warning";
    case Severity::error:
      break;
  }
  return "error";
}

std::vector<Finding> findFaults(File& file, const MovieMap& map,
                                const std::function<void()>& poll) {
  return Checker(file, map, poll).check();
}

}  // namespace inspect
