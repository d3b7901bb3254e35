#include "system/fake_platform.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "support/failing_new.h"

namespace {

constexpr std::uint32_t kNotFound = 2;
constexpr std::uint32_t kMoreData = 234;

KtWString LowerCase(KtWString text) {
  for (KtWchar& unit : text) {
    if (unit >= 'A' && unit <= 'Z') unit = static_cast<KtWchar>(unit - 'A' + 'a');
  }
  return text;
}

std::string Plain(const KtWString& text) {
  std::string plain;
  for (const KtWchar unit : text) plain.push_back(static_cast<char>(unit));
  return plain;
}

}  // namespace

FakePlatform::Key& FakePlatform::AddKey(const KtWString& path) {
  return keys_[LowerCase(path)];
}

void FakePlatform::SetText(const KtWString& path, const KtWString& name, const KtWString& text) {
  std::vector<std::uint8_t> bytes((text.size() + 1) * sizeof(KtWchar));
  std::memcpy(bytes.data(), text.c_str(), bytes.size());
  SetBytes(path, name, std::move(bytes));
}

void FakePlatform::SetBytes(const KtWString& path, const KtWString& name,
                            std::vector<std::uint8_t> bytes) {
  ValueAt(path, name).bytes = std::move(bytes);
}

FakePlatform::Value& FakePlatform::ValueAt(const KtWString& path, const KtWString& name) {
  return AddKey(path).values[LowerCase(name)];
}

void FakePlatform::RemoveKey(const KtWString& path) {
  keys_.erase(LowerCase(path));
}

void FakePlatform::Remember(const std::string& call) {
  calls.push_back(call);
}

std::uint32_t FakePlatform::OpenKey(const KtWchar* path, kt::KeyAccess access,
                                    kt::RegistryKey& key) {
  const support::SpareAllocations spared;
  Remember("OpenKey(" + Plain(path) +
           (access == kt::KeyAccess::kRead ? ", read)" : ", query value)"));
  const auto found = keys_.find(LowerCase(path));
  if (found == keys_.end()) return kNotFound;
  key = reinterpret_cast<kt::RegistryKey>(&found->second);
  ++open_keys;
  return 0;
}

const FakePlatform::Value* FakePlatform::Find(kt::RegistryKey key, const KtWchar* name) const {
  const auto& values = reinterpret_cast<const Key*>(key)->values;
  const auto found = values.find(LowerCase(name));
  return found == values.end() ? nullptr : &found->second;
}

std::uint32_t FakePlatform::QueryValueSize(kt::RegistryKey key, const KtWchar* name,
                                           std::uint32_t& size) {
  const support::SpareAllocations spared;
  Remember("QueryValueSize(" + Plain(name) + ")");
  const Value* const value = Find(key, name);
  if (value == nullptr) return kNotFound;
  if (value->size_error != 0) return value->size_error;
  size = static_cast<std::uint32_t>(value->bytes.size());
  return 0;
}

std::uint32_t FakePlatform::ReadValue(kt::RegistryKey key, const KtWchar* name, void* buffer,
                                      std::uint32_t& size) {
  const support::SpareAllocations spared;
  Remember("ReadValue(" + Plain(name) + ", " + std::to_string(size) + ")");
  const Value* const value = Find(key, name);
  if (value == nullptr) return kNotFound;
  if (value->read_error != 0) return value->read_error;
  if (value->bytes.size() > size) return kMoreData;
  size = static_cast<std::uint32_t>(value->bytes.size());
  if (size != 0) std::memcpy(buffer, value->bytes.data(), size);
  return 0;
}

void FakePlatform::CloseKey(kt::RegistryKey /*key*/) noexcept {
  const support::SpareAllocations spared;
  Remember("CloseKey");
  --open_keys;
}

const KtWchar* FakePlatform::ShadowCopyCommand(kt::ServiceAction action) {
  return (action == kt::ServiceAction::kStart ? start_command : stop_command).c_str();
}

bool FakePlatform::StartCommand(const KtWchar* command_line, std::uint32_t& code) {
  const support::SpareAllocations spared;
  Remember("StartCommand(" + Plain(command_line) + ")");
  if (command_starts) code = exit_code;
  return command_starts;
}

std::uint32_t FakePlatform::LastError() {
  return last_error;
}

kt::MachineFacts FakePlatform::Machine() {
  return machine;
}

bool FakePlatform::OpenCredentials(kt::Credentials& credentials) {
  const support::SpareAllocations spared;
  Remember("OpenCredentials");
  if (!credentials_open) return false;
  credentials = reinterpret_cast<kt::Credentials>(this);
  ++open_credentials;
  return true;
}

bool FakePlatform::FindRestartPrivilege(std::uint64_t& privilege) {
  const support::SpareAllocations spared;
  Remember("FindRestartPrivilege");
  privilege = 19;
  return privilege_found;
}

bool FakePlatform::EnablePrivilege(kt::Credentials credentials, std::uint64_t privilege) {
  const support::SpareAllocations spared;
  Remember("EnablePrivilege(" + std::to_string(privilege) + ")" +
           (credentials == reinterpret_cast<kt::Credentials>(this) ? "" : " of a stranger"));
  last_error = enable_error;
  return privilege_enabled;
}

bool FakePlatform::ForceRestart() {
  const support::SpareAllocations spared;
  Remember("ForceRestart");
  if (on_restart) on_restart();
  return restart_works;
}

void FakePlatform::CloseCredentials(kt::Credentials /*credentials*/) noexcept {
  const support::SpareAllocations spared;
  Remember("CloseCredentials");
  --open_credentials;
}
