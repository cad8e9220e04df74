#include "frontend/splitter_module.h"

#include "frontend/object_memory.h"
#include "hal/memory/memory.h"

namespace vela {

SplitterModule::~SplitterModule() {
  if (factory_) factory_->deletingDestructor(kFreeMemory);
}

void SplitterModule::attachHost(HostContext* hostContext) {
  if (!factory_) factory_ = VMemory::GNew<SplitterFactory>(hostContext);
}

uint32_t SplitterModule::enumerate(ModuleSink* sink) {
  return factory_ ? sink->onModule(factory_) : 0;
}

void SplitterModule::deletingDestructor(uint32_t flags) { destroyObject(this, flags); }

}  // namespace vela
