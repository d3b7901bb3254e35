#include "platform/platform.h"

#include <atomic>

namespace kt {
namespace {

std::atomic<Platform*> g_override{nullptr};

}  // namespace

Platform& HostPlatform() noexcept {
  Platform* const replaced = g_override.load();
  return replaced == nullptr ? NativePlatform() : *replaced;
}

PlatformOverride::PlatformOverride(Platform& platform) noexcept {
  g_override = &platform;
}

PlatformOverride::~PlatformOverride() {
  g_override = nullptr;
}

}  // namespace kt
