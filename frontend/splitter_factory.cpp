#include "frontend/splitter_factory.h"

#include "frontend/object_memory.h"
#include "frontend/out_slot.h"
#include "frontend/splitter_object.h"
#include "hal/memory/memory.h"
#include "hal/text/string_pattern.h"
#include "hal/text/wide_text.h"

namespace vela {

uint32_t FactoryDescriptorFace::getInterface(void** out) {
  assignOutSlot<ISplitterFactory>(out, static_cast<SplitterFactory*>(this));
  return 1;
}

void FactoryDescriptorFace::deletingDestructor(uint32_t flags) {
  destroyObject(static_cast<SplitterFactory*>(this), flags);
}

uint32_t FactoryCreationFace::queryInterface(const Guid* iid, void** out) {
  return answerQuery<ISplitterFactory>(sameGuid(*iid, kSplitterFactoryId), this, out);
}

template <class Splitter>
TIOResult FactoryCreationFace::create(void** out, const char16_t* sourceName, CancelToken* token) {
  HostContext* const hostContext = static_cast<SplitterFactory*>(this)->hostContext();
  if (!hostContext) return TIOResult::sourceNotFound;
  Splitter* const object = VMemory::GNew<Splitter>(hostContext);
  if (!object) return TIOResult::outOfMemory;
  // A failed object goes with this reference; one that opened is left with the caller's.
  const Reference<Splitter> hold(object);
  const TIOResult result = object->session().openSession(sourceName, Splitter::kMode, token);
  if (result == TIOResult::success) assignOutSlot(out, object);
  return result;
}

TIOResult FactoryCreationFace::createSplitter(void** out, const char16_t* sourceName,
                                              CancelToken* token) {
  return create<InformationSplitter>(out, sourceName, token);
}

// DELIBERATE D-001: the operations are ordered by creation modes 0, 2, 1, not 0, 1, 2: the middle
// one makes the splitter of mode 2. Hosts call them by slot number.
TIOResult FactoryCreationFace::createSplitterAlt(void** out, const char16_t* sourceName,
                                                 CancelToken* token) {
  return create<RefusedSplitter>(out, sourceName, token);
}

TIOResult FactoryCreationFace::createSplitterEx(void** out, const char16_t* sourceName,
                                                CancelToken* token) {
  return create<PlaybackSplitter>(out, sourceName, token);
}

uint32_t FactoryCreationFace::matchesFilter(const char16_t* fileName) {
  return VPattern::GMatchesList(fileName, VWideText::KUntilNul, kFileFilter, VWideText::KUntilNul,
                                VPattern::ListMode::KList)
             ? 1
             : 0;
}

uint32_t FactoryCreationFace::getFilter(IStringSink* sink) {
  sink->set(kFileFilter, kUntilNul, 0);
  return 1;
}

}  // namespace vela
