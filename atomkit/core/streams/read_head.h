// ReadHead: where the streams over one source stand, and the bytes there that lie in memory.
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

namespace atomkit {

/// Lends the stretch of a source that lies in memory at the source's position, its window, so that
/// boxes read field by field need no call for each value. Belongs to a ByteSource, whose position
/// stays where the window begins until endWindow() moves it.
class WindowLender {
 public:
  enum class Use { skipped, read };

  /// Longest skip in bytes that may stay inside a window: longer ones are an operation of the
  /// source, even where the bytes lie in memory.
  explicit WindowLender(uint32_t longestSkip) noexcept : longestSkip_(longestSkip) {}

  uint32_t longestSkip() const noexcept { return longestSkip_; }

  /// @return the bytes from the position on that reads of any sizes take from one place, none when
  ///         they don't lie in memory; they stay until the next operation of the source or of the
  ///         lender
  virtual std::span<const uint8_t> window() noexcept = 0;
  /// @return the bytes from the position on that a single long read takes from one place, after
  ///         they were read into memory if they were not there; none at the end of the source
  virtual std::span<const uint8_t> fetchWindow() = 0;
  /// Moves the source on by `count` bytes of its window.
  /// @param use  whether any of them were read
  virtual void endWindow(uint32_t count, Use use) noexcept = 0;
  /// Called for each box that begins in a window. May throw what an operation of the source throws.
  virtual void poll() = 0;

 protected:
  ~WindowLender() = default;

 private:
  uint32_t longestSkip_;
};

/// Counts the bytes that were read and skipped, whether in a window or by the source.
class ReadHead {
 public:
  /// @param lender  null when the source lends no windows
  explicit ReadHead(WindowLender* lender = nullptr) noexcept : lender_(lender) {}

  /// Bytes from where the streams began.
  uint64_t position() const noexcept { return windowEnd_ - left(); }
  /// Bytes left in the window.
  size_t left() const noexcept { return static_cast<size_t>(end_ - next_); }
  bool hasLender() const noexcept { return lender_ != nullptr; }

  /// Reads in the window. @pre count <= left()
  const uint8_t* take(uint32_t count) noexcept {
    const uint8_t* const bytes = next_;
    next_ += count;
    return bytes;
  }
  /// Skips in the window, unless the source has to do it. @pre count <= left()
  bool passOver(uint64_t count) noexcept;
  /// Counts what the source read, or skipped, while there was no window.
  void advance(uint64_t count) noexcept { windowEnd_ += count; }
  void advancePast(uint64_t count) noexcept {
    windowEnd_ += count;
    skipped_ += count;
  }
  /// Notes what the source passed in an exact operation that failed, which is not counted.
  void lose(uint64_t count) noexcept { lost_ += count; }
  /// Takes back what was counted of an exact read in pieces, of which the last one failed, so that
  /// no enclosing box counts it. @pre there is no window
  void loseCounted(uint64_t count) noexcept {
    windowEnd_ -= count;
    lost_ += count;
  }
  /// Bytes that the source has passed, counted or lost.
  uint64_t passed() const noexcept { return position() + lost_; }
  /// Bytes that were read, or lie in the window: what the file has shown that it holds.
  uint64_t arrived() const noexcept { return windowEnd_ - skipped_; }

  /// Looks for a window where the source stands now.
  void openWindow() noexcept;
  /// Opens the next window of a long read when this one is used up.
  /// @pre hasLender()
  /// @return bytes in the window; 0 at the end of the source
  size_t refillWindow();
  /// Moves the source to where the streams stand. The window is empty from then on.
  void closeWindow() noexcept;
  /// See WindowLender::poll().
  void poll() { lender_->poll(); }

 private:
  void setWindow(std::span<const uint8_t> bytes) noexcept;

  const uint8_t* next_ = nullptr;
  const uint8_t* end_ = nullptr;
  uint64_t windowEnd_ = 0;  // place of end_; the position while there is no window
  const uint8_t* begin_ = nullptr;
  uint32_t passedOver_ = 0;  // bytes of the window that were skipped
  uint64_t skipped_ = 0;     // bytes that were skipped, in all
  uint64_t lost_ = 0;        // bytes that the source passed in exact operations that failed
  WindowLender* lender_;
};

}  // namespace atomkit
