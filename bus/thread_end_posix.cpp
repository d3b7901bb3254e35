#include <pthread.h>

#include <array>
#include <utility>

#include "bus/thread_end.h"
#include "bus/thread_local.h"

namespace kt::bus {
namespace {

// What a thread calls at its end.
class ThreadEndFunctions {
 public:
  // False when there is no place left.
  bool Add(void (*function)() noexcept) noexcept {
    for (auto& place : functions_) {
      if (place != nullptr) continue;
      place = function;
      return true;
    }
    return false;
  }

  void CallAll() noexcept {
    for (auto& place : functions_) {
      if (const auto function = std::exchange(place, nullptr)) function();
    }
  }

 private:
  std::array<void (*)() noexcept, 4> functions_{};
};

constinit thread_local ThreadEndFunctions this_thread_calls KT_FOUND_BY_LOADS;

// A value of the thread's own whose destructor the system calls. Setting it says so when there is
// no memory.
class Key {
 public:
  Key() noexcept : made_(pthread_key_create(&key_, &CallAll) == 0) {}
  ~Key() {
    if (made_) pthread_key_delete(key_);
  }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;

  bool Set(ThreadEndFunctions& functions) const noexcept {
    return made_ && pthread_setspecific(key_, &functions) == 0;
  }

 private:
  static void CallAll(void* functions) { static_cast<ThreadEndFunctions*>(functions)->CallAll(); }

  pthread_key_t key_ = 0;
  bool made_;
};
const Key g_key;

}  // namespace

bool CallAtThreadEnd(void (*function)() noexcept) noexcept {
  return g_key.Set(this_thread_calls) && this_thread_calls.Add(function);
}

}  // namespace kt::bus
