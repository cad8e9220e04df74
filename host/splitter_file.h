// Files opened through the plug-in, to be described or to be played.
#pragma once
#include <filesystem>
#include <string>

#include "host/host_objects.h"
#include "host/library_loader.h"
#include "host/media_info.h"
#include "host/reference.h"

namespace velahost {

/// The plug-in, the host objects that it calls, and the token that cancels its operation.
class Session {
 public:
  /// @param plugin  the library to load; empty to look in the usual places
  explicit Session(const std::filesystem::path& plugin) : plugin_(findPlugin(plugin), &context) {}

  const Plugin& plugin() const { return plugin_; }

  /// A splitter that describes the file. @throws Failure with the result of the creation
  Reference<vela::IMediaSplitter> openForInformation(const std::filesystem::path& file);

  /// A splitter that plays the file. @throws Failure with the result of the creation
  Reference<vela::IMediaSplitterEx> openForPlaying(const std::filesystem::path& file);

  FileContext context;
  Token token;

 private:
  Plugin plugin_;
};

/// @throws Failure (usage) when the file has no such item. The plug-in itself would take the whole
/// file instead.
void requireItem(vela::IMediaSplitter& splitter, uint32_t itemId);

/// Describes an item. @throws Failure with the result of describeItem()
MediaInfoRecord describe(vela::IMediaSplitter& splitter, uint32_t itemId, Token& token);

/// How long an item lasts, in host units; vela::kUnknown64 when that can't be told.
uint64_t durationOf(vela::IMediaSplitter& splitter, uint32_t itemId, Token& token);

/// A file's name as a source name. @throws Failure when it can't be converted to UTF-16
std::u16string sourceName(const std::filesystem::path& file);

}  // namespace velahost
