#include "bench/file_host.h"

#include <system_error>

namespace bench {
namespace {

velahost::Reference<velahost::FileStream> opened(const std::string& name) {
  std::error_code reason;
  velahost::Reference<velahost::FileStream> file(velahost::FileStream::open(name, nullptr, reason));
  if (!file.get()) throw std::system_error(reason, name);
  return file;
}

}  // namespace

FileStream::FileStream(const std::string& file) : file_(opened(file)) {
  file_.get()->getLength(&size_, nullptr);
}

TIOResult FileStream::seek(uint32_t low, uint32_t high, CancelToken* token) {
  if (calls_) calls_->push_back({HostCall::Kind::seek, vela::fromWord64({low, high}), 0});
  return file_.get()->seek(low, high, token);
}

TIOResult FileStream::getLength(uint64_t* length, CancelToken* token) {
  if (calls_) calls_->push_back({HostCall::Kind::length, 0, 0});
  return file_.get()->getLength(length, token);
}

TIOResult FileStream::read(void* buffer, uint32_t count, uint32_t* done, CancelToken* token) {
  if (calls_) {
    uint64_t position = 0;
    getPosition(&position, token);
    calls_->push_back({HostCall::Kind::read, position, count});
  }
  return file_.get()->read(buffer, count, done, token);
}

TIOResult StreamProvider::open(const char16_t*, uint32_t, CancelToken*, void** out) {
  memory_host::store<vela::HostStreamControl>(out, stream_);
  return TIOResult::success;
}

uint32_t StreamContext::resolveSource(const char16_t*, void** out) {
  memory_host::store(out, provider_);
  return 1;
}

}  // namespace bench
