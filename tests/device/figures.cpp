// Prints what the plug-in costs on the device, each figure beside its bound, and fails when one is
// past it. Instructions are those of the plug-in: work inside the system library does not count.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "tests/device/device.h"
#include "tests/support/memory_host.h"
#include "tests/support/movie_builder.h"

namespace device {
namespace {

using boxes::Bytes;

constexpr uint64_t kSecond = vela::kHostUnitsPerSecond;

// Three hours of AAC at 8 kHz, mono, in one chunk.
constexpr uint32_t kLongSamples = 84'376;
constexpr uint32_t kLongSampleBytes = 40;
constexpr uint32_t kCoverBytes = 330'000;
constexpr uint32_t kRuns = 350;

Bytes fileOf(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

// An audio file with the given time table; all samples lie in one chunk.
Bytes longAudio(const Bytes& stts) {
  using namespace boxes;
  const auto movieAt = [&](uint64_t media) {
    TrackBoxes track = aacTrack({.samples = 1, .timescale = 8000}).boxes;
    track.duration = uint64_t{kLongSamples} * 1024;
    track.stts = stts;
    track.stsz = boxes::stsz(std::vector<uint32_t>(kLongSamples, kLongSampleBytes));
    track.stsc = stsc({{1, kLongSamples}});
    track.stco = stco({media});
    return moov({.tracks = {trak(track)}});
  };
  const uint64_t media = ftyp().size() + movieAt(0).size() + 8;
  return join(ftyp(), movieAt(media), box("mdat", zeros(kLongSamples * kLongSampleBytes)));
}

Bytes coverFile() {
  using namespace boxes;
  return movieFile(
             {.tracks = {aacTrack({})},
              .udta = metaWith(box("covr", box("data", full(0, 13), u32(0), zeros(kCoverBytes))))})
      .bytes;
}

// An open splitter over a file, and the means to use it.
class Player {
 public:
  Player(Device& device, Bytes file) : file_(std::move(file)), module_(device.newModule()) {
    module_->attachHost(&context_);
    memory_host::FactorySink sink;
    module_->enumerate(&sink);
    void* out = nullptr;
    opened = sink.factory()->createSplitterEx(&out, u"movie.mp4", nullptr);
    splitter_ = static_cast<vela::IMediaSplitterEx*>(out);
  }
  ~Player() {
    if (splitter_) splitter_->release();
    module_->deletingDestructor(1);
  }

  bool start() {
    return splitter_->startItem(0, &audioFormat_, &videoFormat_, nullptr) ==
           vela::TIOResult::success;
  }
  // Plays up to `count` packets.
  void play(int count) {
    for (; count > 0; --count) {
      uint32_t which = 0;
      splitter_->nextStream(&which);
      uint8_t end = 0;
      uint64_t time = 0;
      if (which == vela::kNextAudio) splitter_->readAudioPacket(&audio_, &end, nullptr);
      if (which == vela::kNextVideo) splitter_->readVideoPacket(&video_, &end, &time, nullptr);
      if (which == vela::kNextNone || end) return;
    }
  }
  void seek(uint64_t offset) { splitter_->seekTo(vela::toWord64(offset), nullptr); }
  void readAudio() {
    uint8_t end = 0;
    splitter_->readAudioPacket(&audio_, &end, nullptr);
  }

  vela::TIOResult opened;

 private:
  Bytes file_;
  memory_host::Stream stream_{file_.data(), file_.size()};
  memory_host::Provider provider_{stream_};
  memory_host::Context context_{provider_};
  memory_host::AudioFormat audioFormat_;
  memory_host::VideoFormat videoFormat_;
  memory_host::AudioPacket audio_;
  memory_host::VideoPacket video_;
  vela::ISplitterModule* module_;
  vela::IMediaSplitterEx* splitter_ = nullptr;
};

int g_past = 0;

void figure(const char* name, uint64_t value, uint64_t bound) {
  const bool holds = value <= bound;
  std::printf("%-62s %10llu  %10llu%s\n", name, static_cast<unsigned long long>(value),
              static_cast<unsigned long long>(bound), holds ? "" : "  PAST ITS BOUND");
  g_past += holds ? 0 : 1;
}

uint64_t average(Device& device, const char* operation) {
  const auto& counts = device.objects().operations();
  const auto found = counts.find(operation);
  return found == counts.end() ? 0 : found->second.instructions / found->second.calls;
}

uint64_t most(Device& device, const char* operation) {
  const auto& counts = device.objects().operations();
  const auto found = counts.find(operation);
  return found == counts.end() ? 0 : found->second.mostInstructions;
}

int run(const std::string& sample) {
  const Options options = optionsFromEnvironment();
  std::printf("%-62s %10s  %10s\n", "figure", "value", "bound");
  figure("DLL, bytes", std::filesystem::file_size(options.dll), 81'920);
  uint32_t stack = 0;
  {
    Device device(options);
    {
      Player player(device, fileOf(sample));
      figure("open of the sample (H.264 and AAC, tags, chapters), instructions",
             average(device, "createSplitterEx"), 61'000);
      player.start();
      player.play(1'000'000);
      figure("  audio packet with payload, in order", average(device, "readAudioPacket"), 375);
      figure("  video packet with payload, in order", average(device, "readVideoPacket"), 330);
      figure("  nextStream with both streams", average(device, "nextStream"), 405);
      for (uint64_t i = 0; i < 60; ++i) player.seek(i * kSecond / 20);
      figure("  seekTo", average(device, "seekTo"), 560);
    }
    figure("  heap peak, bytes", device.machine().heap().peakBytes(), 74'500);
    stack = std::max(stack, device.machine().mostStackBytes());
  }
  {
    Device device(options);
    {
      Player player(device, longAudio(boxes::stts({{kLongSamples, 1024}})));
      figure("open of three hours of AAC (84,376 sizes)", average(device, "createSplitterEx"),
             700'000);
      player.start();
      const std::string name = "readAudioPacket";
      for (const uint64_t seconds : {10'000u, 5'000u, 10'700u}) {
        player.seek(seconds * kSecond);
        player.readAudio();
      }
      figure("  first read after a seek, all samples in one chunk", most(device, name.c_str()),
             1'950);
    }
    figure("  heap peak, bytes", device.machine().heap().peakBytes(), 570'000);
    stack = std::max(stack, device.machine().mostStackBytes());
  }
  {
    std::vector<std::pair<uint32_t, uint32_t>> runs;
    for (uint32_t i = 0; i < kRuns; ++i) runs.push_back({kLongSamples / kRuns, 1024 + i % 2});
    Device device(options);
    Player player(device, longAudio(boxes::stts(runs)));
    player.start();
    for (uint64_t i = 0; i < 100; ++i) player.seek(i * 105 * kSecond);
    figure("seekTo with 350 runs in the time table", average(device, "seekTo"), 770);
  }
  {
    Device device(options);
    { Player player(device, coverFile()); }
    figure("heap peak of a file that is nearly all cover, bytes",
           device.machine().heap().peakBytes(), 72'000);
    stack = std::max(stack, device.machine().mostStackBytes());
  }
  {
    Device device(options);
    { Player player(device, boxes::box("moov", boxes::raw({0, 0, 0, 1}))); }
    figure("a failed open, with the exception that it throws", average(device, "createSplitterEx"),
           11'800);
  }
  figure("stack, bytes", stack, 1'700);
  std::printf(
      "unaligned accesses, bad heap accesses and blocks left: 0, else this would not print\n");
  return g_past == 0 ? 0 : 1;
}

}  // namespace
}  // namespace device

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s SAMPLE\n", argv[0]);
    return 2;
  }
  return device::run(argv[1]);
}
