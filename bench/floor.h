// The floor: the host calls and the copies that a piece of work can't do without, and nothing else.
// It is made by watching the plug-in once, and then replayed without it.
#pragma once
#include <cstdint>
#include <cstring>
#include <vector>

#include "bench/file_host.h"
#include "bench/media_layout.h"
#include "bench/player.h"

namespace bench {

inline constexpr uint32_t kBlockSize = 16384;  // bytes
inline constexpr uint32_t kBlockCount = 4;

/// How the floor copies a table out of a block.
enum class TableCopy {
  fast,      ///< memcpy: for times
  bytewise,  ///< one counted instruction per byte on every processor: for instructions
};

/// Blocks as the plug-in keeps them.
struct Blocks {
  uint8_t data[kBlockCount][kBlockSize];
};

/// Host calls of an open, with the table bytes that are copied after each.
class OpenFloor {
 public:
  /// @param calls  of one open
  OpenFloor(const std::vector<HostCall>& calls, const MediaLayout& layout);

  void replay(FileStream& stream, TableCopy copy);

  /// The bytes of all tables, one after the other, as the last replay left them.
  const std::vector<uint8_t>& tables() const { return tables_; }

 private:
  struct Copy {
    uint64_t target;  // in tables_
    uint32_t offset;  // in the block
    uint32_t length;
  };
  struct Step {
    HostCall call;
    uint32_t firstCopy;
    uint32_t copyCount;
  };

  std::vector<Step> steps_;
  std::vector<Copy> copies_;
  std::vector<uint8_t> tables_;
  Blocks blocks_ = {};
};

/// A part of a payload that lies in one block. Small, since a long file has many.
struct PayloadPiece {
  uint16_t offset;  ///< in the block
  uint16_t length;  ///< at most kBlockSize
  uint8_t block;
  bool fills;  ///< the block is read first: the next BlockFill
};

struct BlockFill {
  uint64_t start;  ///< place in the file, bytes
  bool seeks;
};

/// Payloads in the order of their delivery, and the host calls that bring their blocks in.
struct PayloadPlan {
  std::vector<uint32_t> sizes;
  std::vector<bool> isVideo;
  std::vector<PayloadPiece> pieces;
  std::vector<BlockFill> fills;
};

/// Decides as the plug-in's read cache which block serves a byte, and what the host is asked for.
class BlockModel {
 public:
  /// The host calls that taking the payload causes are appended to `calls`.
  void take(uint64_t position, uint32_t size, PayloadPlan& plan, std::vector<HostCall>& calls);
  void endOfFile(uint64_t size) { fileSize_ = size; }

 private:
  struct Block {
    uint64_t start = 0;
    uint32_t length = 0;  // 0: not filled
    uint64_t stamp = 0;
  };

  Block blocks_[kBlockCount];
  uint64_t clock_ = 0;
  uint64_t hostPosition_ = vela::kUnknown64;
  uint64_t fileSize_ = 0;
};

/// Payloads in a fixed order, with their host calls and copies. An entry is the payloads of one
/// measured operation.
class PacketFloor {
 public:
  /// Lets the host's packets take the payloads of one entry.
  void replay(size_t entry, FileStream& stream, Packets& packets);
  size_t packetCount(size_t entry) const { return entries_[entry].packetCount; }

 private:
  friend class PacketRecorder;
  struct Entry {
    size_t firstPacket, packetCount;
    size_t firstPiece;
    size_t firstFill;
  };

  std::vector<Entry> entries_;
  PayloadPlan plan_;
  Blocks blocks_ = {};
};

/// Watches the payloads of packets that the plug-in delivers.
class PacketRecorder {
 public:
  explicit PacketRecorder(FileStream& stream);
  ~PacketRecorder() { stream_.record(nullptr); }
  PacketRecorder(const PacketRecorder&) = delete;
  PacketRecorder& operator=(const PacketRecorder&) = delete;

  /// What follows belongs to a new entry.
  void beginEntry();
  vela::AudioPacket& audio() { return audio_; }
  vela::VideoPacket& video() { return video_; }

  /// @param entriesToSkip  entries at the start that only replaced the blocks that the open left
  /// @throws std::runtime_error when the model's host calls for the other entries are not those
  /// that
  ///         were made
  PacketFloor finish(size_t entriesToSkip);

 private:
  /// Notes where the payload lies, and drains it.
  TIOResult take(vela::HostStreamReader* reader, uint32_t count, bool isVideo);

  class Audio final : public vela::AudioPacket {
   public:
    explicit Audio(PacketRecorder& recorder) : recorder_(recorder) {}
    void unusedSlot0() override {}
    void unusedSlot1() override {}
    uint32_t getFrameCount() override { return packet_.getFrameCount(); }
    uint32_t getStartOffset() override { return packet_.getStartOffset(); }
    void unusedSlot4() override {}
    void unusedSlot5() override {}
    void unusedSlot6() override {}
    void setMediaId(const vela::Guid*) override {}
    void setSampleRate(uint32_t) override {}
    void setFrameCount(uint32_t frames) override { packet_.setFrameCount(frames); }
    void setStartOffset(uint32_t frames) override { packet_.setStartOffset(frames); }
    void unusedSlot11() override {}
    void setFurtherValue(uint32_t) override {}
    TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count, CancelToken*) override {
      return recorder_.take(reader, count, false);
    }

   private:
    PacketRecorder& recorder_;
    memory_host::AudioPacket packet_;
  };
  class Video final : public vela::VideoPacket {
   public:
    explicit Video(PacketRecorder& recorder) : recorder_(recorder) {}
    void unusedSlot0() override {}
    void unusedSlot1() override {}
    void unusedSlot2() override {}
    void unusedSlot3() override {}
    void reset() override {}
    void setMediaId(const vela::Guid*) override {}
    void unusedSlot6() override {}
    TIOResult readPayload(vela::HostStreamReader* reader, uint32_t count, CancelToken*) override {
      return recorder_.take(reader, count, true);
    }
    void setPictureSize(int32_t, int32_t) override {}

   private:
    PacketRecorder& recorder_;
  };

  FileStream& stream_;
  Audio audio_{*this};
  Video video_{*this};
  BlockModel model_;
  PacketFloor floor_;
  std::vector<HostCall> made_;
  std::vector<HostCall> expected_;
  struct CallCounts {
    size_t made, expected;
  };
  std::vector<CallCounts> callsBefore_;  // each entry
};

}  // namespace bench
