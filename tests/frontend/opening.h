// Opening: a session that is about to open a file through a fake host.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "frontend/host_time.h"
#include "tests/frontend/session_probe.h"
#include "tests/support/fake_host.h"
#include "tests/support/movie_builder.h"

using Calls = std::vector<std::string>;

struct Opening {
  explicit Opening(boxes::Bytes file, Seekable seekable = Seekable::yes)
      : stream(std::move(file), seekable), provider(stream), context(provider), session(&context) {
    stream.expectedToken = &token;
  }

  vela::TIOResult open(vela::CreationMode mode = vela::CreationMode::playback) {
    return session.openSession(u"movie.mp4", mode, &token);
  }

  FakeHostStream stream;
  FakeSourceProvider provider;
  FakeHostContext context;
  FakeCancelToken token;
  vela::SplitterSession session;
};
