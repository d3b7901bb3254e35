// The re-entrant lock that providers lay out in their own memory. The room holds the mutex itself,
// a mark that tells a live lock from other memory, and the account that it stands in.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <new>
#include <thread>

#include "bus/attribution.h"
#include "bus/gate.h"
#include "bus/inlining.h"
#include "bus/ledger.h"
#include "bus/native_lock.h"
#include "bus/trace.h"
#include "bus/wrong_free.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {
namespace {

constexpr std::uint64_t kAlive = 0x4B54'4C6F'636B'2131;  // no likely content of other memory

struct Section {
  std::atomic<std::uint64_t> mark;
  Account* account;
  NativeRecursiveMutex mutex;
};
static_assert(sizeof(Section) <= sizeof(KtCriticalSection));
static_assert(alignof(Section) <= alignof(KtCriticalSection));

KT_SELDOM void ReportDead(const KtCriticalSection* section, const char* function) noexcept {
  WriteTrace(6, "ktbus3: %s of a lock that is not initialised (%p)", function, section);
}

// The live lock in the room, or null after a line in the trace: a lock that was never initialised
// or was deleted is left alone.
KT_IN_PLACE Section* FindSection(KtCriticalSection* section, const char* function) noexcept {
  if (section != nullptr) {
    auto* const found = reinterpret_cast<Section*>(section->opaque);
    if (found->mark.load(std::memory_order_acquire) == kAlive) return found;
  }
  ReportDead(section, function);
  return nullptr;
}

}  // namespace
}  // namespace kt::bus

using kt::bus::Asker;
using kt::bus::FindSection;
using kt::bus::Kind;
using kt::bus::Section;

void KtInitializeCriticalSection(KtCriticalSection* section) {
  KT_GATE(KtInitializeCriticalSection, section);
  if (section == nullptr) return;
  auto* const made = new (section->opaque) Section;
  made->account = &Asker(KT_RETURN_ADDRESS());
  made->account->HandOut(Kind::kLock);
  made->mark.store(kt::bus::kAlive, std::memory_order_release);
}

void KtEnterCriticalSection(KtCriticalSection* section) {
  KT_GATE(KtEnterCriticalSection, section);
  if (Section* const found = FindSection(section, "KtEnterCriticalSection")) found->mutex.lock();
}

void KtLeaveCriticalSection(KtCriticalSection* section) {
  KT_GATE(KtLeaveCriticalSection, section);
  if (Section* const found = FindSection(section, "KtLeaveCriticalSection")) found->mutex.unlock();
}

void KtDeleteCriticalSection(KtCriticalSection* section) {
  KT_GATE(KtDeleteCriticalSection, section);
  if (section == nullptr) return;
  Section* const found = FindSection(section, "KtDeleteCriticalSection");
  if (found == nullptr) {
    kt::bus::ReportWrongFree(Asker(KT_RETURN_ADDRESS()), Kind::kLock, "KtDeleteCriticalSection");
    return;
  }
  found->mark.store(0, std::memory_order_release);
  found->account->Return(Kind::kLock);
  found->~Section();
}

void KtSleep(uint32_t milliseconds) {
  KT_GATE(KtSleep, milliseconds);
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}
