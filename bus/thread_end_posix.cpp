#include <pthread.h>

#include "bus/thread_end.h"
#include "bus/thread_end_functions.h"
#include "bus/thread_local.h"

namespace kt::bus {
namespace {

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
