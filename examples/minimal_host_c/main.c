/* The host of examples/minimal_host in C, against the slot tables alone: no header of the plug-in,
   no C++. It tells what a file holds and pulls the packets from one second on.

   Usage: minimal_host_c PLUGIN FILE */
#define _POSIX_C_SOURCE 200809L
#define _FILE_OFFSET_BITS 64
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "slots.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif
#ifdef _MSC_VER
#define fseeko _fseeki64
#define ftello _ftelli64
#endif

enum { kSuccess = 0, kOutOfRange = 1, kNoSource = 3, kFailed = 5, kOutOfMemory = 6 };
enum { kInterfaceVersion = 2, kNextNone = 0, kNextAudio = 2 };
static const uint32_t kHostUnitsPerSecond = 16777216;

static uint64_t fromWord64(Word64 value) { return (uint64_t)value.high << 32 | value.low; }

/* ---- sources: the plug-in asks the context for a provider, and the provider for a stream ---- */

/* A source name means what the host wants it to mean. This host plays one file. */
static const char16_t kSourceName[] = u"the file";
static const char* g_file;

static uint32_t noInterface(void* self, const Guid* iid, void** out) {
  (void)self, (void)iid, (void)out;
  return 0;
}
static void neverCalled(void* self, uint32_t flags) { (void)self, (void)flags; }

typedef struct Stream {
  const ControlTable* control;
  const ReaderTable* reader;
  const WriterTable* writer;
  uint32_t references;
  FILE* file;
  uint64_t length;
  uint64_t position;
} Stream;

static Stream* ofReader(void* face) { return (Stream*)((char*)face - offsetof(Stream, reader)); }

static uint32_t streamAddRef(void* self) { return ++((Stream*)self)->references; }
static uint32_t streamRelease(void* self) {
  Stream* const stream = self;
  const uint32_t left = --stream->references;
  if (left == 0) {
    fclose(stream->file);
    free(stream);
  }
  return left;
}
static uint32_t streamCanSeek(void* self) {
  (void)self;
  return 1;
}
static Result streamMove(Stream* stream, uint64_t position) {
  if (position > stream->length) return kOutOfRange;
  if (fseeko(stream->file, (int64_t)position, SEEK_SET) != 0) return kFailed;
  stream->position = position;
  return kSuccess;
}
static Result streamSeek(void* self, uint32_t low, uint32_t high, void* token) {
  (void)token;
  return streamMove(self, (uint64_t)high << 32 | low);
}
static Result streamSetLength(void* self, uint32_t low, uint32_t high, void* token) {
  (void)self, (void)low, (void)high, (void)token;
  return kFailed;
}
static Result streamGetLength(void* self, uint64_t* length, void* token) {
  (void)token;
  *length = ((Stream*)self)->length;
  return kSuccess;
}
static Result streamGetPosition(void* self, uint64_t* position, void* token) {
  (void)token;
  *position = ((Stream*)self)->position;
  return kSuccess;
}
static uint32_t streamPassTwo(void* self, uintptr_t first, uintptr_t second) {
  (void)self, (void)first, (void)second;
  return 0;
}
static uint32_t streamPassOne(void* self, uintptr_t argument) {
  (void)self, (void)argument;
  return 0;
}
static uint32_t upToTheEnd(const Stream* stream, uint32_t count) {
  const uint64_t left = stream->length - stream->position;
  return count < left ? count : (uint32_t)left;
}
static Result streamRead(void* face, void* buffer, uint32_t count, uint32_t* done, void* token) {
  (void)token;
  Stream* const stream = ofReader(face);
  const uint32_t wanted = upToTheEnd(stream, count);
  if (fread(buffer, 1, wanted, stream->file) != wanted) return kFailed;
  stream->position += wanted;
  *done = wanted;
  return kSuccess;
}
static Result streamSkip(void* face, uint32_t count, uint32_t* done, void* token) {
  (void)token;
  Stream* const stream = ofReader(face);
  *done = upToTheEnd(stream, count);
  return streamMove(stream, stream->position + *done);
}
static Result streamWrite(void* face, const void* buffer, uint32_t count, uint32_t* done,
                          void* token) {
  (void)face, (void)buffer, (void)count, (void)done, (void)token;
  return kFailed;
}
static const ControlTable kControl = {
    streamAddRef,      streamRelease, noInterface,     neverCalled,     streamCanSeek,
    streamSeek,        NULL,          streamSetLength, streamGetLength, NULL,
    streamGetPosition, streamPassTwo, streamPassOne};
static const ReaderTable kReader = {streamRead, streamSkip};
static const WriterTable kWriter = {streamWrite};

typedef struct Provider {
  const ProviderTable* table;
} Provider;

/* There is one, and it lives as long as the program: nothing needs to be counted. */
static uint32_t uncounted(void* self) {
  (void)self;
  return 1;
}
static Result providerOpen(void* self, const char16_t* sourceName, uint32_t mode, void* token,
                           void** out) {
  (void)self, (void)sourceName, (void)mode, (void)token;
  Stream* const stream = malloc(sizeof *stream);
  if (!stream) return kOutOfMemory;
  *stream = (Stream){&kControl, &kReader, &kWriter, 1, fopen(g_file, "rb"), 0, 0};
  if (!stream->file || fseeko(stream->file, 0, SEEK_END) != 0) {
    if (stream->file) fclose(stream->file);
    free(stream);
    return kNoSource;
  }
  stream->length = (uint64_t)ftello(stream->file);
  rewind(stream->file);
  *out = stream; /* the slot was empty, and holds the one reference */
  return kSuccess;
}
static const ProviderTable kProvider = {uncounted,   uncounted, noInterface,
                                        neverCalled, NULL,      providerOpen};
static Provider g_provider = {&kProvider};

typedef struct Context {
  const ContextTable* table;
} Context;

static uint32_t resolveSource(void* self, const char16_t* sourceName, void** out) {
  (void)self, (void)sourceName;
  *out = &g_provider;
  return 1;
}
static const ContextTable kContext = {resolveSource};

/* ---- what the plug-in fills ---- */

typedef struct Format {
  const void* table;
  int present;
  uint32_t configBytes;
} Format;

static void formatClear(void* self) { ((Format*)self)->present = 0; }
static void formatSet(Format* format, uint32_t size) {
  format->present = 1;
  format->configBytes = size;
}
static void audioFormatSet(void* self, const Guid* mediaId, const uint8_t* config, uint32_t size) {
  (void)mediaId, (void)config;
  formatSet(self, size);
}
static void videoFormatSet(void* self, const Guid* mediaId, const uint8_t* config, uint32_t size,
                           int32_t width, int32_t height) {
  (void)mediaId, (void)config, (void)width, (void)height;
  formatSet(self, size);
}
static const AudioFormatTable kAudioFormat = {formatClear, audioFormatSet};
static const VideoFormatTable kVideoFormat = {formatClear, videoFormatSet};

/* A packet of either kind. */
typedef struct Packet {
  const void* table;
  uint8_t* bytes;
  size_t size;
  size_t room;
  uint32_t frames;      /* audio: to play; 0: the packet only primes the decoder */
  uint32_t startOffset; /* audio: frames of the decoded packet to drop before those */
} Packet;

static void setMediaId(void* self, const Guid* mediaId) { (void)self, (void)mediaId; }
static void setNumber(void* self, uint32_t value) { (void)self, (void)value; }

/* Takes all `count` bytes, or fails. The count comes from the file, so memory is only asked for as
   the bytes arrive. */
static Result takePayload(void* self, Reader* reader, uint32_t count, void* token) {
  Packet* const packet = self;
  packet->size = 0;
  while (packet->size < count) {
    const uint32_t left = count - (uint32_t)packet->size;
    const uint32_t wanted = left < 65536 ? left : 65536;
    if (packet->room < packet->size + wanted) {
      const size_t room = (packet->size + wanted) * 2;
      uint8_t* const bytes = realloc(packet->bytes, room);
      if (!bytes) return kOutOfMemory;
      packet->bytes = bytes;
      packet->room = room;
    }
    uint32_t done = 0;
    const Result result =
        reader->table->read(reader, packet->bytes + packet->size, wanted, &done, token);
    if (result != kSuccess) return result;
    if (done < wanted) return kFailed;
    packet->size += done;
  }
  return kSuccess;
}
static uint32_t getFrameCount(void* self) { return ((Packet*)self)->frames; }
static uint32_t getStartOffset(void* self) { return ((Packet*)self)->startOffset; }
static void setFrameCount(void* self, uint32_t count) { ((Packet*)self)->frames = count; }
static void setStartOffset(void* self, uint32_t count) { ((Packet*)self)->startOffset = count; }
static void packetReset(void* self) { ((Packet*)self)->size = 0; }
static void setPictureSize(void* self, int32_t width, int32_t height) {
  (void)self, (void)width, (void)height;
}
static const AudioPacketTable kAudioPacket = {.getFrameCount = getFrameCount,
                                              .getStartOffset = getStartOffset,
                                              .setMediaId = setMediaId,
                                              .setSampleRate = setNumber,
                                              .setFrameCount = setFrameCount,
                                              .setStartOffset = setStartOffset,
                                              .setFurtherValue = setNumber,
                                              .readPayload = takePayload};
static const VideoPacketTable kVideoPacket = {.reset = packetReset,
                                              .setMediaId = setMediaId,
                                              .readPayload = takePayload,
                                              .setPictureSize = setPictureSize};

/* Keeps the duration, the record and the number of chapters; replay gain and tags are passed over.
 */
typedef struct ItemInfo {
  const MediaInfoTable* table;
  uint64_t duration; /* host units */
  uint32_t flags;
  uint32_t chapters;
  ItemDescription description;
} ItemInfo;

static uint64_t getDuration(void* self) { return ((ItemInfo*)self)->duration; }
static void setDuration(void* self, Word64 value) {
  ((ItemInfo*)self)->duration = fromWord64(value);
}
static uint32_t getFlags(void* self) { return ((ItemInfo*)self)->flags; }
static void setFlags(void* self, uint32_t flags) { ((ItemInfo*)self)->flags = flags; }
static int32_t getGain(void* self) {
  (void)self;
  return 0;
}
static void setGain(void* self, int32_t value) { (void)self, (void)value; }
static void addTags(void* self, uint32_t position, uint32_t count, const char16_t* const* keys,
                    const uint32_t* keyLengths, const char16_t* const* values,
                    const uint32_t* valueLengths) {
  (void)self, (void)position, (void)count;
  (void)keys, (void)keyLengths, (void)values, (void)valueLengths;
}
static void beginChapters(void* self, uint32_t count) { ((ItemInfo*)self)->chapters = count; }
static void addChapter(void* self, uint32_t index, Word64 start, const char16_t* title,
                       uint32_t titleLength) {
  (void)self, (void)index, (void)start, (void)title, (void)titleLength;
}
static void setDescription(void* self, const ItemDescription* record) {
  ((ItemInfo*)self)->description = *record;
}
static const MediaInfoTable kInfo = {
    .getDuration = getDuration,
    .setDuration = setDuration,
    .getFlags = getFlags,
    .setFlags = setFlags,
    .replayGain = {{getGain, setGain}, {getGain, setGain}, {getGain, setGain}, {getGain, setGain}},
    .addTags = addTags,
    .beginChapters = beginChapters,
    .addChapter = addChapter,
    .setDescription = setDescription};

/* Takes the factory out of the module's descriptor. It is not counted, so nothing is given back. */
typedef struct FactorySink {
  const ModuleSinkTable* table;
  void* factory;
} FactorySink;

static uint32_t onModule(void* self, void* descriptor) {
  Descriptor* const module = descriptor;
  return module->table->getInterface(module, &((FactorySink*)self)->factory);
}
static const ModuleSinkTable kSink = {onModule};

/* ---- the host ---- */

static double seconds(uint64_t hostUnits) {
  return (double)(int64_t)hostUnits / kHostUnitsPerSecond;
}

static Result describe(Splitter* splitter) {
  const SplitterTable* const call = splitter->table;
  ItemInfo info = {.table = &kInfo, .duration = UINT64_MAX};
  const Result result = call->describeItem(splitter, call->getItemId(splitter, 0), &info, NULL);
  if (result != kSuccess) return result;
  printf("%u item(s); the first lasts %.3f s and lists %u chapter(s)\n",
         call->getItemCount(splitter), seconds(info.duration), info.chapters);
  printf("audio: %s, video: %s\n", info.description.audioFormatName,
         info.description.videoFormatName);
  return kSuccess;
}

static Result play(Splitter* splitter, Packet* audio, Packet* video) {
  const SplitterTable* const call = splitter->table;
  Format audioFormat = {.table = &kAudioFormat};
  Format videoFormat = {.table = &kVideoFormat};
  Result result =
      call->startItem(splitter, call->getItemId(splitter, 0), &audioFormat, &videoFormat, NULL);
  if (result != kSuccess) return result;
  printf("decoder configurations of %u and %u bytes\n", audioFormat.configBytes,
         videoFormat.configBytes);

  result = call->seekTo(splitter, (Word64){kHostUnitsPerSecond, 0}, NULL);
  if (result != kSuccess) return result;

  uint32_t audioPackets = 0;
  uint32_t videoPackets = 0;
  uint64_t frames = 0;
  uint8_t audioEnded = !audioFormat.present;
  uint8_t videoEnded = !videoFormat.present;
  while (!audioEnded || !videoEnded) {
    uint32_t next = kNextNone;
    result = call->nextStream(splitter, &next);
    if (result != kSuccess) return result;
    if (next == kNextNone) break;
    /* A stream at its end may still be named; then it is the other one's turn. */
    if (videoEnded || (next == kNextAudio && !audioEnded)) {
      result = call->readAudioPacket(splitter, audio, &audioEnded, NULL);
      if (result != kSuccess) return result;
      if (audioEnded) continue;
      frames += audio->frames;
      if (audioPackets++ == 0) printf("audio: %zu bytes first\n", audio->size);
    } else {
      uint64_t time = 0;
      result = call->readVideoPacket(splitter, video, &videoEnded, &time, NULL);
      if (result != kSuccess) return result;
      if (videoEnded) continue;
      if (videoPackets++ == 0) {
        printf("video: %zu bytes first, shown at %.3f s\n", video->size, seconds(time));
      }
    }
  }
  printf("%u audio packets with %llu frames to play, %u video packets\n", audioPackets,
         (unsigned long long)frames, videoPackets);
  return kSuccess;
}

static VelaEntryFunction load(const char* plugin) {
  VelaEntryFunction entry = NULL;
#ifdef _WIN32
  const HMODULE library = LoadLibraryA(plugin);
  void* const found = library ? (void*)GetProcAddress(library, "VelaEntry") : NULL;
#else
  void* const library = dlopen(plugin, RTLD_NOW | RTLD_LOCAL);
  void* const found = library ? dlsym(library, "VelaEntry") : NULL;
#endif
  memcpy(&entry, &found, sizeof entry);
  return entry;
}

static int fail(const char* what, Result result) {
  fprintf(stderr, "%s: result %u\n", what, result);
  return 1;
}

static int playWith(Factory* factory) {
  void* opened = NULL; /* an out-slot */
  Result result = factory->table->createSplitterEx(factory, &opened, kSourceName, NULL);
  if (result != kSuccess) return fail("opening", result);
  Splitter* const splitter = opened;

  const char* step = "describing";
  result = describe(splitter);
  if (result == kSuccess) {
    Packet audio = {.table = &kAudioPacket};
    Packet video = {.table = &kVideoPacket};
    step = "playing";
    result = play(splitter, &audio, &video);
    free(audio.bytes);
    free(video.bytes);
  }
  splitter->table->release(splitter);
  return result == kSuccess ? 0 : fail(step, result);
}

int main(int argumentCount, char** arguments) {
  if (argumentCount != 3) {
    fprintf(stderr, "usage: minimal_host_c PLUGIN FILE\n");
    return 2;
  }
  g_file = arguments[2];
  const VelaEntryFunction entry = load(arguments[1]);
  if (!entry) return fail("plug-in", kNoSource);
  Module* const module = entry();
  if (!module) return fail("module", kOutOfMemory);

  Context context = {&kContext};
  int status = 1;
  if (module->table->getVersion(module) != kInterfaceVersion) {
    fail("version", kFailed);
  } else {
    module->table->attachHost(module, &context);
    FactorySink sink = {&kSink, NULL};
    module->table->enumerate(module, &sink);
    status = sink.factory ? playWith(sink.factory) : fail("factory", kOutOfMemory);
  }
  module->table->deletingDestructor(module, 1);
  return status;
}
