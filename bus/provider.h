// Provider is an attached provider: its name, its six functions, and the guard through which the
// framework calls them.
//
// Threads:   everything from any thread.
// Ownership: objects, interfaces and subscriptions keep it alive; once it is detached it is only a
//            name, and none of its functions is called again.
// Failure:   an exception out of a function is caught here, traced, counted and answered as
//            0xC1000001. A function that is missing answers 0x80004001.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "bus/delivery_queue.h"
#include "bus/ledger.h"
#include "bus/lock.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {

class Database;

class Provider {
 public:
  Provider(std::weak_ptr<Database> database, std::string name, const KtProviderTable& table);
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;
  ~Provider() = default;

  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  [[nodiscard]] Account& account() const noexcept { return account_; }
  // The database that it is attached to; throws StatusError(kNoObject) when that is closed.
  [[nodiscard]] std::shared_ptr<Database> database() const;

  [[nodiscard]] KtProvider handle() const noexcept { return handle_; }
  void set_handle(KtProvider handle) noexcept { handle_ = handle; }

  // The functions, guarded. Once the provider is gone they answer KTBUS_PROVIDER_GONE.
  KtStatus Control(const KtObjId& object, const KtGuid& interface_id, std::uint32_t selector,
                   std::uint32_t code, KtPropset input, KtPropset output, KtStatus& answer);
  KtStatus Initialize(KtDatabase database);
  KtStatus Shutdown(std::uint64_t argument);
  KtStatus GetAttr(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d);
  KtStatus ChangeNotify(const KtEventRecord& record);
  KtStatus Version(KtWchar** out);

  // No call begins after this. False when it was gone already.
  bool Go() noexcept { return !gone_.exchange(true); }
  [[nodiscard]] bool gone() const noexcept { return gone_.load(); }
  // Whether one of its functions runs on this thread.
  [[nodiscard]] bool RunsHere() const noexcept;
  // Waits until no call runs any more; after Go() only.
  void WaitForCalls() KT_EXCLUDES(drained_lock_);

  [[nodiscard]] std::uint64_t exceptions() const noexcept { return exceptions_.load(); }
  [[nodiscard]] std::uint64_t controls() const noexcept { return controls_.load(); }
  [[nodiscard]] std::uint64_t calls_in_flight() const noexcept { return in_flight_.load(); }

  DeliveryQueue& queue() noexcept { return queue_; }

 private:
  class Call;
  struct Told;

  template <typename Function, typename... Arguments>
  std::uint32_t Run(const char* what, KtStatus& answer, Function function,
                    Arguments... arguments) noexcept;
  template <typename Function, typename... Arguments>
  KtStatus Guarded(const char* what, const Told& told, KtStatus& answer, Function function,
                   Arguments... arguments);
  void Report(const char* what, const char* thrown) noexcept;

  const std::weak_ptr<Database> database_;
  const std::string name_;
  Account& account_;
  const KtProviderTable table_;
  KtProvider handle_ = nullptr;

  std::atomic<bool> gone_{false};
  std::atomic<std::uint64_t> in_flight_{0};
  std::atomic<std::uint64_t> exceptions_{0};
  std::atomic<std::uint64_t> controls_{0};
  Mutex drained_lock_;
  std::condition_variable_any drained_;
  DeliveryQueue queue_;
};

}  // namespace kt::bus
