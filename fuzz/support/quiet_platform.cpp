#include "support/quiet_platform.h"

#include <algorithm>
#include <cstring>

namespace kt::fuzz {
namespace {

constexpr std::uint32_t kNotFound = 2;

}  // namespace

std::uint32_t QuietPlatform::OpenKey(const KtWchar* /*path*/, KeyAccess /*access*/,
                                     RegistryKey& key) {
  if (!key_there) return kNotFound;
  ++open_keys;
  key = reinterpret_cast<RegistryKey>(this);
  return 0;
}

std::uint32_t QuietPlatform::QueryValueSize(RegistryKey /*key*/, const KtWchar* /*name*/,
                                            std::uint32_t& size) {
  if (size_error == 0) size = told_size;
  return size_error;
}

std::uint32_t QuietPlatform::ReadValue(RegistryKey /*key*/, const KtWchar* /*name*/, void* buffer,
                                       std::uint32_t& size) {
  if (read_error != 0) return read_error;
  size = static_cast<std::uint32_t>(std::min<std::size_t>(size, value.size()));
  std::memcpy(buffer, value.data(), size);
  return 0;
}

void QuietPlatform::CloseKey(RegistryKey /*key*/) noexcept {
  --open_keys;
}

const KtWchar* QuietPlatform::ShadowCopyCommand(ServiceAction action) {
  return action == ServiceAction::kStart ? KT_W("start") : KT_W("stop");
}

bool QuietPlatform::StartCommand(const KtWchar* /*command_line*/, std::uint32_t& exit_code) {
  ++commands;
  exit_code = kStillActive;
  return true;
}

bool QuietPlatform::OpenCredentials(Credentials& credentials) {
  credentials = nullptr;
  return true;
}

bool QuietPlatform::FindRestartPrivilege(std::uint64_t& privilege) {
  privilege = 0;
  return true;
}

bool QuietPlatform::ForceRestart() {
  ++restarts;
  return true;
}

}  // namespace kt::fuzz
