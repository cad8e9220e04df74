#include "fuzz/targets/checked_player.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "atomkit/meta/tags/replay_gain.h"
#include "hal/text/text_codec.h"
#include "hal/text/vstring.h"

namespace fuzz {
namespace {

constexpr size_t kMostTold = 20000;  // things of all descriptions of one input
constexpr int kPacketsAtOnce = 80;
constexpr uint32_t kItemsStarted = 16;
// Calls of the host that one operation may make.
constexpr uint64_t kCallsOnce = 64;
constexpr uint64_t kCallsPerByte = 8;

bool same(const vela::Guid& left, const vela::Guid& right) {
  return std::memcmp(left.bytes, right.bytes, sizeof left.bytes) == 0;
}

const vela::Guid& idOf(plain::Media media) {
  switch (media) {
    case plain::Media::aac:
      return vela::kMediaAac;
    case plain::Media::mp3:
      return vela::kMediaMp3;
    case plain::Media::mpeg4:
      return vela::kMediaMpeg4Visual;
    case plain::Media::avc:
      break;
  }
  return vela::kMediaH264;
}

const char* nameOf(plain::Media media) {
  switch (media) {
    case plain::Media::aac:
      return "AAC";
    case plain::Media::mp3:
      return "MP3";
    case plain::Media::mpeg4:
      return "MPEG-4 ASP";
    case plain::Media::avc:
      break;
  }
  return "MPEG-4 AVC";
}

void setName(char (&field)[32], std::string_view name) { name.copy(field, sizeof field - 1); }

/// The text as the host sees it.
std::u16string hostText(const std::string& bytes) {
  VBufferString text;
  VTextCodec::GFromUtf8(bytes.data(), static_cast<uint32_t>(bytes.size()), text, 0);
  return text.GetBuffer();
}

int32_t pixels(uint32_t size) { return size == 0 ? -1 : static_cast<int32_t>(size); }

bool isPlain(const plain::PlainTrack* track) {
  if (!track) return true;
  const auto hasSamples = [](const plain::Run& run) { return run.samples != 0; };
  if (!std::all_of(track->times.begin(), track->times.end(), hasSamples)) return false;
  if (!std::all_of(track->offsets.begin(), track->offsets.end(), hasSamples)) return false;
  for (size_t i = 0; i < track->map.size(); ++i) {
    const uint32_t before = i == 0 ? 0 : track->map[i - 1].firstChunk;
    if (track->map[i].firstChunk <= before || track->map[i].firstChunk > 1u << 24 ||
        track->map[i].samplesPerChunk == 0 || track->map[i].samplesPerChunk > 256) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool isDocumented(const HostRun& run, vela::TIOResult code) {
  switch (code) {
    case TIOResult::success:
    case TIOResult::outOfRange:
    case TIOResult::sourceNotFound:
    case TIOResult::failed:
      return true;
    case TIOResult::cancelled:
      if (run.saidCancelled) return true;
      break;
    case TIOResult::outOfMemory:
      break;
  }
  return run.codes.count(static_cast<uint32_t>(code)) != 0;
}

void requireHandedOn(const HostRun& run, vela::TIOResult code) {
  REQUIRE(isDocumented(run, code));
  if (run.firstFailure && run.saidCancelled) {
    REQUIRE(code == *run.firstFailure || code == TIOResult::cancelled);
  } else if (run.firstFailure) {
    REQUIRE(code == *run.firstFailure);
  } else if (run.saidCancelled) {
    REQUIRE(code == TIOResult::cancelled);
  }
}

CheckedPlayer::CheckedPlayer(TestHost& host, vela::IMediaSplitter& splitter,
                             vela::IMediaSplitterEx* playing, plain::PlainSession* model)
    : host_(&host),
      splitter_(&splitter),
      playing_(playing),
      model_(model),
      audioPacket_(host),
      videoPacket_(host) {}

template <class Operation>
vela::TIOResult CheckedPlayer::call(Operation&& operation) {
  host_->run.firstFailure.reset();
  host_->run.saidCancelled = false;
  faultsBefore_ = host_->run.faults;
  callsBefore_ = host_->run.calls;
  calling_ = true;
  const vela::TIOResult code = operation();
  calling_ = false;
  REQUIRE(isDocumented(host_->run, code));
  // Whatever the host says: it delivers no more bytes than the file has or than it grew by.
  REQUIRE(host_->run.calls - callsBefore_ <= kCallsOnce + kCallsPerByte * host_->mostBytes());
  return code;
}

void CheckedPlayer::callFromInside() {
  if (!calling_) return;
  REQUIRE(splitter_->addRef() >= 2);
  REQUIRE(splitter_->release() >= 1);
  void* other = nullptr;
  REQUIRE(splitter_->queryInterface(&vela::kMediaSplitterId, &other) == 1 && other);
  static_cast<vela::IObject*>(other)->release();
  const uint32_t items = splitter_->getItemCount();
  REQUIRE(items >= 1 && items <= 1024);
  (void)splitter_->getItemId(items - 1);
  REQUIRE(splitter_->passThroughTwo(2, 3) == 21);
  TestInfo info(host_->run);
  REQUIRE(splitter_->describeItem(0, &info, nullptr) == TIOResult::failed && info.told.empty());
  if (!playing_) return;
  REQUIRE(playing_->passThroughOne(3) == 21);
  TestAudioFormat format(host_->run);
  REQUIRE(playing_->startItem(0, &format, nullptr, nullptr) == TIOResult::failed);
  REQUIRE(format.sets == 0 && format.cleared == 0);
  uint8_t end = 77;
  uint64_t time = 77;
  uint32_t which = 77;
  TestAudioPacket audio(*host_);
  TestVideoPacket video(*host_);
  REQUIRE(playing_->readAudioPacket(&audio, &end, nullptr) == TIOResult::failed);
  REQUIRE(playing_->readVideoPacket(&video, &end, &time, nullptr) == TIOResult::failed);
  REQUIRE(playing_->nextStream(&which) == TIOResult::failed);
  REQUIRE(playing_->seekTo({0, 0}, nullptr) == TIOResult::failed);
  REQUIRE(playing_->seekWithKeyFrame(&video, {0, 0}, nullptr) == TIOResult::failed);
  REQUIRE(end == 77 && time == 77 && which == 77 && audio.payloads == 0 && video.payloads == 0);
}

void CheckedPlayer::run(Choices& choices) {
  const uint32_t items = splitter_->getItemCount();
  REQUIRE(items >= 1 && items <= 1024);
  if (comparing()) REQUIRE(items == model_->itemCount());
  describeItems(choices);
  if (!playing_) return;
  std::vector<Played> none;
  REQUIRE(readAudio(none) == Outcome::failure && readVideo(none) == Outcome::failure);
  REQUIRE(!next());
  for (int round = 0; round < 3; ++round) {
    const uint32_t wanted = round == 0 ? 3 : 1 + choices.below(3);
    const uint32_t item = round == 0 ? 0 : choices.below(uint64_t{splitter_->getItemCount()} + 2);
    if (start(item, wanted & 1, wanted & 2)) playItem(choices);
  }
  for (uint32_t item = 1; item <= std::min(items, kItemsStarted); ++item) {
    if (!start(item, true, true)) continue;
    play(4);
    if (seek(0)) play(2);
  }
}

// ---- descriptions

void CheckedPlayer::describeItems(Choices& choices) {
  const uint32_t items = splitter_->getItemCount();
  // All of a thousand items only now and then: that takes long.
  const uint32_t described = items <= 40 || choices.below(8) == 0 ? items : 3;
  for (uint32_t i = 0; i < described && toldSoFar_ < kMostTold; ++i) {
    const uint32_t id = splitter_->getItemId(i);
    if (comparing()) REQUIRE(id == model_->itemId(i));
    describe(id);
  }
  describe(0);
  describe(items);
  describe(items + 1);
  describe(choices.below(items));
}

void CheckedPlayer::describe(uint32_t itemId) {
  TestInfo info(host_->run);
  const vela::TIOResult code =
      call([&] { return splitter_->describeItem(itemId, &info, host_->tokenOrNull); });
  toldSoFar_ += info.told.size();
  // One question for the length at most; where it fails only the bit rate is missing.
  REQUIRE(host_->run.calls - callsBefore_ <= 2 + info.told.size());
  if (!comparing()) return;
  const bool selected = model_->select(itemId);
  REQUIRE((code == TIOResult::success) == selected);
  if (!selected) {
    REQUIRE(info.told.empty());
    return;
  }
  const bool lengthKnown = host_->run.script().lengthKnown && !host_->run.firstFailure;
  checkRecord(info.record, lengthKnown ? host_->length : vela::kUnknown64);
  if (info.told.size() > kMostTold) return;
  REQUIRE(info.told == expectedDescription(itemId));
}

std::vector<Told> CheckedPlayer::expectedDescription(uint32_t) {
  using What = Told::What;
  std::vector<Told> all;
  all.push_back({What::duration, model_->rangeEnd() - model_->rangeStart()});
  all.push_back({What::record});
  const plain::PlainFile& file = model_->file();
  if (!model_->chapter()) {
    all.push_back({What::chapterCount, file.chapters.size()});
    char16_t index = 0;
    for (const plain::Chapter& chapter : file.chapters) {
      std::string title;
      for (const plain::Tag& tag : chapter.tags) {
        if (!plain::sameName(tag.name, "title")) continue;
        if (!tag.values.empty()) title = tag.values[0];
        break;
      }
      all.push_back({What::chapter, plain::PlainSession::toUnits(chapter.start, 10'000'000),
                     hostText(title), std::u16string(1, index++)});
    }
    all.push_back({What::flags, 0});
    return all;
  }
  all.push_back({What::flags, 0});
  uint32_t flags = 0;
  for (const plain::Tag& tag : file.chapters[*model_->chapter()].tags) {
    const std::u16string name = hostText(tag.name);
    const auto gain = atomkit::ReplayGainText(name.c_str()).field();
    for (const std::string& value : tag.values) {
      const std::u16string text = hostText(value);
      if (!gain) {
        all.push_back({What::tag, 0, name, text});
        continue;
      }
      flags |= atomkit::presenceFlag(*gain);
      const auto number = static_cast<int>(*gain);
      const int32_t given =
          atomkit::ReplayGainText(text.c_str())
              .number(number < 2 ? atomkit::kGainUnitsPerDecibel : atomkit::kPeakUnitsPerFullScale);
      all.push_back({What::flags, flags});
      all.push_back({static_cast<What>(static_cast<int>(What::trackGain) + number),
                     static_cast<uint64_t>(int64_t{given})});
    }
  }
  return all;
}

void CheckedPlayer::checkRecord(const vela::ItemDescription& record, uint64_t streamLength) {
  vela::ItemDescription expected = {};
  if (streamLength != vela::kUnknown64 && model_->duration() != 0) {
    expected.bitRate =
        static_cast<uint32_t>(streamLength * (8 * plain::kUnitsPerSecond) / model_->duration());
  }
  if (const plain::PlainTrack* audio = model_->audio()) {
    expected.sampleRate = audio->rate;
    expected.channels = audio->channels;
    setName(expected.audioFormatName, nameOf(model_->audioMedia()));
  }
  if (const plain::PlainTrack* video = model_->video()) {
    expected.width = static_cast<uint32_t>(pixels(video->width));
    expected.height = static_cast<uint32_t>(pixels(video->height));
    setName(expected.videoFormatName, nameOf(model_->videoMedia()));
  }
  REQUIRE(std::memcmp(&record, &expected, sizeof record) == 0);
}

// ---- playing

bool CheckedPlayer::start(uint32_t itemId, bool wantsAudio, bool wantsVideo) {
  TestAudioFormat audio(host_->run);
  TestVideoFormat video(host_->run);
  const vela::TIOResult code = call([&] {
    return playing_->startItem(itemId, wantsAudio ? &audio : nullptr, wantsVideo ? &video : nullptr,
                               host_->tokenOrNull);
  });
  REQUIRE(audio.sets + audio.cleared <= 1 && video.sets + video.cleared <= 1);
  framesPlayed_ = 0;
  if (!comparing()) return code == TIOResult::success;
  REQUIRE((code == TIOResult::success) == model_->start(itemId, wantsAudio, wantsVideo));
  if (code != TIOResult::success) return false;
  REQUIRE(audio.sets == (wantsAudio && model_->audio() ? 1 : 0));
  REQUIRE(audio.cleared == (wantsAudio && !model_->audio() ? 1 : 0));
  REQUIRE(video.sets == (wantsVideo && model_->video() ? 1 : 0));
  REQUIRE(video.cleared == (wantsVideo && !model_->video() ? 1 : 0));
  if (audio.sets) {
    REQUIRE(same(audio.media, idOf(model_->audioMedia())));
    REQUIRE(audio.bytes == model_->audio()->config);
  }
  if (video.sets) {
    REQUIRE(same(video.media, idOf(model_->videoMedia())));
    REQUIRE(video.bytes == model_->video()->config);
    REQUIRE(video.width == pixels(model_->video()->width));
    REQUIRE(video.height == pixels(model_->video()->height));
  }
  return true;
}

void CheckedPlayer::playItem(Choices& choices) {
  const uint64_t faults = host_->run.faults;
  const std::vector<Played> first = play(kPacketsAtOnce);
  if (seek(0)) {
    const std::vector<Played> again = play(kPacketsAtOnce);
    if (host_->run.faults == faults && repeatsExactly()) REQUIRE(again == first);
  }
  for (int i = 0; i < 6; ++i) {
    const uint64_t offset = seekOffset(choices);
    const bool sought = choices.below(3) ? seek(offset) : seekWithKeyFrame(offset);
    if (sought) play(24);
    // A description in the middle moves the item that is selected.
    if (choices.below(8) == 0) describe(choices.below(splitter_->getItemCount() + 1));
  }
}

bool CheckedPlayer::repeatsExactly() const {
  return comparing() && host_->run.script().seekable && isPlain(model_->audio()) &&
         isPlain(model_->video());
}

/// Inside the item most of the time: at a place scaled to it, at a sample's time, at its ends.
uint64_t CheckedPlayer::seekOffset(Choices& choices) {
  if (!model_) return uint64_t{choices.below(1u << 30)} << choices.below(10);
  const uint64_t length = model_->rangeEnd() - model_->rangeStart();
  const plain::PlainTrack* track = choices.below(2) ? model_->audio() : model_->video();
  switch (choices.below(8)) {
    case 0:
      return length - choices.below(3);
    case 1:
      return 0 - uint64_t{choices.below(1u << 26)};
    case 2:
      return choices.below(100);
    case 3:
    case 4:
    case 5: {  // the start of a sample, or just beside it
      if (!track || track->times.empty()) break;
      const plain::Run& run = track->times[choices.below(track->times.size())];
      const uint64_t ticks = uint64_t{run.value} * choices.below(uint64_t{run.samples} + 1);
      return plain::PlainSession::toUnits(ticks, track->timescale) - model_->rangeStart() +
             choices.below(3) - 1;
    }
    default:
      break;
  }
  return length / 65536 * choices.below(65536) + choices.below(1u << 16);
}

bool CheckedPlayer::seek(uint64_t offset) {
  const vela::TIOResult code =
      call([&] { return playing_->seekTo(vela::toWord64(offset), host_->tokenOrNull); });
  REQUIRE(host_->run.calls == callsBefore_);
  framesPlayed_ = 0;
  if (comparing()) REQUIRE((code == TIOResult::success) == model_->seek(offset));
  return code == TIOResult::success;
}

bool CheckedPlayer::seekWithKeyFrame(uint64_t offset) {
  using What = plain::Expected::What;
  plain::Expected expected;
  bool sought = true;
  if (model_) {
    sought = model_->seek(offset);
    if (sought) expected = model_->expectVideo();
  }
  videoPacket_.filled = true;
  videoPacket_.place = {comparing() && expected.what == What::packet, expected.offset,
                        expected.size};
  const vela::TIOResult code = call([&] {
    return playing_->seekWithKeyFrame(&videoPacket_, vela::toWord64(offset), host_->tokenOrNull);
  });
  framesPlayed_ = 0;
  if (!comparing()) return code == TIOResult::success;
  if (!sought) {
    REQUIRE(code == TIOResult::failed);
    return false;
  }
  if (model_->videoStarted() && expected.what == What::packet && videoPacket_.filled) {
    model_->videoTaken();
    REQUIRE(same(videoPacket_.media, idOf(model_->videoMedia())));
  } else {
    REQUIRE(!videoPacket_.filled);
    REQUIRE(expected.what != What::packet || host_->run.firstFailure || host_->run.saidCancelled ||
            expected.size > host_->length || expected.offset > host_->length - expected.size);
  }
  REQUIRE((code == TIOResult::success) == model_->seek(offset));
  return code == TIOResult::success;
}

std::optional<vela::NextStream> CheckedPlayer::next() {
  uint32_t which = 99;
  const vela::TIOResult code = call([&] { return playing_->nextStream(&which); });
  REQUIRE(host_->run.calls == callsBefore_);
  REQUIRE((code == TIOResult::success) == (which != 99) && (which <= 2 || which == 99));
  if (comparing()) {
    const std::optional<plain::Next> expected = model_->next();
    REQUIRE((code == TIOResult::success) == expected.has_value());
    REQUIRE(!expected || which == static_cast<uint32_t>(*expected));
  }
  if (code != TIOResult::success) return std::nullopt;
  return static_cast<vela::NextStream>(which);
}

std::vector<CheckedPlayer::Played> CheckedPlayer::play(int packets) {
  std::vector<Played> played;
  bool audioEnded = false;
  bool videoEnded = false;
  while (packets-- > 0 && !(audioEnded && videoEnded)) {
    const auto which = next();
    if (!which) break;
    bool audio = *which == vela::kNextAudio;
    // A stream at its end may go on being named: then it is the other one's turn.
    if (*which == vela::kNextNone || (audio ? audioEnded : videoEnded)) audio = !audioEnded;
    const Outcome outcome = audio ? readAudio(played) : readVideo(played);
    if (outcome == Outcome::failure) {
      // A stream that is not started fails for good, another one perhaps only once.
      if (!disturbed()) (audio ? audioEnded : videoEnded) = true;
      if (disturbed() && packets % 4 == 0) break;
    } else if (outcome == Outcome::end) {
      (audio ? audioEnded : videoEnded) = true;
      // An end stays an end.
      REQUIRE((audio ? readAudio(played) : readVideo(played)) == Outcome::end);
    }
  }
  return played;
}

CheckedPlayer::Outcome CheckedPlayer::readAudio(std::vector<Played>& played) {
  using What = plain::Expected::What;
  const plain::Expected expected = model_ ? model_->expectAudio() : plain::Expected{};
  audioPacket_.place = {comparing() && expected.what == What::packet, expected.offset,
                        expected.size};
  audioPacket_.payloads = 0;
  uint8_t end = 9;
  const vela::TIOResult code =
      call([&] { return playing_->readAudioPacket(&audioPacket_, &end, host_->tokenOrNull); });
  REQUIRE(end <= 1 && audioPacket_.payloads <= 1);
  requireHandedOn(host_->run, code);
  if (code != TIOResult::success) {
    REQUIRE(end == 0);
    if (!comparing()) return Outcome::failure;
    // Without a fault of the host: where the rules refuse, or the payload is not in the file.
    REQUIRE(expected.what == What::refusal ||
            (expected.what == What::packet &&
             (host_->run.firstFailure || host_->run.saidCancelled ||
              expected.size > host_->length || expected.offset > host_->length - expected.size)));
    return Outcome::failure;
  }
  if (!comparing()) return end ? Outcome::end : Outcome::packet;
  REQUIRE(expected.what == (end ? What::end : What::packet));
  if (end) {
    REQUIRE(host_->run.calls == callsBefore_);
    return Outcome::end;
  }
  REQUIRE(same(audioPacket_.media, idOf(model_->audioMedia())));
  REQUIRE(audioPacket_.rate == model_->audio()->rate);
  REQUIRE(audioPacket_.frames == expected.framesLeft);
  REQUIRE(audioPacket_.startOffset == expected.startOffset);
  model_->audioTaken();
  framesPlayed_ += audioPacket_.frames;
  REQUIRE(framesPlayed_ <= model_->framesInRange());
  REQUIRE(host_->run.calls - callsBefore_ <=
          16 + 8 * std::min<uint64_t>(expected.size, host_->length));
  played.push_back({true, expected.size, audioPacket_.frames, audioPacket_.startOffset, 0});
  return Outcome::packet;
}

CheckedPlayer::Outcome CheckedPlayer::readVideo(std::vector<Played>& played) {
  using What = plain::Expected::What;
  const plain::Expected expected = model_ ? model_->expectVideo() : plain::Expected{};
  videoPacket_.place = {comparing() && expected.what == What::packet, expected.offset,
                        expected.size};
  videoPacket_.payloads = 0;
  uint8_t end = 9;
  uint64_t time = 0x7777;
  const vela::TIOResult code = call(
      [&] { return playing_->readVideoPacket(&videoPacket_, &end, &time, host_->tokenOrNull); });
  REQUIRE(end <= 1 && videoPacket_.payloads <= 1);
  requireHandedOn(host_->run, code);
  if (code != TIOResult::success) {
    REQUIRE(end == 0 && time == 0x7777);
    if (!comparing()) return Outcome::failure;
    REQUIRE(expected.what == What::refusal ||
            (expected.what == What::packet &&
             (host_->run.firstFailure || host_->run.saidCancelled ||
              expected.size > host_->length || expected.offset > host_->length - expected.size)));
    return Outcome::failure;
  }
  if (!comparing()) return end ? Outcome::end : Outcome::packet;
  REQUIRE(expected.what == (end ? What::end : What::packet));
  if (end) {
    REQUIRE(host_->run.calls == callsBefore_ && time == 0x7777);
    return Outcome::end;
  }
  REQUIRE(same(videoPacket_.media, idOf(model_->videoMedia())));
  REQUIRE(videoPacket_.width == pixels(model_->video()->width));
  REQUIRE(videoPacket_.height == pixels(model_->video()->height));
  REQUIRE(time == expected.time);
  model_->videoTaken();
  played.push_back({false, expected.size, 0, 0, time});
  return Outcome::packet;
}

}  // namespace fuzz
