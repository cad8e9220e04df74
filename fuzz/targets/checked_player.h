// CheckedPlayer: a host that drives a splitter and holds every answer against the plain model.
#pragma once
#include <cstdint>
#include <optional>
#include <vector>

#include "fuzz/host/packets.h"
#include "fuzz/host/test_host.h"
#include "fuzz/model/plain_session.h"

namespace fuzz {

/// Numbers that depend on the input only, so that a crash replays.
class Choices {
 public:
  explicit Choices(uint64_t seed) : state_(seed * 0x9e3779b97f4a7c15u + 1) {}
  uint32_t below(uint64_t limit) {
    state_ = state_ * 6364136223846793005u + 1442695040888963407u;
    return static_cast<uint32_t>((state_ >> 33) % limit);
  }

 private:
  uint64_t state_;
};

/// A host's fault may end any operation with the host's code; whatever is told without one must be
/// what the model says. Once the host has told or delivered something untrue, nothing is compared
/// any more, but everything still has to end well.
class CheckedPlayer {
 public:
  /// @param playing  null for a splitter that only describes
  /// @param model  null where the host was untrue as the file was opened
  CheckedPlayer(TestHost& host, vela::IMediaSplitter& splitter, vela::IMediaSplitterEx* playing,
                plain::PlainSession* model);

  /// Describes items, plays some of them and seeks in them.
  void run(Choices& choices);
  /// The splitter is called from inside one of its operations: all that return a code refuse.
  void callFromInside();

 private:
  struct Played {
    bool audio;
    uint32_t size;
    uint32_t frames;
    uint32_t startOffset;
    uint64_t time;
    bool operator==(const Played&) const = default;
  };

  void describeItems(Choices& choices);
  void describe(uint32_t itemId);
  std::vector<Told> expectedDescription(uint32_t itemId);
  void checkRecord(const vela::ItemDescription& record, uint64_t streamLength);

  bool start(uint32_t itemId, bool wantsAudio, bool wantsVideo);
  void playItem(Choices& choices);
  uint64_t seekOffset(Choices& choices);
  bool seek(uint64_t offset);
  bool seekWithKeyFrame(uint64_t offset);
  /// @return what was played, until the end or a failure
  std::vector<Played> play(int packets);
  enum class Outcome { packet, end, failure };
  Outcome readAudio(std::vector<Played>& played);
  Outcome readVideo(std::vector<Played>& played);
  std::optional<vela::NextStream> next();
  bool repeatsExactly() const;

  template <class Operation>
  vela::TIOResult call(Operation&& operation);
  bool comparing() const { return model_ && host_->run.bytesAreTrue; }
  bool disturbed() const { return host_->run.faults != faultsBefore_; }

  TestHost* host_;
  vela::IMediaSplitter* splitter_;
  vela::IMediaSplitterEx* playing_;
  plain::PlainSession* model_;
  uint64_t faultsBefore_ = 0;
  uint64_t callsBefore_ = 0;
  uint64_t framesPlayed_ = 0;  // since the last seek
  size_t toldSoFar_ = 0;       // things in all descriptions
  bool calling_ = false;
  TestAudioPacket audioPacket_;
  TestVideoPacket videoPacket_;
};

/// Whether `code` may come from a plug-in that met this host.
bool isDocumented(const HostRun& run, vela::TIOResult code);
/// Ends the program when a failure of the host was kept from its caller: `code` is what an
/// operation gave after the host's first failure in it.
void requireHandedOn(const HostRun& run, vela::TIOResult code);

}  // namespace fuzz
