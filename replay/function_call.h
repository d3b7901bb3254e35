// FunctionCall: a recorded call of one of a provider's six functions, made again.
//
// Threads: one thread.
#pragma once

#include <array>
#include <vector>

#include "ktbus3/ktbus3_host.h"
#include "owned_set.h"
#include "replay/recording.h"

namespace ktreplay {

class FunctionCall {
 public:
  // Makes the arguments as they were recorded. Throws std::runtime_error when the item is no call
  // of one of the six functions, or holds what no argument can be.
  FunctionCall(const Item& enter, KtDatabase database, KtProvider provider);

  // As a gate would be shown it, before the call and after it. Good as long as the object.
  [[nodiscard]] const KtBusCall& call() const noexcept { return call_; }

  // Calls the function. What it throws is caught, as the framework catches it.
  void Make(const KtProviderTable& table) noexcept;

 private:
  void Set(std::size_t count, const Item& enter);
  [[nodiscard]] KtStatus Dispatch(const KtProviderTable& table);

  std::string function_;
  std::string provider_name_;
  std::vector<KtBusWord> words_;
  KtBusCall call_{};
  // What the words point to.
  KtObjId object_{};
  KtGuid interface_{};
  ktsvc::OwnedSet input_;
  ktsvc::OwnedSet output_;
  KtEventRecord event_{};
  std::string event_name_;
  std::uint64_t served_by_ = 0;
  KtWchar* version_ = nullptr;
};

}  // namespace ktreplay
