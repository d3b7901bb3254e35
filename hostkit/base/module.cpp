#include "base/module.h"

#include <atomic>

namespace kt {
namespace {

std::atomic<KtDatabase> g_database{nullptr};
std::atomic<KtProvider> g_provider{nullptr};

}  // namespace

KtDatabase DatabaseHandle() noexcept {
  return g_database.load(std::memory_order_acquire);
}

KtProvider ProviderHandle() noexcept {
  return g_provider.load(std::memory_order_acquire);
}

void SetHandles(KtDatabase database, KtProvider provider) noexcept {
  g_database.store(database, std::memory_order_release);
  g_provider.store(provider, std::memory_order_release);
}

}  // namespace kt
