// The binary interface between vela_splitter_mp4, a splitter plug-in for MP4 files, and its host.
// A host needs this header alone, and C++17.
//
// In short: load the library, call VelaEntry(), give the module its host (attachHost), take the
// factory (enumerate, getInterface), create a splitter for a source name, describe its items, start
// one, read its packets, release the splitter, end the module, unload the library.
//
// Objects
// - An interface pointer points at an object whose first word points at a table of operations; the
//   declaration order here is the slot order of that table, counted from 0.
// - No interface has a C++ destructor in its table: slot 3 of a reference-counted interface is the
//   ordinary operation deletingDestructor(). Interface pointers are never passed to `delete`.
// - So a class that implements one of these interfaces is final, or its destructor is protected and
//   not virtual. A virtual destructor would put operations of its own into the table.
// - The plug-in never calls an operation named unusedSlot..., nor queryInterface() or
//   deletingDestructor() of a host's object.
//
// References
// - An out-slot is the address of a pointer variable that holds a counted object or null. Storing
//   into it takes a reference to the new value (slot 0), then gives back the one that the slot held
//   (slot 1), if any. Whoever owns the slot owns the reference in it.
// - Everything else that is passed to an operation is borrowed for the call, except the host that
//   attachHost() is given.
//
// Values
// - Yes/no results and arguments are 32-bit words, 0 or not 0. Result codes are of the type
//   VelaBase::TIOResult.
// - A 64-bit argument crosses as a Word64. A 64-bit value that a pointer points at is eight bytes.
// - Text is UTF-16. A count of kUntilNul means: up to the terminating NUL.
// - An identifier is the address of a Guid (16 bytes in the usual in-memory order).
// - Pointer arguments are not null unless their description says that they may be. A cancel token
//   may always be null.
//
// Exceptions, threads, reentrancy
// - No exception leaves the plug-in, and none may leave an operation of the host.
// - An object is used by one thread at a time; only addRef() and release() of a splitter may be
//   called from several threads at once. The plug-in calls its host on the calling thread only.
// - An operation of a splitter that returns a TIOResult must not be called from inside another one
//   of the same splitter, that is, from an operation of the host that the splitter has called. It
//   answers TIOResult::failed, changes nothing, and leaves what its arguments point at alone.
//   Everything else may be called from there: the item queries, the pass-throughs, addRef(),
//   queryInterface(), other splitters, the factory, the module, and a release() that is not the
//   last. The last reference to a splitter must not be released from inside its operations.
#pragma once
#include <cstdint>

#if (defined(_MSVC_LANG) && _MSVC_LANG < 201703L) || (!defined(_MSVC_LANG) && __cplusplus < 201703L)
#error "vela_splitter.h needs C++17 or later"
#endif

// The release that this header belongs to.
#define VELA_SPLITTER_MP4_VERSION_MAJOR 0
#define VELA_SPLITTER_MP4_VERSION_MINOR 2
#define VELA_SPLITTER_MP4_VERSION_PATCH 0
#define VELA_SPLITTER_MP4_VERSION "0.2.0"

namespace VelaBase {

/// Result of an operation. The plug-in hands on the code of a host's operation that failed,
/// whatever its value; a host may use codes of its own.
enum class TIOResult : uint32_t {  // ABI: do not renumber
  success = 0,
  outOfRange = 1,      ///< position or length out of range on the host stream
  cancelled = 2,       ///< abandoned through the cancel token
  sourceNotFound = 3,  ///< the host could not resolve the source name
  failed = 5,          ///< malformed file, no usable track, stream not started, nested call
  outOfMemory = 6,     ///< the splitter object could not be allocated
};

}  // namespace VelaBase

namespace vela {

using VelaBase::TIOResult;

/// Sixteen bytes of an identifier, in memory order (u32, u16, u16 little-endian, then eight bytes).
struct Guid {
  uint8_t bytes[16];
};

/// Builds a Guid from its registry notation {d1-d2-d3-d4[0..1]-d4[2..7]}.
constexpr Guid makeGuid(uint32_t d1, uint16_t d2, uint16_t d3, uint64_t d4) {
  Guid guid{};
  for (int i = 0; i < 4; ++i) guid.bytes[i] = static_cast<uint8_t>(d1 >> (8 * i));
  for (int i = 0; i < 2; ++i) guid.bytes[4 + i] = static_cast<uint8_t>(d2 >> (8 * i));
  for (int i = 0; i < 2; ++i) guid.bytes[6 + i] = static_cast<uint8_t>(d3 >> (8 * i));
  for (int i = 0; i < 8; ++i) guid.bytes[8 + i] = static_cast<uint8_t>(d4 >> (8 * (7 - i)));
  return guid;
}

/// A 64-bit argument: two 32-bit words, low word first, so that its place in the argument list is
/// the same on every compiler of a 32-bit device. On 64-bit systems it travels like a uint64_t.
struct Word64 {
  uint32_t low;
  uint32_t high;
};
static_assert(sizeof(Word64) == 8 && alignof(Word64) == 4);

constexpr Word64 toWord64(uint64_t value) {
  return {static_cast<uint32_t>(value), static_cast<uint32_t>(value >> 32)};
}
constexpr uint64_t fromWord64(Word64 value) { return uint64_t{value.high} << 32 | value.low; }

/// A text count that means "up to the terminating NUL".
inline constexpr uint32_t kUntilNul = 0xffffffff;
/// Host time units in a second: the host counts time in 2^-24 s.
inline constexpr uint32_t kHostUnitsPerSecond = 16777216;
/// Stands for an unknown 64-bit length or duration.
inline constexpr uint64_t kUnknown64 = ~uint64_t{0};
/// Version of the slots and rules in this header, and what ISplitterModule::getVersion() returns. A
/// host doesn't use a module that returns another number.
inline constexpr uint32_t kInterfaceVersion = 2;

// Interfaces that the plug-in answers to.
inline constexpr Guid kSplitterFactoryId = makeGuid(0xC9145102, 0xA409, 0x4066, 0xAD207575D5511CDF);
inline constexpr Guid kMediaSplitterId = makeGuid(0x48D2751E, 0xEE5A, 0x49CF, 0xAEE0F899E0B84D6A);
inline constexpr Guid kMediaSplitterExId = makeGuid(0xEA957FBB, 0xF3B7, 0x46E3, 0xBC5FEC9282299879);
inline constexpr Guid kMediaSplitterAltId =
    makeGuid(0x924C96CC, 0x56BE, 0x4C4D, 0x8C58651465A006C9);
inline constexpr Guid kModuleClassId = makeGuid(0x7C3B2FA4, 0x91B7, 0x4D6D, 0x9F339A98864D3A75);

// Media that the plug-in offers.
inline constexpr Guid kMediaAac = makeGuid(0xE15B839C, 0x8D8B, 0x495A, 0xB6F6E39757B140AB);
inline constexpr Guid kMediaMp3 = makeGuid(0x8D93C970, 0x0BFE, 0x4D86, 0xB7EEE2BF2FB5448F);
inline constexpr Guid kMediaMpeg4Visual = makeGuid(0x788765D2, 0x9CD5, 0x4E9A, 0xB35147E2321A3EFF);
inline constexpr Guid kMediaH264 = makeGuid(0x9E52CFE3, 0x1567, 0x4436, 0xA68118AD1E51F329);

// ---------------------------------------------------------------------------------------------------
// What the host implements

/// Asked by long operations whether to stop. A null token means that the call can't be cancelled.
/// The plug-in asks before the calls of the host's stream that a read needs, and at least once for
/// each payload and for each box that it reads.
class CancelToken {
 public:
  /// Slot 0. @return not 0 to abandon the current operation with TIOResult::cancelled
  virtual uint32_t isCancelled() = 0;

 protected:
  ~CancelToken() = default;
};

/// The first four operations of every reference-counted interface, on either side. A new object has
/// the count 0; the first out-slot that it is stored in makes that 1.
class IObject {
 public:
  /// Slot 0. @return the new count
  virtual uint32_t addRef() = 0;
  /// Slot 1. The release that brings the count to 0 destroys the object. @return the new count
  virtual uint32_t release() = 0;
  /// Slot 2. Stores the object in the out-slot and returns 1 when it answers to `iid`; returns 0
  /// and leaves the out-slot alone otherwise.
  virtual uint32_t queryInterface(const Guid* iid, void** out) = 0;
  /// Slot 3. Destroys the object; bit 0 of `flags` also frees its memory. Called by release(),
  /// never by the other side.
  virtual void deletingDestructor(uint32_t flags) = 0;

 protected:
  ~IObject() = default;
};

/// Control face of a stream: the reference count, position and length.
class HostStreamControl : public IObject {
 public:
  /// Slot 4. @return not 0 when seek() works. A stream that can't seek is read forward only, from
  /// where it stands when it is opened: that is its first byte.
  virtual uint32_t canSeek() = 0;
  /// Slot 5. Moves to the absolute position high:low, in bytes. The exact end must be reachable,
  /// with reads there that deliver 0 bytes; ordinary files lead to it. A position past the end may
  /// be accepted in the same way, or refused with TIOResult::outOfRange: only a damaged file, or
  /// one that was cut, leads there. A stream that can't seek answers with a failure.
  virtual TIOResult seek(uint32_t low, uint32_t high, CancelToken* token) = 0;
  virtual void unusedSlot6() = 0;
  /// Slot 7. Sets the length to high:low bytes. Not called for playing; a host whose streams can't
  /// be written answers TIOResult::failed.
  virtual TIOResult setLength(uint32_t low, uint32_t high, CancelToken* token) = 0;
  /// Slot 8. Length in bytes; kUnknown64 when it isn't known.
  virtual TIOResult getLength(uint64_t* length, CancelToken* token) = 0;
  virtual void unusedSlot9() = 0;
  /// Slot 10. Current position in bytes.
  virtual TIOResult getPosition(uint64_t* position, CancelToken* token) = 0;
  /// Slot 11. Of the host's own meaning; reached through slot 7 of every splitter.
  virtual uint32_t passThroughTwo(uintptr_t first, uintptr_t second) = 0;
  /// Slot 12. Of the host's own meaning; reached through slot 15 of IMediaSplitterEx.
  virtual uint32_t passThroughOne(uintptr_t argument) = 0;

 protected:
  ~HostStreamControl() = default;
};

/// Reader face of a stream. A short transfer is not an error, but it means the end of the data: a
/// stream that waits for more (a network, a pipe) waits inside the call. On a stream that can't
/// seek a call that fails moves nothing: the plug-in goes on where the stream stood before it.
class HostStreamReader {
 public:
  /// Slot 0. Reads up to `count` bytes. @param done receives the number of bytes read
  virtual TIOResult read(void* buffer, uint32_t count, uint32_t* done, CancelToken* token) = 0;
  /// Slot 1. Moves up to `count` bytes on. @param done receives the number of bytes skipped
  virtual TIOResult skip(uint32_t count, uint32_t* done, CancelToken* token) = 0;

 protected:
  ~HostStreamReader() = default;
};

/// Writer face of a stream. Not called for playing; a host whose streams can't be written answers
/// TIOResult::failed.
class HostStreamWriter {
 public:
  /// Slot 0. Writes up to `count` bytes. @param done receives the number of bytes written
  virtual TIOResult write(const void* buffer, uint32_t count, uint32_t* done,
                          CancelToken* token) = 0;

 protected:
  ~HostStreamWriter() = default;
};

/// A stream: three table pointers one after the other, the control face first. A pointer to a
/// stream that crosses the interface points at its control face; the reader face lies one pointer
/// after it, the writer face two. The three are one object with one reference count, which only the
/// control face can change: a reference taken there keeps all three.
class HostStream : public HostStreamControl, public HostStreamReader, public HostStreamWriter {
 protected:
  ~HostStream() = default;
};
static_assert(sizeof(HostStream) == 3 * sizeof(void*));

/// Opens a source that the host has resolved. The plug-in gives its reference back right after
/// open().
class SourceProvider : public IObject {
 public:
  virtual void unusedSlot4() = 0;
  /// Slot 5. Opens the source for reading. A failure ends the creation of the splitter with the
  /// same code: TIOResult::sourceNotFound for a source that can't be opened, or a code of the
  /// host's own. Success without a stream counts as TIOResult::failed.
  /// @param hostOpenMode  always 0
  /// @param out  out-slot of the plug-in, null before; receives the control face of a HostStream.
  ///        The reference stored there is the plug-in's, which gives it back when the splitter is
  ///        destroyed, or when the creation fails.
  virtual TIOResult open(const char16_t* sourceName, uint32_t hostOpenMode, CancelToken* token,
                         void** out) = 0;

 protected:
  ~SourceProvider() = default;
};

/// The host itself, as a splitter sees it. Not reference counted: it outlives every splitter.
class HostContext {
 public:
  /// Slot 0. Finds who can open `sourceName`. Without one the creation answers
  /// TIOResult::sourceNotFound.
  /// @param sourceName  as the host gave it to the factory, up to its NUL
  /// @param out  out-slot of the plug-in, null before; receives a SourceProvider
  /// @return not 0 when the name was resolved
  virtual uint32_t resolveSource(const char16_t* sourceName, void** out) = 0;

 protected:
  ~HostContext() = default;
};

/// Receives one text.
class IStringSink {
 public:
  /// Slot 0. Writes `count` units at unit position `start`, replacing what was there from `start`
  /// on.
  /// @return a status that the plug-in does not use
  virtual uint64_t set(const char16_t* text, uint32_t count, uint32_t start) = 0;

 protected:
  ~IStringSink() = default;
};

/// Receives the format of the audio stream from IMediaSplitterEx::startItem().
class AudioFormat {
 public:
  /// Slot 0. There is no audio stream.
  virtual void clear() = 0;
  /// Slot 1. There is one.
  /// @param mediaId  kMediaAac or kMediaMp3
  /// @param config  `configSize` bytes, never null. AAC: the AudioSpecificConfig. MP3: as a rule no
  ///        bytes.
  virtual void set(const Guid* mediaId, const uint8_t* config, uint32_t configSize) = 0;

 protected:
  ~AudioFormat() = default;
};

/// Receives the format of the video stream from IMediaSplitterEx::startItem().
class VideoFormat {
 public:
  /// Slot 0. There is no video stream.
  virtual void clear() = 0;
  /// Slot 1. There is one.
  /// @param mediaId  kMediaMpeg4Visual or kMediaH264
  /// @param config  `configSize` bytes, never null. MPEG-4 Visual: the headers from the
  ///        VisualObjectSequence to the VideoObjectLayer. H.264: every sequence parameter set, then
  ///        every picture parameter set, each after its length in 16 bits, big-endian. There are no
  ///        counts; the low five bits of a set's first byte tell its type (7 sequence, 8 picture).
  /// @param width, height  pixels; -1 when the file gives none
  virtual void set(const Guid* mediaId, const uint8_t* config, uint32_t configSize, int32_t width,
                   int32_t height) = 0;

 protected:
  ~VideoFormat() = default;
};

/// A packet of compressed audio. Frames are sample frames: one value per channel.
///
/// The plug-in fills it in the order setMediaId, readPayload, setSampleRate, setFrameCount,
/// setStartOffset, setFurtherValue. Then it trims the packet: it gets the frame count and the start
/// offset and sets them anew. Of a packet that only primes the decoder it sets the frame count to 0
/// instead. After an operation that failed the packet's contents have no meaning.
class AudioPacket {
 public:
  virtual void unusedSlot0() = 0;
  virtual void unusedSlot1() = 0;
  /// Slot 2. @return the frames to play: what setFrameCount() was given last, unless the host has a
  /// reason to change it
  virtual uint32_t getFrameCount() = 0;
  /// Slot 3. @return the frames to drop, likewise
  virtual uint32_t getStartOffset() = 0;
  virtual void unusedSlot4() = 0;
  virtual void unusedSlot5() = 0;
  virtual void unusedSlot6() = 0;
  /// Slot 7. kMediaAac or kMediaMp3.
  virtual void setMediaId(const Guid* mediaId) = 0;
  /// Slot 8.
  virtual void setSampleRate(uint32_t hz) = 0;
  /// Slot 9. Frames of the decoded packet that the host plays; 0 marks a packet that only primes
  /// the decoder.
  virtual void setFrameCount(uint32_t frames) = 0;
  /// Slot 10. Frames of the decoded packet that the host drops before those that it plays.
  virtual void setStartOffset(uint32_t frames) = 0;
  virtual void unusedSlot11() = 0;
  /// Slot 12. Always given 0.
  virtual void setFurtherValue(uint32_t value) = 0;
  /// Slot 13. Takes the payload: `count` bytes from `reader`, which stands at their start. Takes
  /// all of them, or fails: with the code of a read that failed, with TIOResult::failed when the
  /// reader has fewer. The read then fails with that code, and may be repeated. `count` comes from
  /// the file and may exceed what the file holds, so a host doesn't allocate all of it up front.
  /// @param reader  reader face of the plug-in's own stream, for this call only
  virtual TIOResult readPayload(HostStreamReader* reader, uint32_t count, CancelToken* token) = 0;

 protected:
  ~AudioPacket() = default;
};

/// A packet of compressed video: one sample of the file, as a rule one picture. The payload of
/// H.264 is a sequence of NAL units, each after its big-endian length. The interface has no place
/// for the size of that length; hosts take 4 bytes, which nearly all files have. The payload of
/// MPEG-4 Visual is the bare bit stream.
class VideoPacket {
 public:
  virtual void unusedSlot0() = 0;
  virtual void unusedSlot1() = 0;
  virtual void unusedSlot2() = 0;
  virtual void unusedSlot3() = 0;
  /// Slot 4. Empties the packet. Called when its payload could not be taken, and by
  /// seekWithKeyFrame() when there is no picture to show; for one packet perhaps by both.
  virtual void reset() = 0;
  /// Slot 5. kMediaMpeg4Visual or kMediaH264.
  virtual void setMediaId(const Guid* mediaId) = 0;
  virtual void unusedSlot6() = 0;
  /// Slot 7. Takes the payload, as AudioPacket::readPayload().
  virtual TIOResult readPayload(HostStreamReader* reader, uint32_t count, CancelToken* token) = 0;
  /// Slot 8. Pixels; -1 when the file gives none.
  virtual void setPictureSize(int32_t width, int32_t height) = 0;

 protected:
  ~VideoPacket() = default;
};

/// What describeItem() tells about an item besides its tags and chapters: 88 bytes, zero where
/// nothing is known. A width or height that a video track does not give is all ones.
struct ItemDescription {
  uint32_t bitRate;     ///< of the whole file, bits per second, whichever item is described
  uint32_t sampleRate;  ///< Hz
  uint32_t channels;
  uint32_t width;            ///< pixels
  uint32_t height;           ///< pixels
  uint32_t reserved;         ///< stays 0
  char audioFormatName[32];  ///< "AAC" or "MP3", NUL-terminated
  char videoFormatName[32];  ///< "MPEG-4 ASP" or "MPEG-4 AVC", NUL-terminated
};
static_assert(sizeof(ItemDescription) == 88);

/// Presence flags of the replay-gain values in a MediaInfo.
enum ReplayGainFlag : uint32_t {  // ABI: do not renumber
  kTrackGainPresent = 0x1,
  kAlbumGainPresent = 0x2,
  kTrackPeakPresent = 0x4,
  kAlbumPeakPresent = 0x8,
};

/// A tag position that means "after the last tag".
inline constexpr uint32_t kAppendTags = 0xffffffff;

/// Receives the description of an item, in this order: setDuration, setDescription, then for the
/// whole file beginChapters, addChapter for each, setFlags(0), and for a chapter setFlags(0), then
/// its tags. Gains are in 1/10,000 dB, peaks in 2^-23 of full scale.
///
/// The four replay-gain tags come as numbers. For each the plug-in asks for the flags, sets them
/// with the value's own flag added, then sets the value; so the host keeps the flags, and has no
/// need to set any itself.
class MediaInfo {
 public:
  virtual uint64_t getDuration() = 0;              ///< Slot 0. Host units.
  virtual void setDuration(Word64 hostUnits) = 0;  ///< Slot 1.
  virtual uint32_t getFlags() = 0;                 ///< Slot 2. ReplayGainFlag bits.
  virtual void setFlags(uint32_t flags) = 0;       ///< Slot 3. ReplayGainFlag bits.
  virtual int32_t getTrackGain() = 0;              ///< Slot 4.
  virtual void setTrackGain(int32_t value) = 0;    ///< Slot 5.
  virtual int32_t getAlbumGain() = 0;              ///< Slot 6.
  virtual void setAlbumGain(int32_t value) = 0;    ///< Slot 7.
  virtual int32_t getTrackPeak() = 0;              ///< Slot 8.
  virtual void setTrackPeak(int32_t value) = 0;    ///< Slot 9.
  virtual int32_t getAlbumPeak() = 0;              ///< Slot 10.
  virtual void setAlbumPeak(int32_t value) = 0;    ///< Slot 11.
  virtual void unusedSlot12() = 0;
  virtual void unusedSlot13() = 0;
  virtual void unusedSlot14() = 0;
  /// Slot 15. Adds `count` tags; always called with position kAppendTags, one tag, and lengths of
  /// kUntilNul. A name with several values comes once for each.
  virtual void addTags(uint32_t position, uint32_t count, const char16_t* const* keys,
                       const uint32_t* keyLengths, const char16_t* const* values,
                       const uint32_t* valueLengths) = 0;
  virtual void unusedSlot16() = 0;
  /// Slot 17. `count` chapters follow.
  virtual void beginChapters(uint32_t count) = 0;
  /// Slot 18. @param index  zero-based
  /// @param start  host units from the start of the file, modulo 2^40 units of 100 ns
  /// @param titleLength  always kUntilNul; a chapter without a title has an empty one
  virtual void addChapter(uint32_t index, Word64 start, const char16_t* title,
                          uint32_t titleLength) = 0;
  virtual void unusedSlot19() = 0;
  virtual void unusedSlot20() = 0;
  virtual void unusedSlot21() = 0;
  virtual void unusedSlot22() = 0;
  /// Slot 23. The record is borrowed for the call.
  virtual void setDescription(const ItemDescription* record) = 0;

 protected:
  ~MediaInfo() = default;
};

class IModuleDescriptor;

/// Receives the module's descriptor from ISplitterModule::enumerate().
class ModuleSink {
 public:
  /// Slot 0. @return any value; enumerate() returns it
  virtual uint32_t onModule(IModuleDescriptor* descriptor) = 0;

 protected:
  ~ModuleSink() = default;
};

// ---------------------------------------------------------------------------------------------------
// What the plug-in implements

/// A splitter that tells about a file: its items, their streams, chapters and tags (creation mode
/// 0). A file with video is one item; an audio-only file has one item for every chapter, and is one
/// chapter when it has no marks. Item identifier 0 stands for the whole file, n for chapter n - 1.
/// Chapters begin and end at times modulo 2^40 units of 100 ns, which is 30 h 32 min: an audio-only
/// file that is longer is played as identifier 0, which has no such limit.
class IMediaSplitter : public IObject {
 public:
  /// Slot 4. Number of items, at least 1.
  virtual uint32_t getItemCount() = 0;
  /// Slot 5. Identifier of the item at a zero-based index.
  virtual uint32_t getItemId(uint32_t index) = 0;
  /// Slot 6. Selects the item and tells `info` its duration (kUnknown64 when unknown), its record
  /// and, for the whole file, the chapters, or, for a chapter, its tags. An identifier out of range
  /// selects the whole file. The tags of a file with video are told for identifier 1, its
  /// first chapter. On a splitter that plays, the selection also moves the range that later seeks,
  /// the end of video and the times of its packets refer to: describe first, then start.
  virtual TIOResult describeItem(uint32_t itemId, MediaInfo* info, CancelToken* token) = 0;
  /// Slot 7. Forwards to slot 11 of the host stream.
  virtual uint32_t passThroughTwo(uintptr_t first, uintptr_t second) = 0;

 protected:
  ~IMediaSplitter() = default;
};

/// The splitter of creation mode 2, which is never handed out.
class IMediaSplitterAlt : public IMediaSplitter {
 public:
  virtual TIOResult refusedSlot8() = 0;  ///< Slot 8. TIOResult::failed
  virtual TIOResult refusedSlot9() = 0;  ///< Slot 9. TIOResult::failed

 protected:
  ~IMediaSplitterAlt() = default;
};

/// What IMediaSplitterEx::nextStream() answers.
enum NextStream : uint32_t {  // ABI: do not renumber
  kNextNone = 0,              ///< no stream has a packet left
  kNextVideo = 1,
  kNextAudio = 2,
};

/// A splitter that plays (creation mode 1). Everything that reads or seeks comes after a
/// startItem() that succeeded.
class IMediaSplitterEx : public IMediaSplitter {
 public:
  /// Slot 8. Selects the item, tells the formats of the streams that the host wants and goes to the
  /// item's start. A null format argument means that the host doesn't want that stream; for a
  /// stream that the file doesn't have, clear() is called. With no stream left the call fails with
  /// TIOResult::failed. A call that fails may have set formats before. May be called again, for the
  /// same item or another.
  virtual TIOResult startItem(uint32_t itemId, AudioFormat* audioFormat, VideoFormat* videoFormat,
                              CancelToken* token) = 0;
  /// Slot 9. Fills `packet` with the next audio packet, or sets the byte `*endOfStream` to 1 and
  /// leaves the packet alone. After a seek up to ten packets come first that only prime the decoder
  /// (frame count 0); the frames of those that follow begin exactly at the target and end exactly
  /// at the item's end. Packets carry no time: a host counts frames.
  virtual TIOResult readAudioPacket(AudioPacket* packet, uint8_t* endOfStream,
                                    CancelToken* token) = 0;
  /// Slot 10. Fills `packet` with the next video packet in decoding order, or sets the byte
  /// `*endOfStream` to 1 and leaves packet and time alone. After a seek the first one is the key
  /// frame at or before the target in decoding order, or the very next sample where that is one.
  /// @param time  receives the presentation time in host units from the item's start: eight bytes,
  ///        a signed number. A key frame before the item's start has a negative time.
  virtual TIOResult readVideoPacket(VideoPacket* packet, uint8_t* endOfStream, uint64_t* time,
                                    CancelToken* token) = 0;
  /// Slot 11. Tells which stream to read next, so that the file is read nearly in order. It looks
  /// at times and places in the file, so it may go on naming a stream that has reported its end: a
  /// host stops reading a stream at its end, and reads the other one instead until that ends, too.
  /// @param which  receives a NextStream value
  virtual TIOResult nextStream(uint32_t* which) = 0;
  /// Slot 12. Goes to `offset` host units from the item's start, modulo 2^64: a negative offset is
  /// a place before it, such as the time of a key frame there. At or past the item's end both
  /// streams are at their end, and so they are at a place before the start of the file. Fails with
  /// TIOResult::failed where the samples of a started stream don't reach to the target; the host
  /// then seeks elsewhere before it reads.
  virtual TIOResult seekTo(Word64 offset, CancelToken* token) = 0;
  /// Slot 13. Like seekTo(), and fetches the key frame there into `packet`, so that it can be shown
  /// at once; the next read delivers it once more. The packet is reset when there is no such frame
  /// or it can't be read, which is no failure, even when the token cancels it.
  virtual TIOResult seekWithKeyFrame(VideoPacket* packet, Word64 offset, CancelToken* token) = 0;
  /// Slot 14. @return 1
  virtual uint32_t slot14() = 0;
  /// Slot 15. Forwards to slot 12 of the host stream.
  virtual uint32_t passThroughOne(uintptr_t argument) = 0;

 protected:
  ~IMediaSplitterEx() = default;
};

/// Makes splitters. Lives as long as its module; addRef() and release() return 1 and count nothing.
/// A creation stores a splitter with one reference, the caller's, or fails and leaves the out-slot
/// as it was: with TIOResult::sourceNotFound when the host can't resolve the name, with the host's
/// code when opening or reading fails, with TIOResult::failed for a file that can't be played, with
/// TIOResult::outOfMemory when there is no room for the splitter.
class ISplitterFactory : public IObject {
 public:
  /// Slot 4. Creation mode 0: stores an IMediaSplitter.
  virtual TIOResult createSplitter(void** out, const char16_t* sourceName, CancelToken* token) = 0;
  /// Slot 5. Creation mode 2: refused with TIOResult::failed, before the host is asked; with
  /// TIOResult::sourceNotFound where the module was attached to a null host.
  virtual TIOResult createSplitterAlt(void** out, const char16_t* sourceName,
                                      CancelToken* token) = 0;
  /// Slot 6. Creation mode 1: stores an IMediaSplitterEx.
  virtual TIOResult createSplitterEx(void** out, const char16_t* sourceName,
                                     CancelToken* token) = 0;
  /// Slot 7. @return not 0 when `fileName` matches the file filter. Creations don't ask this.
  virtual uint32_t matchesFilter(const char16_t* fileName) = 0;
  /// Slot 8. Writes the file filter, patterns separated by ';', into `sink`. @return 1
  virtual uint32_t getFilter(IStringSink* sink) = 0;

 protected:
  ~ISplitterFactory() = default;
};

/// Tells which interface the module offers. Not reference counted.
class IModuleDescriptor {
 public:
  /// Slot 0. Stores the ISplitterFactory in the out-slot. @return 1
  virtual uint32_t getInterface(void** out) = 0;
  /// Slot 1. @return the address of kSplitterFactoryId's bytes
  virtual const Guid* getInterfaceId() = 0;
  /// Slot 2. Called by the module only.
  virtual void deletingDestructor(uint32_t flags) = 0;

 protected:
  ~IModuleDescriptor() = default;
};

/// The module: what VelaEntry() returns. Owned by the host, which ends it with
/// deletingDestructor(1) after its splitters are released.
class ISplitterModule {
 public:
  /// Slot 0. @return kInterfaceVersion
  virtual uint32_t getVersion() = 0;
  /// Slot 1. Gives the module its host. The first host stays; a later call does nothing. Null
  /// counts as a host, too: every creation of its factory answers TIOResult::sourceNotFound.
  virtual void attachHost(HostContext* hostContext) = 0;
  /// Slot 2. Calls `sink` with the descriptor when a host is attached and there was memory for the
  /// factory.
  /// @return what the sink returned, or 0 without a factory
  virtual uint32_t enumerate(ModuleSink* sink) = 0;
  /// Slot 3. @return the address of kModuleClassId's bytes
  virtual const Guid* getClassId() = 0;
  /// Slot 4. Destroys the factory and the module; bit 0 of `flags` frees the memory, so a host
  /// passes 1.
  virtual void deletingDestructor(uint32_t flags) = 0;

 protected:
  ~ISplitterModule() = default;
};

}  // namespace vela

/// The library's one export. @return a new module without a host, or null when memory runs out
using VelaEntryFunction = vela::ISplitterModule* (*)();
inline constexpr char kVelaEntryName[] = "VelaEntry";
