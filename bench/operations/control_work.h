// The measured control: through the table's Control of a loaded module on the embedded bus.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "bench/operations/control.h"
#include "bench/support/loaded_module.h"
#include "bench/support/order.h"
#include "ktbus3/ktbus3_host.h"

namespace kt::bench {

// One module with that many handlers and two filters, shared by the operations of that size.
LoadedModule& ModuleWith(std::uint32_t handlers);

// Nothing is written below this level.
inline constexpr std::uint32_t kNoTrace = 7;

class Control {
 public:
  explicit Control(std::uint32_t handlers)
      : Control(ModuleWith(handlers), ModuleWith(handlers).Objects()) {}
  ~Control();
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  bool Works();

  void Begin() { level_ = KtSetTraceLevel(kNoTrace); }
  void End() { KtSetTraceLevel(level_); }

  KtStatus Send(std::size_t index) {
    return table_.Control(&objects_[index], kSelector, kWork, input_, output_, 0, 0, 0, 0,
                          reinterpret_cast<std::uintptr_t>(&kWorkInterface), 0, &provider_);
  }
  void Run() { benchmark::DoNotOptimize(Send(order_.Next())); }

 protected:
  Control(LoadedModule& module, std::vector<KtObjId> objects);

  std::vector<KtObjId> objects_;
  Order order_;

 private:
  KtProviderTable table_;
  KtPropset input_ = nullptr;
  KtPropset output_ = nullptr;
  std::uint64_t provider_ = 0;
  std::uint32_t level_ = 0;
};

// The handler for any object serves it: the object has none of its own.
class ControlOfAnyObject : public Control {
 public:
  explicit ControlOfAnyObject(std::uint32_t handlers)
      : Control(ModuleWith(handlers), PlainObjects(handlers)) {}
  bool Works();
};

}  // namespace kt::bench
