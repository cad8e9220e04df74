/* The tables of vela_splitter_mp4 as C sees them: every interface is a struct whose first member
   points at a table of functions, in the order of docs/contract.txt, and every function takes the
   object first. Slots that neither side calls are `unused`.

   This holds where a C++ member function is called like a C function with the object as its first
   argument: 64-bit Linux and Windows, and ARM. On 32-bit Windows the object travels in a register.
 */
#ifndef SLOTS_H
#define SLOTS_H
#include <stdint.h>
#include <uchar.h>

typedef uint32_t
    Result; /* 0 success, 1 out of range, 3 no such source, 5 failed, 6 out of memory */
typedef void (*Unused)(void);
typedef struct Guid {
  uint8_t bytes[16];
} Guid;
typedef struct Word64 {
  uint32_t low;
  uint32_t high;
} Word64;

/* The first four slots of every counted interface. */
#define COUNTED_SLOTS                                                  \
  uint32_t (*addRef)(void* self);                                      \
  uint32_t (*release)(void* self);                                     \
  uint32_t (*queryInterface)(void* self, const Guid* iid, void** out); \
  void (*deletingDestructor)(void* self, uint32_t flags)

/* ---- what the host implements ---- */

typedef struct ContextTable {
  uint32_t (*resolveSource)(void* self, const char16_t* sourceName, void** out);
} ContextTable;

typedef struct ProviderTable {
  COUNTED_SLOTS;
  Unused unused4;
  Result (*open)(void* self, const char16_t* sourceName, uint32_t mode, void* token, void** out);
} ProviderTable;

typedef struct ControlTable {
  COUNTED_SLOTS;
  uint32_t (*canSeek)(void* self);
  Result (*seek)(void* self, uint32_t low, uint32_t high, void* token);
  Unused unused6;
  Result (*setLength)(void* self, uint32_t low, uint32_t high, void* token);
  Result (*getLength)(void* self, uint64_t* length, void* token);
  Unused unused9;
  Result (*getPosition)(void* self, uint64_t* position, void* token);
  uint32_t (*passThroughTwo)(void* self, uintptr_t first, uintptr_t second);
  uint32_t (*passThroughOne)(void* self, uintptr_t argument);
} ControlTable;

typedef struct ReaderTable {
  Result (*read)(void* self, void* buffer, uint32_t count, uint32_t* done, void* token);
  Result (*skip)(void* self, uint32_t count, uint32_t* done, void* token);
} ReaderTable;

typedef struct WriterTable {
  Result (*write)(void* self, const void* buffer, uint32_t count, uint32_t* done, void* token);
} WriterTable;

/* The reader face of a stream, as a packet gets it. */
typedef struct Reader {
  const ReaderTable* table;
} Reader;

typedef struct AudioFormatTable {
  void (*clear)(void* self);
  void (*set)(void* self, const Guid* mediaId, const uint8_t* config, uint32_t configSize);
} AudioFormatTable;

typedef struct VideoFormatTable {
  void (*clear)(void* self);
  void (*set)(void* self, const Guid* mediaId, const uint8_t* config, uint32_t configSize,
              int32_t width, int32_t height);
} VideoFormatTable;

typedef struct AudioPacketTable {
  Unused unused0, unused1;
  uint32_t (*getFrameCount)(void* self);
  uint32_t (*getStartOffset)(void* self);
  Unused unused4, unused5, unused6;
  void (*setMediaId)(void* self, const Guid* mediaId);
  void (*setSampleRate)(void* self, uint32_t hz);
  void (*setFrameCount)(void* self, uint32_t frames);
  void (*setStartOffset)(void* self, uint32_t frames);
  Unused unused11;
  void (*setFurtherValue)(void* self, uint32_t value);
  Result (*readPayload)(void* self, Reader* reader, uint32_t count, void* token);
} AudioPacketTable;

typedef struct VideoPacketTable {
  Unused unused0, unused1, unused2, unused3;
  void (*reset)(void* self);
  void (*setMediaId)(void* self, const Guid* mediaId);
  Unused unused6;
  Result (*readPayload)(void* self, Reader* reader, uint32_t count, void* token);
  void (*setPictureSize)(void* self, int32_t width, int32_t height);
} VideoPacketTable;

typedef struct ItemDescription {
  uint32_t bitRate, sampleRate, channels, width, height, reserved;
  char audioFormatName[32];
  char videoFormatName[32];
} ItemDescription;

typedef struct MediaInfoTable {
  uint64_t (*getDuration)(void* self);
  void (*setDuration)(void* self, Word64 hostUnits);
  uint32_t (*getFlags)(void* self);
  void (*setFlags)(void* self, uint32_t flags);
  /* Track gain, album gain, track peak, album peak. */
  struct {
    int32_t (*get)(void* self);
    void (*set)(void* self, int32_t value);
  } replayGain[4];
  Unused unused12, unused13, unused14;
  void (*addTags)(void* self, uint32_t position, uint32_t count, const char16_t* const* keys,
                  const uint32_t* keyLengths, const char16_t* const* values,
                  const uint32_t* valueLengths);
  Unused unused16;
  void (*beginChapters)(void* self, uint32_t count);
  void (*addChapter)(void* self, uint32_t index, Word64 start, const char16_t* title,
                     uint32_t titleLength);
  Unused unused19, unused20, unused21, unused22;
  void (*setDescription)(void* self, const ItemDescription* record);
} MediaInfoTable;

typedef struct ModuleSinkTable {
  uint32_t (*onModule)(void* self, void* descriptor);
} ModuleSinkTable;

/* ---- what the plug-in implements ---- */

typedef struct ModuleTable {
  uint32_t (*getVersion)(void* self);
  void (*attachHost)(void* self, void* hostContext);
  uint32_t (*enumerate)(void* self, void* sink);
  const Guid* (*getClassId)(void* self);
  void (*deletingDestructor)(void* self, uint32_t flags);
} ModuleTable;

typedef struct DescriptorTable {
  uint32_t (*getInterface)(void* self, void** out);
  const Guid* (*getInterfaceId)(void* self);
  void (*deletingDestructor)(void* self, uint32_t flags);
} DescriptorTable;

typedef struct FactoryTable {
  COUNTED_SLOTS;
  Result (*createSplitter)(void* self, void** out, const char16_t* sourceName, void* token);
  Result (*createSplitterAlt)(void* self, void** out, const char16_t* sourceName, void* token);
  Result (*createSplitterEx)(void* self, void** out, const char16_t* sourceName, void* token);
  uint32_t (*matchesFilter)(void* self, const char16_t* fileName);
  uint32_t (*getFilter)(void* self, void* sink);
} FactoryTable;

typedef struct SplitterTable {
  COUNTED_SLOTS;
  uint32_t (*getItemCount)(void* self);
  uint32_t (*getItemId)(void* self, uint32_t index);
  Result (*describeItem)(void* self, uint32_t itemId, void* info, void* token);
  uint32_t (*passThroughTwo)(void* self, uintptr_t first, uintptr_t second);
  Result (*startItem)(void* self, uint32_t itemId, void* audioFormat, void* videoFormat,
                      void* token);
  Result (*readAudioPacket)(void* self, void* packet, uint8_t* endOfStream, void* token);
  Result (*readVideoPacket)(void* self, void* packet, uint8_t* endOfStream, uint64_t* time,
                            void* token);
  Result (*nextStream)(void* self, uint32_t* which);
  Result (*seekTo)(void* self, Word64 offset, void* token);
  Result (*seekWithKeyFrame)(void* self, void* packet, Word64 offset, void* token);
  uint32_t (*slot14)(void* self);
  uint32_t (*passThroughOne)(void* self, uintptr_t argument);
} SplitterTable;

/* Objects of the plug-in: the first word points at the table. */
typedef struct Module {
  const ModuleTable* table;
} Module;
typedef struct Descriptor {
  const DescriptorTable* table;
} Descriptor;
typedef struct Factory {
  const FactoryTable* table;
} Factory;
typedef struct Splitter {
  const SplitterTable* table;
} Splitter;

typedef Module* (*VelaEntryFunction)(void);

#endif
