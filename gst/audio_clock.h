// Tells when each audio packet begins, in frames from the start of the file. The plug-in's packets
// carry no time: after a seek come packets that only prime the decoder, then the packet that holds
// the target frame and says how many frames lie before it.
#pragma once
#include <cstdint>
#include <vector>

namespace velagst {

/// What the plug-in told about a packet of audio.
struct PacketFrames {
  uint32_t whole = 0;    ///< frames that the decoder makes of it
  uint32_t played = 0;   ///< of these, frames to play; 0 for a packet that only primes
  uint32_t dropped = 0;  ///< frames before those
  bool counts() const { return played != 0 || dropped != 0; }
};

class AudioClock {
 public:
  /// Begins anew after a seek. @param target  frame that the seek leads to
  void restart(uint64_t target);

  /// Takes the next packet. Packets that only prime are held back until the first one that counts.
  /// @return whether times are known now: of this packet and of all that were held back
  bool add(const PacketFrames& packet);

  /// First frame of each packet since restart() whose time became known with the last add(): those
  /// held back, and the last one.
  const std::vector<uint64_t>& begins() const { return begins_; }

  /// Frame that follows the last packet with a known time.
  uint64_t next() const { return next_; }

  /// Frame with which playing begins: the target, or what the plug-in made of it in a file whose
  /// times are coarser than its frames.
  uint64_t firstPlayed() const { return firstPlayed_; }

 private:
  void settle(const PacketFrames& packet);

  uint64_t target_ = 0;
  uint64_t next_ = 0;
  uint64_t firstPlayed_ = 0;
  bool settled_ = false;
  std::vector<uint32_t> held_;  // whole frames of the packets that were held back
  std::vector<uint64_t> begins_;
};

}  // namespace velagst
