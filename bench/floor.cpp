#include "bench/floor.h"

#include <algorithm>
#include <stdexcept>

namespace bench {
namespace {

/// Answers a payload's reads from the pieces, one after the other.
class PieceReader final : public vela::HostStreamReader {
 public:
  PieceReader(const PayloadPiece* next, const BlockFill* nextFill, Blocks& blocks,
              FileStream& stream)
      : next_(next), nextFill_(nextFill), blocks_(blocks), stream_(stream) {}

  TIOResult read(void* buffer, uint32_t count, uint32_t* done, CancelToken*) override {
    auto* target = static_cast<uint8_t*>(buffer);
    *done = count;
    while (count > 0) {
      if (taken_ == 0 && next_->fills) fill(next_->block);
      const uint32_t amount = std::min<uint32_t>(count, next_->length - taken_);
      std::memcpy(target, blocks_.data[next_->block] + next_->offset + taken_, amount);
      target += amount;
      count -= amount;
      taken_ += amount;
      if (taken_ == next_->length) {
        ++next_;
        taken_ = 0;
      }
    }
    return TIOResult::success;
  }
  TIOResult skip(uint32_t, uint32_t*, CancelToken*) override { return TIOResult::failed; }

 private:
  void fill(uint32_t block) {
    if (nextFill_->seeks) {
      const vela::Word64 target = vela::toWord64(nextFill_->start);
      stream_.seek(target.low, target.high, nullptr);
    }
    uint32_t done = 0;
    static_cast<vela::HostStreamReader&>(stream_).read(blocks_.data[block], kBlockSize, &done,
                                                       nullptr);
    ++nextFill_;
  }

  const PayloadPiece* next_;
  const BlockFill* nextFill_;
  uint32_t taken_ = 0;  // bytes of *next_
  Blocks& blocks_;
  FileStream& stream_;
};

void copyTable(uint8_t* target, const uint8_t* source, size_t count, TableCopy copy) {
  if (copy == TableCopy::fast) {
    std::memcpy(target, source, count);
    return;
  }
  // A counter of instructions counts each turn of the string instruction.
  asm volatile("rep movsb" : "+D"(target), "+S"(source), "+c"(count) : : "memory");
}

}  // namespace

OpenFloor::OpenFloor(const std::vector<HostCall>& calls, const MediaLayout& layout) {
  std::vector<Range> left = layout.sampleTables;
  uint64_t copied = 0;
  for (const HostCall& call : calls) {
    steps_.push_back({call, static_cast<uint32_t>(copies_.size()), 0});
    if (call.kind != HostCall::Kind::read) continue;
    for (Range& range : left) {
      if (range.length == 0 || range.start < call.position) continue;
      const uint64_t end = std::min(range.start + range.length, call.position + call.count);
      if (end <= range.start) continue;
      const auto amount = static_cast<uint32_t>(end - range.start);
      copies_.push_back({copied, static_cast<uint32_t>(range.start - call.position), amount});
      copied += amount;
      range = {end, range.length - amount};
      ++steps_.back().copyCount;
    }
  }
  for (const Range& range : left) {
    if (range.length != 0) throw std::runtime_error("an open that did not read every table");
  }
  tables_.resize(copied);
}

void OpenFloor::replay(FileStream& stream, TableCopy copy) {
  vela::HostStreamControl& control = stream;
  vela::HostStreamReader& reader = stream;
  uint32_t reads = 0;
  for (const Step& step : steps_) {
    switch (step.call.kind) {
      case HostCall::Kind::seek: {
        const vela::Word64 target = vela::toWord64(step.call.position);
        control.seek(target.low, target.high, nullptr);
        break;
      }
      case HostCall::Kind::length: {
        uint64_t length = 0;
        control.getLength(&length, nullptr);
        break;
      }
      case HostCall::Kind::read: {
        uint32_t done = 0;
        uint8_t* const block = blocks_.data[reads++ % kBlockCount];
        reader.read(block, step.call.count, &done, nullptr);
        for (uint32_t i = 0; i < step.copyCount; ++i) {
          const Copy& part = copies_[step.firstCopy + i];
          copyTable(tables_.data() + part.target, block + part.offset, part.length, copy);
        }
        break;
      }
    }
  }
}

void BlockModel::take(uint64_t position, uint32_t size, PayloadPlan& plan,
                      std::vector<HostCall>& calls) {
  while (size > 0) {
    const auto holds = [&](const Block& block) {
      return block.start <= position && position - block.start < block.length;
    };
    Block* block = std::find_if(std::begin(blocks_), std::end(blocks_), holds);
    const bool fills = block == std::end(blocks_);
    if (fills) {
      const auto older = [](const Block& a, const Block& b) { return a.stamp < b.stamp; };
      block = std::min_element(std::begin(blocks_), std::end(blocks_), older);
      block->start = position & ~uint64_t{0x2000};
      const bool seeks = block->start != hostPosition_;
      plan.fills.push_back({block->start, seeks});
      if (seeks) calls.push_back({HostCall::Kind::seek, block->start, 0});
      calls.push_back({HostCall::Kind::read, block->start, kBlockSize});
      block->length =
          static_cast<uint32_t>(std::min<uint64_t>(kBlockSize, fileSize_ - block->start));
      hostPosition_ = block->start + block->length;
    }
    block->stamp = ++clock_;
    const auto offset = static_cast<uint32_t>(position - block->start);
    const uint32_t length = std::min(size, block->length - offset);
    plan.pieces.push_back({static_cast<uint16_t>(offset), static_cast<uint16_t>(length),
                           static_cast<uint8_t>(block - blocks_), fills});
    position += length;
    size -= length;
  }
}

void PacketFloor::replay(size_t entry, FileStream& stream, Packets& packets) {
  const Entry& taken = entries_[entry];
  PieceReader reader(plan_.pieces.data() + taken.firstPiece, plan_.fills.data() + taken.firstFill,
                     blocks_, stream);
  // Called as the plug-in calls them: through their tables.
  vela::AudioPacket& audio = packets.audio;
  vela::VideoPacket& video = packets.video;
  asm volatile("" : : "r"(&audio), "r"(&video) : "memory");
  for (size_t i = taken.firstPacket; i < taken.firstPacket + taken.packetCount; ++i) {
    if (plan_.isVideo[i]) {
      video.readPayload(&reader, plan_.sizes[i], nullptr);
    } else {
      audio.readPayload(&reader, plan_.sizes[i], nullptr);
    }
  }
}

PacketRecorder::PacketRecorder(FileStream& stream) : stream_(stream) {
  model_.endOfFile(stream.size());
  stream_.record(&made_);
}

void PacketRecorder::beginEntry() {
  const PayloadPlan& plan = floor_.plan_;
  floor_.entries_.push_back({plan.sizes.size(), 0, plan.pieces.size(), plan.fills.size()});
  callsBefore_.push_back({made_.size(), expected_.size()});
}

TIOResult PacketRecorder::take(vela::HostStreamReader* reader, uint32_t count, bool isVideo) {
  // The reader is a face of the plug-in's own stream, whose control face knows where it stands.
  uint64_t position = 0;
  static_cast<vela::HostStream*>(reader)->getPosition(&position, nullptr);
  model_.take(position, count, floor_.plan_, expected_);
  floor_.plan_.sizes.push_back(count);
  floor_.plan_.isVideo.push_back(isVideo);
  ++floor_.entries_.back().packetCount;
  return memory_host::drain(reader, count, nullptr);
}

PacketFloor PacketRecorder::finish(size_t entriesToSkip) {
  stream_.record(nullptr);
  const CallCounts skipped = callsBefore_.at(entriesToSkip);
  if (!std::equal(made_.begin() + static_cast<std::ptrdiff_t>(skipped.made), made_.end(),
                  expected_.begin() + static_cast<std::ptrdiff_t>(skipped.expected),
                  expected_.end())) {
    throw std::runtime_error("the plug-in's host calls are not those of the model");
  }
  floor_.entries_.erase(floor_.entries_.begin(),
                        floor_.entries_.begin() + static_cast<std::ptrdiff_t>(entriesToSkip));
  return std::move(floor_);
}

}  // namespace bench
