#include "bench/player.h"

#include <dlfcn.h>

#include <stdexcept>

namespace bench {
namespace {

/// Remembers whether there is a video stream.
class NotedVideoFormat final : public vela::VideoFormat {
 public:
  bool given = false;

  void clear() override { given = false; }
  void set(const vela::Guid*, const uint8_t*, uint32_t, int32_t, int32_t) override { given = true; }
};

}  // namespace

Plugin::Plugin(const std::string& path) {
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!library) throw std::runtime_error(dlerror());
  entry_ = reinterpret_cast<Entry>(dlsym(library, "VelaEntry"));
  if (!entry_) throw std::runtime_error(path + " has no VelaEntry");
}

Player::Player(vela::ISplitterModule* module, vela::HostStream& stream)
    : provider_(stream), context_(provider_), module_(module) {
  module_->attachHost(&context_);
  memory_host::FactorySink sink;
  module_->enumerate(&sink);
  factory_ = sink.factory();
}

Player::~Player() {
  close();
  module_->deletingDestructor(1);
}

void Player::open() {
  void* out = nullptr;
  const TIOResult result = factory_->createSplitterEx(&out, u"input", nullptr);
  REQUIRE(result == TIOResult::success);
  splitter_ = static_cast<vela::IMediaSplitterEx*>(out);
}

void Player::close() {
  if (splitter_) splitter_->release();
  splitter_ = nullptr;
}

void Player::start() {
  NotedVideoFormat video;
  REQUIRE(splitter_->startItem(0, &audioFormat_, &video, nullptr) == TIOResult::success);
  hasVideo_ = video.given;
}

}  // namespace bench
