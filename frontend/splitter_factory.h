// SplitterFactory: makes splitters for one host, and describes itself to it.
#pragma once
#include <cstdint>

#include "frontend/vela_splitter.h"

namespace vela {

/// Names of the files that the plug-in opens, patterns separated by ';'.
inline constexpr char16_t kFileFilter[] = u"*.MP4;*.M4A";

/// First face of the factory. Each face is a class of its own because both have an operation
/// deletingDestructor(), and the two do different things.
class FactoryDescriptorFace : public IModuleDescriptor {
 public:
  uint32_t getInterface(void** out) final;
  const Guid* getInterfaceId() final { return &kSplitterFactoryId; }
  void deletingDestructor(uint32_t flags) final;

 protected:
  ~FactoryDescriptorFace() = default;
};

/// Second face of the factory. Its life is the module's, so it counts no references.
class FactoryCreationFace : public ISplitterFactory {
 public:
  uint32_t addRef() final { return 1; }
  uint32_t release() final { return 1; }
  uint32_t queryInterface(const Guid* iid, void** out) final;
  /// The factory ends with its module, through the other face.
  void deletingDestructor(uint32_t) final {}

  TIOResult createSplitter(void** out, const char16_t* sourceName, CancelToken* token) final;
  TIOResult createSplitterAlt(void** out, const char16_t* sourceName, CancelToken* token) final;
  TIOResult createSplitterEx(void** out, const char16_t* sourceName, CancelToken* token) final;
  uint32_t matchesFilter(const char16_t* fileName) final;
  uint32_t getFilter(IStringSink* sink) final;

 protected:
  ~FactoryCreationFace() = default;

 private:
  template <class Splitter>
  TIOResult create(void** out, const char16_t* sourceName, CancelToken* token);
};

/// Fields in order: the two table pointers, then the host.
class SplitterFactory final : public FactoryDescriptorFace, public FactoryCreationFace {
 public:
  /// @param hostContext  not counted; it must outlive every splitter that the factory makes. Null
  ///        for a factory without a host, which finds no source
  explicit SplitterFactory(HostContext* hostContext) noexcept : hostContext_(hostContext) {}
  SplitterFactory(const SplitterFactory&) = delete;
  SplitterFactory& operator=(const SplitterFactory&) = delete;

  HostContext* hostContext() const noexcept { return hostContext_; }

 private:
  HostContext* hostContext_;
};
static_assert(sizeof(SplitterFactory) == 3 * sizeof(void*));

}  // namespace vela
