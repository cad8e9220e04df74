// Writes media whose tables are known to the byte, for measurements that no encoder must change.
// Usage: write_media KIND OUTPUT
//   short-f1   2,000 pictures with composition offsets and their AAC, interleaved
//   short-f4   10,000 pictures of variable frame rate: an stts and a ctts entry for each
//   f4         the same with 120,000 pictures
//   tables N   an audio file whose sample tables take N bytes, with nothing in 'mdat'
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/movie_builder.h"

namespace {

using namespace boxes;

Bytes words(const std::vector<uint32_t>& values) {
  Bytes bytes;
  bytes.reserve(values.size() * 4);
  for (const uint32_t value : values) {
    for (int shift = 24; shift >= 0; shift -= 8) {
      bytes.push_back(static_cast<uint8_t>(value >> shift));
    }
  }
  return bytes;
}

Bytes runTable(const char* type, const std::vector<uint32_t>& countAndValue) {
  return box(type, full(0), u32(static_cast<uint32_t>(countAndValue.size() / 2)),
             words(countAndValue));
}
Bytes sizeTable(const std::vector<uint32_t>& sizes) {
  return box("stsz", full(0), u32(0), u32(static_cast<uint32_t>(sizes.size())), words(sizes));
}
Bytes chunkTable(const std::vector<uint32_t>& offsets) {
  return box("stco", full(0), u32(static_cast<uint32_t>(offsets.size())), words(offsets));
}

/// Samples of one track: their sizes, and how many of them a chunk has.
struct Samples {
  std::vector<uint32_t> sizes;
  uint32_t perChunk = 1;
};

/// A file whose 'mdat' has the chunks of the tracks in turn, filled with a pattern.
Bytes fileWith(std::vector<TrackBoxes> tracks, const std::vector<Samples>& samples,
               uint32_t movieDuration) {
  std::vector<std::vector<uint32_t>> chunks(samples.size());  // in 'mdat'
  std::vector<size_t> next(samples.size());
  uint32_t mediaSize = 0;
  for (bool more = true; more;) {
    more = false;
    for (size_t t = 0; t < samples.size(); ++t) {
      if (next[t] >= samples[t].sizes.size()) continue;
      more = true;
      chunks[t].push_back(mediaSize);
      for (uint32_t i = 0; i < samples[t].perChunk && next[t] < samples[t].sizes.size(); ++i) {
        mediaSize += samples[t].sizes[next[t]++];
      }
    }
  }
  const auto movieAt = [&](uint32_t mediaStart) {
    std::vector<Bytes> written;
    for (size_t t = 0; t < tracks.size(); ++t) {
      std::vector<uint32_t> offsets = chunks[t];
      for (uint32_t& offset : offsets) offset += mediaStart;
      tracks[t].stsz = sizeTable(samples[t].sizes);
      tracks[t].stsc = stsc({{1, samples[t].perChunk}});
      tracks[t].stco = chunkTable(offsets);
      written.push_back(trak(tracks[t]));
    }
    return moov({.mvhd = mvhd({.duration = movieDuration}), .tracks = written});
  };
  const size_t mediaStart = ftyp().size() + movieAt(0).size() + 8;
  Bytes media(mediaSize);
  for (size_t i = 0; i < media.size(); ++i) media[i] = static_cast<uint8_t>(i * 131);
  return join(ftyp(), movieAt(static_cast<uint32_t>(mediaStart)), box("mdat", media));
}

/// Decoding order I P b b P b b: the offsets that show the pictures in time, in steps of a picture.
uint32_t pictureOffset(uint32_t sample) {
  if (sample == 0) return 1;
  return sample % 3 == 1 ? 3 : 0;
}

TrackBoxes videoTrackOf(uint32_t pictures, uint32_t timescale, uint64_t duration) {
  TrackBoxes track;
  track.timescale = timescale;
  track.duration = duration;
  track.stsd = stsd(avc1({.width = 64, .height = 64}));
  std::vector<uint32_t> sync;
  for (uint32_t i = 0; i < pictures; i += 60) sync.push_back(i + 1);
  track.stss = box("stss", full(0), u32(static_cast<uint32_t>(sync.size())), words(sync));
  return track;
}

Bytes constantRate(uint32_t pictures) {
  constexpr uint32_t kTicks = 512;  // of 12,800: 25 pictures a second
  TrackBoxes video = videoTrackOf(pictures, 12800, uint64_t{pictures} * kTicks);
  video.stts = stts({{pictures, kTicks}});
  std::vector<uint32_t> offsets;
  Samples videoSamples, audioSamples;
  for (uint32_t i = 0; i < pictures; ++i) {
    const uint32_t offset = pictureOffset(i) * kTicks;
    if (!offsets.empty() && offsets.back() == offset) {
      ++offsets[offsets.size() - 2];
    } else {
      offsets.insert(offsets.end(), {1, offset});
    }
    videoSamples.sizes.push_back(i % 60 == 0 ? 1800 : 250 + i * 37 % 200);
  }
  video.ctts = runTable("ctts", offsets);

  const auto frames = static_cast<uint32_t>(uint64_t{pictures} * 44100 / (25 * 1024));
  TrackBoxes audio = aacTrack({.samples = 1, .timescale = 44100}).boxes;
  audio.duration = uint64_t{frames} * 1024;
  audio.stts = stts({{frames, 1024}});
  for (uint32_t i = 0; i < frames; ++i) audioSamples.sizes.push_back(150 + i * 29 % 60);
  audioSamples.perChunk = 2;
  return fileWith({video, audio}, {videoSamples, audioSamples}, pictures * 40);
}

Bytes variableRate(uint32_t pictures) {
  std::vector<uint32_t> deltas, offsets;
  Samples samples;
  samples.perChunk = 2000;
  uint64_t duration = 0;
  for (uint32_t i = 0; i < pictures; ++i) {
    const uint32_t delta = 1000 + i * 7919 % 997 * 2 + i % 2;
    deltas.insert(deltas.end(), {1, delta});
    offsets.insert(offsets.end(), {1, pictureOffset(i) * 2000 + i % 2});
    samples.sizes.push_back(i % 60 == 0 ? 1500 : 200 + i * 37 % 200);
    duration += delta;
  }
  TrackBoxes video = videoTrackOf(pictures, 60000, duration);
  video.stts = runTable("stts", deltas);
  video.ctts = runTable("ctts", offsets);
  return fileWith({video}, {samples}, static_cast<uint32_t>(duration / 60));
}

/// The time table, the composition offsets, the sizes and the chunk offsets get an entry for each
/// sample: 24 bytes.
Bytes tablesOf(uint32_t bytes) {
  const uint32_t count = bytes / 24;
  std::vector<uint32_t> deltas, offsets, chunks;
  Samples samples;
  for (uint32_t i = 0; i < count; ++i) {
    deltas.insert(deltas.end(), {1, 1024 + i % 2});
    offsets.insert(offsets.end(), {1, i % 3 * 512});
    samples.sizes.push_back(300 + i % 50);
    chunks.push_back(4096 + i * 350);
  }
  TrackBoxes audio = aacTrack({.samples = 1}).boxes;
  audio.duration = uint64_t{count} * 1024;
  audio.stts = runTable("stts", deltas);
  audio.ctts = runTable("ctts", offsets);
  audio.stsz = sizeTable(samples.sizes);
  audio.stsc = stsc({{1, 1}});
  audio.stco = chunkTable(chunks);
  return join(ftyp(), moov({.tracks = {trak(audio)}}), box("mdat", zeros(8)));
}

/// The file appears under its name when it is whole.
bool write(const Bytes& bytes, const std::string& output) {
  const std::string unfinished = output + ".part";
  std::FILE* const file = std::fopen(unfinished.c_str(), "wb");
  if (!file) {
    std::perror(unfinished.c_str());
    return false;
  }
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  if (std::fclose(file) != 0 || !written) {
    std::perror(unfinished.c_str());
    std::filesystem::remove(unfinished);
    return false;
  }
  std::filesystem::rename(unfinished, output);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string kind = argc > 1 ? argv[1] : "";
  if (kind == "tables" && argc == 4) {
    const auto bytes = static_cast<uint32_t>(std::strtoul(argv[2], nullptr, 10));
    return write(tablesOf(bytes), argv[3]) ? 0 : 1;
  }
  if (argc == 3) {
    const std::string output = argv[2];
    if (kind == "short-f1") return write(constantRate(2'000), output) ? 0 : 1;
    if (kind == "short-f4") return write(variableRate(10'000), output) ? 0 : 1;
    if (kind == "f4") return write(variableRate(120'000), output) ? 0 : 1;
  }
  std::fprintf(stderr, "usage: %s short-f1|short-f4|f4 OUTPUT, or %s tables BYTES OUTPUT\n",
               argv[0], argv[0]);
  return 2;
}
