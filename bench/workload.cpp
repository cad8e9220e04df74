#include "bench/workload.h"

#include <malloc.h>

#include <limits>
#include <random>

namespace bench {

void keepFreedMemory() {
  mallopt(M_MMAP_THRESHOLD, std::numeric_limits<int>::max());
  mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
  mallopt(M_TOP_PAD, 64 << 20);
}

std::vector<uint64_t> seekTargets(uint64_t duration) {
  std::mt19937_64 random(1);
  std::vector<uint64_t> targets(kSeekTargets);
  // The last second is left out: there a file's streams may end at different places.
  const uint64_t span = duration > 2 * vela::kHostUnitsPerSecond
                            ? duration - vela::kHostUnitsPerSecond
                            : duration / 2;
  for (uint64_t& target : targets) target = random() % span;
  return targets;
}

Workload::Workload(const Plugin& plugin, const std::string& file)
    : stream_(file), layout_(layoutOf(file)), player_(plugin.newModule(), stream_) {
  reopen();
  memory_host::Info info;
  player_.describe(0, info);
  targets_ = seekTargets(info.duration);
}

void Workload::reopen() {
  player_.close();
  player_.open();
  player_.start();
}

OpenFloor Workload::openFloor() {
  std::vector<HostCall> calls;
  player_.close();
  stream_.record(&calls);
  player_.open();
  stream_.record(nullptr);
  player_.start();
  return OpenFloor(calls, layout_);
}

uint32_t Workload::play(vela::AudioPacket& audio, vela::VideoPacket& video, uint32_t limit) {
  player_.seek(0);
  uint32_t packets = 0;
  while (packets < limit) {
    const uint32_t which = player_.nextStream();
    if (which == vela::kNextNone || !player_.read(which, audio, video)) break;
    ++packets;
  }
  return packets;
}

void Workload::seek(uint64_t offset, vela::AudioPacket& audio, vela::VideoPacket& video) {
  if (player_.hasVideo()) {
    player_.seekWithKeyFrame(offset, video);
  } else {
    player_.seek(offset);
    player_.read(vela::kNextAudio, audio, video);
  }
}

PacketFloor Workload::packetFloor() {
  reopen();
  PacketRecorder recorder(stream_);
  for (int pass = 0; pass < 2; ++pass) {
    recorder.beginEntry();
    play(recorder.audio(), recorder.video());
  }
  return recorder.finish(1);
}

PacketFloor Workload::seekFloor() {
  reopen();
  PacketRecorder recorder(stream_);
  for (int pass = 0; pass < 2; ++pass) {
    for (const uint64_t target : targets_) {
      recorder.beginEntry();
      seek(target, recorder.audio(), recorder.video());
    }
  }
  return recorder.finish(targets_.size());
}

}  // namespace bench
