// SplitterModule: what VelaEntry() returns.
#pragma once
#include <cstdint>

#include "frontend/splitter_factory.h"
#include "frontend/vela_splitter.h"

namespace vela {

/// Fields in order: the table pointer, then the factory, null until a host is attached.
class SplitterModule final : public ISplitterModule {
 public:
  SplitterModule() noexcept = default;
  SplitterModule(const SplitterModule&) = delete;
  SplitterModule& operator=(const SplitterModule&) = delete;
  ~SplitterModule();

  uint32_t getVersion() override { return 2; }
  void attachHost(HostContext* hostContext) override;
  uint32_t enumerate(ModuleSink* sink) override;
  const Guid* getClassId() override { return &kModuleClassId; }
  void deletingDestructor(uint32_t flags) override;

 private:
  FactoryDescriptorFace* factory_ = nullptr;  // owned
};
static_assert(sizeof(SplitterModule) == 2 * sizeof(void*));

}  // namespace vela
