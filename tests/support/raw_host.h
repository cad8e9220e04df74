// A host that knows slot numbers only: its objects are structs that begin with the address of a
// table of function addresses, made by hand. Slots that are not used are null.
#pragma once
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/boxes.h"

namespace raw_host {

using Log = std::vector<std::string>;
using Slot = const void*;

/// A 64-bit argument as it crosses the boundary: two 32-bit words, low word first.
struct Words {
  uint32_t low;
  uint32_t high;
};
inline Words toWords(uint64_t value) {
  return {static_cast<uint32_t>(value), static_cast<uint32_t>(value >> 32)};
}
inline std::string text(Words words) {
  return std::to_string(uint64_t{words.high} << 32 | words.low);
}

template <class Function>
Slot slot(Function* function) {
  return reinterpret_cast<Slot>(function);
}

/// An object of the host with one face. `self` is recovered from the face, which is the object.
struct Counted {
  const Slot* table = nullptr;
  uint32_t count = 0;
  uint32_t timesFreed = 0;

  static uint32_t addRef(Counted* self) { return ++self->count; }
  static uint32_t release(Counted* self) {
    if (--self->count == 0) ++self->timesFreed;
    return self->count;
  }
};

inline void storeCounted(void** out, Counted* value) {
  auto* const previous = static_cast<Counted*>(*out);
  Counted::addRef(value);
  *out = value;
  if (previous) Counted::release(previous);
}

/// An object that is only counted, to stand in an out-slot.
struct Bystander : Counted {
  Bystander() { table = kTable; }
  static inline const Slot kTable[] = {slot(&Counted::addRef), slot(&Counted::release), nullptr,
                                       nullptr};
};

struct Token {
  const Slot* table = kTable;
  uint32_t answer = 0;
  uint32_t questions = 0;

  static uint32_t isCancelled(Token* self) {
    ++self->questions;
    return self->answer;
  }
  static inline const Slot kTable[] = {slot(&isCancelled)};
};

/// Three table pointers one after the other, the control face first.
struct Stream {
  const Slot* controlTable = kControl;
  const Slot* readerTable = kReader;
  const Slot* writerTable = kWriter;
  uint32_t count = 0;
  uint32_t timesFreed = 0;
  boxes::Bytes bytes;
  uint64_t position = 0;
  uint32_t canSeekAnswer = 1;
  uint32_t failAfter = 0xffffffff;  ///< calls with a result code that succeed
  uint32_t failCode = 0;
  Log log;
  const void* lastToken = nullptr;

  static uint32_t addRef(Stream* self) { return ++self->count; }
  static uint32_t release(Stream* self) {
    if (--self->count == 0) ++self->timesFreed;
    return self->count;
  }
  static uint32_t canSeek(Stream* self) { return self->canSeekAnswer; }
  static uint32_t seek(Stream* self, uint32_t low, uint32_t high, const void* token) {
    if (self->fails(token)) return self->failCode;
    self->position = uint64_t{high} << 32 | low;
    self->log.push_back("seek " + std::to_string(self->position));
    return 0;
  }
  static uint32_t setLength(Stream* self, uint32_t low, uint32_t high, const void* token) {
    if (self->fails(token)) return self->failCode;
    self->bytes.resize(uint64_t{high} << 32 | low);
    self->log.push_back("setLength " + std::to_string(self->bytes.size()));
    return 0;
  }
  static uint32_t getPosition(Stream* self, uint64_t* position, const void* token) {
    if (self->fails(token)) return self->failCode;
    *position = self->position;
    return 0;
  }
  static uint32_t getLength(Stream* self, uint64_t* length, const void* token) {
    if (self->fails(token)) return self->failCode;
    *length = self->bytes.size();
    return 0;
  }
  static uint32_t passThroughTwo(Stream* self, uintptr_t first, uintptr_t second) {
    self->log.push_back("two " + std::to_string(first) + " " + std::to_string(second));
    return 0xCAFE0002;
  }
  static uint32_t passThroughOne(Stream* self, uintptr_t argument) {
    self->log.push_back("one " + std::to_string(argument));
    return 0xCAFE0001;
  }
  /// `face` is the second word of the object.
  static uint32_t read(const Slot** face, void* buffer, uint32_t wanted, uint32_t* done,
                       const void* token) {
    Stream* const self = ofReader(face);
    if (self->fails(token)) return self->failCode;
    *done = self->within(wanted);
    if (*done) std::memcpy(buffer, self->bytes.data() + self->position, *done);
    self->position += *done;
    self->log.push_back("read " + std::to_string(wanted));
    return 0;
  }
  static uint32_t skip(const Slot** face, uint32_t wanted, uint32_t* done, const void* token) {
    Stream* const self = ofReader(face);
    if (self->fails(token)) return self->failCode;
    *done = self->within(wanted);
    self->position += *done;
    self->log.push_back("skip " + std::to_string(wanted));
    return 0;
  }
  /// `face` is the third word of the object. Writes over what is there, up to the end.
  static uint32_t write(const Slot** face, const void* buffer, uint32_t wanted, uint32_t* done,
                        const void* token) {
    Stream* const self = ofReader(face - 1);
    if (self->fails(token)) return self->failCode;
    *done = self->within(wanted);
    if (*done) std::memcpy(self->bytes.data() + self->position, buffer, *done);
    self->position += *done;
    self->log.push_back("write " + std::to_string(wanted));
    return 0;
  }

  static Stream* ofReader(const Slot** face) { return reinterpret_cast<Stream*>(face - 1); }
  /// `wanted`, or fewer at the end.
  uint32_t within(uint32_t wanted) const {
    const uint64_t left = position < bytes.size() ? bytes.size() - position : 0;
    return static_cast<uint32_t>(std::min<uint64_t>(wanted, left));
  }
  bool fails(const void* token) {
    lastToken = token;
    return failAfter != 0xffffffff && failAfter-- == 0;
  }

  static inline const Slot kControl[] = {slot(&addRef),
                                         slot(&release),
                                         nullptr,
                                         nullptr,
                                         slot(&canSeek),
                                         slot(&seek),
                                         nullptr,
                                         slot(&setLength),
                                         slot(&getLength),
                                         nullptr,
                                         slot(&getPosition),
                                         slot(&passThroughTwo),
                                         slot(&passThroughOne)};
  static inline const Slot kReader[] = {slot(&read), slot(&skip)};
  static inline const Slot kWriter[] = {slot(&write)};
};

struct Provider : Counted {
  Provider() { table = kTable; }
  Stream* stream = nullptr;
  uint32_t result = 0;
  uint32_t hostOpenMode = 0xffffffff;
  const void* token = nullptr;

  static uint32_t open(Provider* self, const char16_t*, uint32_t mode, const void* token,
                       void** out) {
    self->hostOpenMode = mode;
    self->token = token;
    if (self->result == 0) {
      Stream::addRef(self->stream);
      *out = self->stream;
    }
    return self->result;
  }
  static inline const Slot kTable[] = {
      slot(&Counted::addRef), slot(&Counted::release), nullptr, nullptr, nullptr, slot(&open)};
};

struct Context {
  const Slot* table = kTable;
  Provider* provider = nullptr;
  std::vector<std::u16string> names;  // that were asked for

  static uint32_t resolveSource(Context* self, const char16_t* name, void** out) {
    self->names.emplace_back(name);
    if (!self->provider) return 0;
    storeCounted(out, self->provider);
    return 0x100;  // not 0 is all that counts
  }
  static inline const Slot kTable[] = {slot(&resolveSource)};
};

struct ModuleSink {
  const Slot* table = kTable;
  void* descriptor = nullptr;
  uint32_t calls = 0;

  static uint32_t onModule(ModuleSink* self, void* descriptor) {
    ++self->calls;
    self->descriptor = descriptor;
    return 0xBEEF;
  }
  static inline const Slot kTable[] = {slot(&onModule)};
};

struct StringSink {
  const Slot* table = kTable;
  std::u16string text;
  uint32_t count = 0;
  uint32_t start = 99;

  static uint64_t set(StringSink* self, const char16_t* text, uint32_t count, uint32_t start) {
    self->text = text;
    self->count = count;
    self->start = start;
    return ~uint64_t{0};
  }
  static inline const Slot kTable[] = {slot(&set)};
};

/// Either format: a video format gets two more arguments.
struct Format {
  const Slot* table = kAudio;
  boxes::Bytes mediaId;
  boxes::Bytes config;
  int32_t width = 0;
  int32_t height = 0;
  uint32_t clears = 0;

  static void clear(Format* self) { ++self->clears; }
  static void setAudio(Format* self, const uint8_t* id, const uint8_t* data, uint32_t size) {
    self->mediaId.assign(id, id + 16);
    self->config.assign(data, data + size);
  }
  static void setVideo(Format* self, const uint8_t* id, const uint8_t* data, uint32_t size,
                       int32_t width, int32_t height) {
    setAudio(self, id, data, size);
    self->width = width;
    self->height = height;
  }
  static inline const Slot kAudio[] = {slot(&clear), slot(&setAudio)};
  static inline const Slot kVideo[] = {slot(&clear), slot(&setVideo)};
};

/// What both kinds of packets do with a payload: read it through the reader face's slot 0.
inline uint32_t readPayload(boxes::Bytes& into, void* reader, uint32_t size, void* token) {
  using Read = uint32_t (*)(void*, void*, uint32_t, uint32_t*, void*);
  const Slot* const table = *static_cast<const Slot**>(reader);
  into.assign(size, 0);
  uint32_t done = 0;
  const uint32_t result =
      reinterpret_cast<Read>(const_cast<void*>(table[0]))(reader, into.data(), size, &done, token);
  return result == 0 && done < size ? 5 : result;
}

struct AudioPacket {
  const Slot* table = kTable;
  boxes::Bytes mediaId;
  boxes::Bytes payload;
  const void* token = nullptr;  // of the payload
  uint32_t rate = 0;
  uint32_t frames = 0;
  uint32_t startOffset = 0;
  uint32_t further = 99;

  static uint32_t getFrameCount(AudioPacket* self) { return self->frames; }
  static uint32_t getStartOffset(AudioPacket* self) { return self->startOffset; }
  static void setMediaId(AudioPacket* self, const uint8_t* id) {
    self->mediaId.assign(id, id + 16);
  }
  static void setSampleRate(AudioPacket* self, uint32_t hz) { self->rate = hz; }
  static void setFrameCount(AudioPacket* self, uint32_t frames) { self->frames = frames; }
  static void setStartOffset(AudioPacket* self, uint32_t frames) { self->startOffset = frames; }
  static void setFurther(AudioPacket* self, uint32_t value) { self->further = value; }
  static uint32_t readAudioPayload(AudioPacket* self, void* reader, uint32_t size, void* token) {
    self->token = token;
    return readPayload(self->payload, reader, size, token);
  }
  static inline const Slot kTable[] = {nullptr,
                                       nullptr,
                                       slot(&getFrameCount),
                                       slot(&getStartOffset),
                                       nullptr,
                                       nullptr,
                                       nullptr,
                                       slot(&setMediaId),
                                       slot(&setSampleRate),
                                       slot(&setFrameCount),
                                       slot(&setStartOffset),
                                       nullptr,
                                       slot(&setFurther),
                                       slot(&readAudioPayload)};
};

struct VideoPacket {
  const Slot* table = kTable;
  boxes::Bytes mediaId;
  boxes::Bytes payload;
  const void* token = nullptr;  // of the payload
  int32_t width = 0;
  int32_t height = 0;
  uint32_t resets = 0;

  static void reset(VideoPacket* self) { ++self->resets; }
  static void setMediaId(VideoPacket* self, const uint8_t* id) {
    self->mediaId.assign(id, id + 16);
  }
  static uint32_t readVideoPayload(VideoPacket* self, void* reader, uint32_t size, void* token) {
    self->token = token;
    return readPayload(self->payload, reader, size, token);
  }
  static void setPictureSize(VideoPacket* self, int32_t width, int32_t height) {
    self->width = width;
    self->height = height;
  }
  static inline const Slot kTable[] = {nullptr,
                                       nullptr,
                                       nullptr,
                                       nullptr,
                                       slot(&reset),
                                       slot(&setMediaId),
                                       nullptr,
                                       slot(&readVideoPayload),
                                       slot(&setPictureSize)};
};

/// The sink of describeItem: get and set of the six values, tags, chapters and the record.
struct MediaInfo {
  const Slot* table = kTable;
  Log log;
  uint32_t flags = 0;
  boxes::Bytes description;

  static void setDuration(MediaInfo* self, Words hostUnits) {
    self->log.push_back("duration " + text(hostUnits));
  }
  static uint32_t getFlags(MediaInfo* self) {
    self->log.push_back("which flags");
    return self->flags;
  }
  static void setFlags(MediaInfo* self, uint32_t value) {
    self->flags = value;
    self->log.push_back("flags " + std::to_string(value));
  }
  static void setTrackGain(MediaInfo* self, int32_t value) {
    self->log.push_back("track gain " + std::to_string(value));
  }
  static void setAlbumGain(MediaInfo* self, int32_t value) {
    self->log.push_back("album gain " + std::to_string(value));
  }
  static void setTrackPeak(MediaInfo* self, int32_t value) {
    self->log.push_back("track peak " + std::to_string(value));
  }
  static void setAlbumPeak(MediaInfo* self, int32_t value) {
    self->log.push_back("album peak " + std::to_string(value));
  }
  static void addTags(MediaInfo* self, uint32_t position, uint32_t count,
                      const char16_t* const* keys, const uint32_t* keyLengths,
                      const char16_t* const* values, const uint32_t* valueLengths) {
    self->log.push_back("tag " + narrow(keys[0]) + " = " + narrow(values[0]) + ", " +
                        std::to_string(position) + " " + std::to_string(count) + " " +
                        std::to_string(keyLengths[0]) + " " + std::to_string(valueLengths[0]));
  }
  static void beginChapters(MediaInfo* self, uint32_t count) {
    self->log.push_back("chapters " + std::to_string(count));
  }
  static void addChapter(MediaInfo* self, uint32_t index, Words start, const char16_t* title,
                         uint32_t length) {
    self->log.push_back("chapter " + std::to_string(index) + " at " + text(start) + " " +
                        narrow(title) + " " + std::to_string(length));
  }
  static void setDescription(MediaInfo* self, const uint8_t* record) {
    self->description.assign(record, record + 88);
    self->log.push_back("description");
  }

  static std::string narrow(const char16_t* text) {
    std::string out;
    for (; *text; ++text) out += static_cast<char>(*text);
    return out;
  }

  static inline const Slot kTable[] = {nullptr,           slot(&setDuration),
                                       slot(&getFlags),   slot(&setFlags),
                                       nullptr,           slot(&setTrackGain),
                                       nullptr,           slot(&setAlbumGain),
                                       nullptr,           slot(&setTrackPeak),
                                       nullptr,           slot(&setAlbumPeak),
                                       nullptr,           nullptr,
                                       nullptr,           slot(&addTags),
                                       nullptr,           slot(&beginChapters),
                                       slot(&addChapter), nullptr,
                                       nullptr,           nullptr,
                                       nullptr,           slot(&setDescription)};
};

}  // namespace raw_host
