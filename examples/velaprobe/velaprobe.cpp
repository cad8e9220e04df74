// velaprobe: loads the plug-in on the device, plays one file through it without decoding, and
// writes down all that it was told. Usage: velaprobe.exe FILE [LOG]
//
// LOG is FILE with ".velaprobe.txt" after it when none is named. A log that is there already is
// left alone.
#include "examples/velaprobe/device_files.h"
#include "examples/velaprobe/file_host.h"
#include "examples/velaprobe/log.h"
#include "frontend/vela_splitter.h"

namespace {

using vela::TIOResult;

enum ExitCode : uint32_t {
  kDone = 0,
  kWrongUsage = 1,
  kNoLog = 2,      // the log is there already, or can't be made
  kNoLibrary = 3,  // the plug-in or its entry is missing
  kNoSource = 4,
  kPluginFailed = 5,  // an operation of the plug-in gave a code; the log says which
};

constexpr uint32_t kMostNameUnits = 260;
constexpr const char16_t* kLibraryName = u"vela_splitter_mp4.dll";
constexpr const char16_t* kLogSuffix = u".velaprobe.txt";

// Takes the next word of a command line; quotes keep blanks together.
// @return false when there is none, or it is too long
bool nextWord(const char16_t*& line, char16_t* word) {
  while (*line == u' ') ++line;
  if (!*line) return false;
  const bool quoted = *line == u'"';
  if (quoted) ++line;
  uint32_t length = 0;
  while (*line && *line != (quoted ? u'"' : u' ')) {
    if (length + 1 == kMostNameUnits) return false;
    word[length++] = *line++;
  }
  if (quoted && *line) ++line;
  word[length] = 0;
  return length > 0;
}

// @return false when there is no room
bool append(char16_t* name, const char16_t* suffix) {
  uint32_t length = 0;
  while (name[length]) ++length;
  for (; *suffix; ++suffix) {
    if (length + 1 == kMostNameUnits) return false;
    name[length++] = *suffix;
  }
  name[length] = 0;
  return true;
}

struct Totals {
  uint32_t packets = 0;
  uint64_t bytes = 0;
  void add(const probe::Payload& payload) {
    ++packets;
    bytes += payload.size;
  }
};

void logFailure(probe::Log& log, const char* operation, TIOResult code) {
  log.text("failed ").text(operation).text(" ").number(static_cast<uint32_t>(code)).end();
}

void logPacket(probe::Log& log, const char* stream, uint32_t index, const probe::Payload& payload) {
  log.text(stream).text(" ").number(index).text(" size ").number(payload.size);
  log.text(" crc32 ").hex(payload.crc32);
}

// The stream that the plug-in names, unless it has reported its end: it may be named again.
uint32_t streamToRead(uint32_t named, bool audioEnded, bool videoEnded) {
  if (audioEnded && videoEnded) return vela::kNextNone;
  if (named == vela::kNextAudio && audioEnded) return vela::kNextVideo;
  if (named == vela::kNextVideo && videoEnded) return vela::kNextAudio;
  return named;
}

// Reads all packets in the order that the plug-in names. A stream that the file does not have
// counts as ended.
bool play(vela::IMediaSplitterEx& splitter, bool audioEnded, bool videoEnded, probe::Log& log) {
  Totals audio;
  Totals video;
  const uint32_t start = GetTickCount();
  for (;;) {
    uint32_t which = 0;
    TIOResult code = splitter.nextStream(&which);
    if (code != TIOResult::success) {
      logFailure(log, "nextStream", code);
      return false;
    }
    which = streamToRead(which, audioEnded, videoEnded);
    uint8_t end = 0;
    if (which == vela::kNextAudio) {
      probe::AudioPacket packet;
      code = splitter.readAudioPacket(&packet, &end, nullptr);
      if (code == TIOResult::success && !end) {
        logPacket(log, "packet audio", audio.packets, packet.payload);
        log.text(" frames ").number(packet.frames).text(" start ").number(packet.startOffset).end();
        audio.add(packet.payload);
      }
      audioEnded = end != 0;
    } else if (which == vela::kNextVideo) {
      probe::VideoPacket packet;
      uint64_t time = 0;
      code = splitter.readVideoPacket(&packet, &end, &time, nullptr);
      if (code == TIOResult::success && !end) {
        logPacket(log, "packet video", video.packets, packet.payload);
        log.text(" time ").number(time).end();
        video.add(packet.payload);
      }
      videoEnded = end != 0;
    } else {
      break;
    }
    if (code != TIOResult::success) {
      logFailure(log, "read", code);
      return false;
    }
  }
  log.text("audio packets ").number(audio.packets).text(" bytes ").number(audio.bytes).end();
  log.text("video packets ").number(video.packets).text(" bytes ").number(video.bytes).end();
  log.text("milliseconds playing ").number(GetTickCount() - start).end();
  return true;
}

ExitCode probeFile(vela::ISplitterFactory& factory, const char16_t* name, probe::Log& log) {
  void* out = nullptr;
  uint32_t start = GetTickCount();
  TIOResult code = factory.createSplitterEx(&out, name, nullptr);
  if (code != TIOResult::success) {
    logFailure(log, "createSplitterEx", code);
    return kPluginFailed;
  }
  log.text("milliseconds opening ").number(GetTickCount() - start).end();
  auto* const splitter = static_cast<vela::IMediaSplitterEx*>(out);

  log.text("items ").number(splitter->getItemCount()).end();
  probe::Description description(log);
  code = splitter->describeItem(0, &description, nullptr);
  if (code != TIOResult::success) logFailure(log, "describeItem", code);
  bool complete = code == TIOResult::success;
  probe::AudioFormat audioFormat(log);
  probe::VideoFormat videoFormat(log);
  code = splitter->startItem(0, &audioFormat, &videoFormat, nullptr);
  if (code == TIOResult::success) {
    complete &= play(*splitter, !audioFormat.isPresent, !videoFormat.isPresent, log);
  } else {
    logFailure(log, "startItem", code);
    complete = false;
  }
  splitter->release();
  return complete ? kDone : kPluginFailed;
}

ExitCode probeWith(vela::ISplitterModule& module, const char16_t* name, probe::Log& log) {
  log.text("module version ").number(module.getVersion()).end();
  probe::FileStream stream;
  if (!stream.open(name)) {
    log.text("failed to open the file").end();
    return kNoSource;
  }
  log.text("file ").text(name).text(" ").number(stream.size()).text(" bytes").end();
  probe::FileProvider provider(stream);
  probe::FileContext context(provider);
  probe::FactorySink sink;
  module.attachHost(&context);
  module.enumerate(&sink);
  if (!sink.factory) {
    log.text("failed enumerate").end();
    return kPluginFailed;
  }
  auto* const factory = static_cast<vela::ISplitterFactory*>(sink.factory);
  const ExitCode result = probeFile(*factory, name, log);
  factory->release();
  return result;
}

ExitCode run(const char16_t* commandLine) {
  char16_t file[kMostNameUnits];
  char16_t logName[kMostNameUnits];
  if (!nextWord(commandLine, file)) return kWrongUsage;
  if (!nextWord(commandLine, logName)) {
    logName[0] = 0;
    if (!append(logName, file) || !append(logName, kLogSuffix)) return kWrongUsage;
  }
  probe::Log log;
  if (!log.open(logName)) return kNoLog;
  log.text("velaprobe " VELA_PROBE_VERSION).end();

  void* const library = LoadLibraryW(kLibraryName);
  if (!library) {
    log.text("failed to load ").text(kLibraryName).end();
    return kNoLibrary;
  }
  ExitCode result = kNoLibrary;
  const auto entry = reinterpret_cast<VelaEntryFunction>(GetProcAddressW(library, u"VelaEntry"));
  if (!entry) {
    log.text("failed to find VelaEntry").end();
  } else if (vela::ISplitterModule* const module = entry()) {
    result = probeWith(*module, file, log);
    module->deletingDestructor(1);
  }
  FreeLibrary(library);
  log.text("result ").number(result).end();
  return result;
}

}  // namespace

/// What the system starts. @param commandLine  what was typed after the program's name
extern "C" int probeEntry(void*, void*, const char16_t* commandLine, int) {
  ExitThread(run(commandLine));
}
