// A file played through the built plug-in, for tests that look at its packets.
#pragma once
#include "host/playback.h"
#include "host/splitter_file.h"
#include "tests/programs/media.h"

/// The plug-in loaded, one file opened for playing, nothing started yet.
struct PlayedFile {
  explicit PlayedFile(const media::File& file) : PlayedFile(file.path()) {}
  explicit PlayedFile(const std::filesystem::path& file)
      : session(media::pluginFile()),
        splitter(session.openForPlaying(file)),
        playback(*splitter.get(), &session.token) {}

  /// Host units that an item lasts.
  uint64_t duration(uint32_t itemId) {
    return velahost::describe(*splitter.get(), itemId, session.token).duration;
  }

  velahost::Session session;
  velahost::Reference<vela::IMediaSplitterEx> splitter;
  velahost::Playback playback;
};
