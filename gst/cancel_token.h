// Ends the plug-in's running operation while the element is flushing or closing, so that no state
// change and no flushing seek waits for more of a slow source than the read that is under way.
#pragma once
#include <atomic>

#include "frontend/vela_splitter.h"

namespace velagst {

/// Set by any thread, asked by the streaming thread.
class CancelToken final : public vela::CancelToken {
 public:
  uint32_t isCancelled() override { return flushing_ || closing_; }

  void setFlushing(bool flushing) { flushing_ = flushing; }
  void setClosing(bool closing) { closing_ = closing; }

 private:
  // Two reasons that end at different times: the end of a flush must not undo a closing.
  std::atomic<bool> flushing_{false};
  std::atomic<bool> closing_{false};
};

}  // namespace velagst
