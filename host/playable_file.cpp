#include "host/playable_file.h"

#include <algorithm>
#include <array>
#include <optional>

#include "cli/text.h"
#include "host/elementary_writer.h"
#include "host/failure.h"
#include "host/media_info.h"
#include "host/mp4_writer.h"
#include "host/text.h"

namespace velahost {
namespace {

/// What the first reading of a range finds.
struct Measured {
  uint32_t sampleRate = 0;
  uint32_t primingPackets = 0;  ///< before the first frame that is played
  uint32_t firstOffset = 0;     ///< frames to drop of the first packet that is played
  uint32_t packetFrames = 0;    ///< of a whole packet
  uint64_t frames = 0;          ///< to play
  std::vector<int64_t> shown;   ///< ticks at which the pictures are shown, in decoding order
};

/// How many frames a whole packet decodes to. The interface tells it of packets that are played
/// whole: all but the first and the last.
class PacketFrames {
 public:
  /// @param packet  played, with `kept` frames of it in the range
  void count(const AudioPacketRecord& packet, uint32_t kept) {
    ++played_;
    last_ = packet.startOffset + kept;
    longest_ = std::max(longest_, last_);
    sampleRate_ = packet.sampleRate;
  }

  uint32_t last() const { return last_; }

  /// @return what the medium usually has, where no packet shows it
  uint32_t whole(const AudioFormatRecord& format) const {
    if (played_ > 2) return longest_;
    constexpr uint32_t kHighestHalfRate = 24000;  // MP3 has half packets up to there
    const bool mp3 = sameGuid(format.mediaId, vela::kMediaMp3);
    const uint32_t usual = !mp3 ? 1024 : sampleRate_ <= kHighestHalfRate ? 576 : 1152;
    return std::max(usual, longest_);
  }

 private:
  uint64_t played_ = 0;
  uint32_t last_ = 0;
  uint32_t longest_ = 0;
  uint32_t sampleRate_ = 0;
};

Measured measure(RangeReader& reader, Playback& playback) {
  playback.audio.payload.keeping = playback.video.payload.keeping = Payload::Keeping::nothing;
  Measured found;
  PacketFrames packetFrames;
  reader.begin();
  for (StreamKind kind = reader.next(); kind != StreamKind::none; kind = reader.next()) {
    if (kind == StreamKind::video) {
      found.shown.push_back(ticksOf(playback.videoTime - reader.origin(), kVideoTicks));
      continue;
    }
    found.sampleRate = playback.audio.sampleRate;
    if (playback.audio.frames == 0) {
      if (found.frames == 0) ++found.primingPackets;
      continue;
    }
    if (found.frames == 0) found.firstOffset = playback.audio.startOffset;
    packetFrames.count(playback.audio, reader.frames());
    found.frames += reader.frames();
  }
  found.packetFrames = packetFrames.whole(playback.audioFormat);
  playback.audio.payload.keeping = playback.video.payload.keeping = Payload::Keeping::bytes;
  return found;
}

/// When pictures are decoded: in even steps as they are shown, moved so far to the front that none
/// is shown before it is decoded.
class PictureTimes {
 public:
  explicit PictureTimes(const Measured& measured, int64_t end) : shown_(measured.shown) {
    sorted_ = shown_;
    std::sort(sorted_.begin(), sorted_.end());
    for (size_t i = 0; i < shown_.size(); ++i) delay_ = std::max(delay_, sorted_[i] - shown_[i]);
    if (sorted_.empty()) return;
    const size_t count = sorted_.size();
    // A single picture tells nothing of how long it is shown.
    lastDuration_ = count > 1 ? sorted_[count - 1] - sorted_[count - 2] : int64_t{kVideoTicks / 25};
    lastDuration_ = std::max<int64_t>(1, std::min(lastDuration_, end - sorted_.back()));
  }

  bool atEnd() const { return next_ == shown_.size(); }
  void advance() {
    last_ = decoded();
    ++next_;
  }
  /// Rises also where pictures share a time.
  int64_t decoded() const { return std::max(sorted_[next_] - delay_, last_ + 1); }
  int64_t shown() const { return std::max(shown_[next_], decoded()); }
  int64_t duration() const {
    const auto later = std::upper_bound(sorted_.begin(), sorted_.end(), shown_[next_]);
    return later == sorted_.end() ? lastDuration_ : *later - shown_[next_];
  }

 private:
  const std::vector<int64_t>& shown_;
  std::vector<int64_t> sorted_;
  int64_t delay_ = 0;
  int64_t lastDuration_ = 1;
  int64_t last_ = INT64_MIN / 2;
  size_t next_ = 0;
};

Failure changedMeanwhile() {
  return Failure(Place::reading, vela::TIOResult::failed,
                 "The file changed while it was read (result 5).");
}

void requireSomething(const WrittenFile& written) {
  if (written.audio.frames == 0 && written.video.packets == 0) {
    throw Failure(ExitStatus::notRepresentable,
                  "There is nothing to play in that part of the file.");
  }
}

class Mp4Copy {
 public:
  Mp4Copy(Playback& playback, RangeReader& reader, const Measured& measured, uint32_t channels,
          const FileTags& tags, int64_t end, cli::OutputFile& file)
      : playback_(playback), reader_(reader), measured_(measured), pictures_(measured, end) {
    Mp4Settings settings;
    if (measured.frames > 0) {
      settings.audio = {playback.audioFormat, measured.sampleRate, channels, measured.packetFrames};
    }
    if (!measured.shown.empty()) settings.video = {playback.videoFormat};
    settings.tags = tags.tags;
    writer_.emplace(file, settings);
    time_ = -static_cast<int64_t>(uint64_t{measured.primingPackets} * measured.packetFrames +
                                  measured.firstOffset);
    written_.audio.framesBefore = static_cast<uint64_t>(-time_);
  }

  void copyAudio() {
    if (measured_.frames == 0) return;  // packets that prime the decoder for nothing
    const uint32_t dropped = playback_.audio.startOffset;
    const bool primes = playback_.audio.frames == 0;
    const uint32_t frames = primes ? measured_.packetFrames : dropped + reader_.frames();
    writer_->writeAudio(playback_.audio.payload.bytes, time_, frames);
    time_ += frames;
    if (!primes) {
      written_.audio.frames += reader_.frames();
      written_.audio.framesAfter =
          measured_.packetFrames - std::min(measured_.packetFrames, frames);
    }
    count(written_.audio, playback_.audio.payload);
  }

  void copyVideo() {
    if (pictures_.atEnd()) throw changedMeanwhile();
    writer_->writeVideo(playback_.video.payload.bytes, pictures_.shown(), pictures_.decoded(),
                        pictures_.duration());
    pictures_.advance();
    count(written_.video, playback_.video.payload);
  }

  WrittenFile finish() {
    if (!pictures_.atEnd() || written_.audio.frames != measured_.frames) throw changedMeanwhile();
    writer_->finish();
    if (measured_.frames > 0) written_.audio.codec = mediaName(playback_.audioFormat.mediaId);
    if (!measured_.shown.empty()) written_.video.codec = mediaName(playback_.videoFormat.mediaId);
    written_.video.passedOver = reader_.picturesPassedOver();
    return written_;
  }

 private:
  static void count(WrittenStream& stream, const Payload& payload) {
    ++stream.packets;
    stream.bytes += payload.bytes.size();
  }

  Playback& playback_;
  RangeReader& reader_;
  const Measured& measured_;
  PictureTimes pictures_;
  std::optional<Mp4Writer> writer_;
  WrittenFile written_;
  int64_t time_ = 0;
};

WrittenFile writeMp4(Playback& playback, const Range& range, uint32_t channels,
                     const FileTags& tags, const Reached& reached, cli::OutputFile& file) {
  RangeReader reader(playback, range, Wanted::both);
  const Measured measured = measure(reader, playback);
  if (measured.frames == 0 && measured.shown.empty()) requireSomething({});
  const int64_t end = range.end == vela::kUnknown64
                          ? INT64_MAX / 2
                          : ticksOf(static_cast<int64_t>(range.end) - reader.origin(), kVideoTicks);
  Mp4Copy copy(playback, reader, measured, channels, tags, end, file);
  reader.begin();
  for (StreamKind kind = reader.next(); kind != StreamKind::none; kind = reader.next()) {
    const bool audio = kind == StreamKind::audio;
    reached((audio ? playback.audio.payload : playback.video.payload).fileOffset);
    audio ? copy.copyAudio() : copy.copyVideo();
  }
  WrittenFile written = copy.finish();
  written.origin = reader.origin();
  return written;
}

WrittenFile writeBare(Playback& playback, const Range& range, const Reached& reached,
                      cli::OutputFile& file) {
  RangeReader reader(playback, range, Wanted::audio);
  reader.begin();
  if (!playback.audioFormat.present) {
    throw Failure(ExitStatus::notRepresentable, "The file has no audio that can be extracted.");
  }
  ElementaryWriter writer(file, playback.audioFormat);
  WrittenFile written;
  WrittenStream& audio = written.audio;
  uint32_t primingPackets = 0;
  PacketFrames packetFrames;
  while (reader.next() == StreamKind::audio) {
    reached(playback.audio.payload.fileOffset);
    if (playback.audio.frames == 0) {
      ++primingPackets;
    } else {
      if (audio.frames == 0) audio.framesBefore = playback.audio.startOffset;
      packetFrames.count(playback.audio, reader.frames());
    }
    audio.frames += reader.frames();
    writer.write(playback.audio.payload.bytes);
  }
  requireSomething(written);
  audio.codec = mediaName(playback.audioFormat.mediaId);
  audio.packets = writer.packets();
  audio.bytes = writer.bytes();
  const uint32_t whole = packetFrames.whole(playback.audioFormat);
  audio.framesBefore += uint64_t{primingPackets} * whole;
  audio.framesAfter = whole - packetFrames.last();
  written.origin = reader.origin();
  return written;
}

struct TagName {
  const char* ours;
  const char* theirs;
};
constexpr std::array<TagName, 9> kTextTags = {{{"title", "title"},
                                               {"artist", "artist"},
                                               {"album", "album"},
                                               {"writer", "composer"},
                                               {"year", "date"},
                                               {"comment", "comment"},
                                               {"genre", "genre"},
                                               {"tool", "encoding_tool"},
                                               {"tempo", "tmpo"}}};

/// All values of a tag, one after the other; of numbers and years the first.
std::string valueOf(const MediaInfoRecord& info, const std::string& name) {
  std::string joined;
  for (const Tag& tag : info.tags) {
    if (cli::toUtf8(tag.name) != name) continue;
    const std::string value = cli::toUtf8(tag.value);
    if (value.empty()) continue;
    if (!joined.empty() && (name == "year" || name == "tempo")) break;
    joined += (joined.empty() ? "" : "; ") + value;
  }
  return joined;
}

/// "3/12", "3" or nothing.
std::string numberOfAll(const MediaInfoRecord& info, const char* number, const char* all) {
  const std::string first = valueOf(info, number);
  const std::string second = valueOf(info, all);
  return first.empty() || second.empty() ? first : first + "/" + second;
}

}  // namespace

FileTags fileTags(const MediaInfoRecord& info, const std::string& title) {
  FileTags made;
  std::vector<std::string> known = {"track", "totaltracks", "disc", "totaldiscs", "compilation"};
  const auto add = [&made](const char* name, const std::string& value) {
    if (!value.empty()) made.tags.emplace_back(name, value);
  };
  for (const TagName& tag : kTextTags) {
    const bool isTitle = tag.ours == std::string("title");
    known.emplace_back(tag.ours);
    add(tag.theirs, isTitle ? title : valueOf(info, tag.ours));
  }
  add("track", numberOfAll(info, "track", "totaltracks"));
  add("disc", numberOfAll(info, "disc", "totaldiscs"));
  // The file holds a byte, which is told as a text of that character.
  const std::string compilation = valueOf(info, "compilation");
  if (!compilation.empty()) add("compilation", compilation == std::string(1, '\0') ? "0" : "1");

  for (const Tag& tag : info.tags) {
    const std::string name = cli::toUtf8(tag.name);
    if (std::find(known.begin(), known.end(), name) != known.end()) continue;
    known.push_back(name);
    made.leftOut.push_back(name);
  }
  for (const ReplayGainValue& value : kReplayGainValues) {
    if (info.flags & value.flag) made.leftOut.emplace_back(value.label);
  }
  return made;
}

WrittenFile writePlayable(Playback& playback, const Range& range, Form form, uint32_t channels,
                          const FileTags& tags, const Reached& reached, cli::OutputFile& file) {
  return form == Form::mp4 ? writeMp4(playback, range, channels, tags, reached, file)
                           : writeBare(playback, range, reached, file);
}

}  // namespace velahost
