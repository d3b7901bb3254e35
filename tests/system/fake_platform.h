// An operating system for tests: a registry that a test fills, commands and restarts that are only
// remembered. Nothing of the machine is touched.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/platform.h"

class FakePlatform : public kt::Platform {
 public:
  struct Value {
    std::vector<std::uint8_t> bytes;
    std::uint32_t size_error = 0;  // what asking for the size gives
    std::uint32_t read_error = 0;  // what reading gives
  };
  struct Key {
    std::map<KtWString, Value> values;
  };

  // ---- What there is. Key paths compare without regard to case, as they do on every system.
  Key& AddKey(const KtWString& path);
  // A text value with its terminator; the key is added when it is not there.
  void SetText(const KtWString& path, const KtWString& name, const KtWString& text);
  void SetBytes(const KtWString& path, const KtWString& name, std::vector<std::uint8_t> bytes);
  Value& ValueAt(const KtWString& path, const KtWString& name);
  void RemoveKey(const KtWString& path);

  bool command_starts = true;
  std::uint32_t exit_code = kt::kStillActive;
  KtWString start_command = KT_W("serve --start \"shadow copies\"");
  KtWString stop_command = KT_W("serve --stop \"shadow copies\"");
  kt::MachineFacts machine{9, 6, 0, false};

  bool credentials_open = true;
  bool privilege_found = true;
  bool privilege_enabled = true;
  std::uint32_t enable_error = 0;  // LastError() after the privilege was asked for
  bool restart_works = true;
  std::function<void()> on_restart;  // called while the restart is being issued
  std::uint32_t last_error = 0;

  // ---- What happened, in order: "OpenKey(path, read)", "CloseKey", "StartCommand(...)" and so on.
  std::vector<std::string> calls;
  std::size_t open_keys = 0;
  std::size_t open_credentials = 0;

  // ---- kt::Platform
  std::uint32_t OpenKey(const KtWchar* path, kt::KeyAccess access, kt::RegistryKey& key) override;
  std::uint32_t QueryValueSize(kt::RegistryKey key, const KtWchar* name,
                               std::uint32_t& size) override;
  std::uint32_t ReadValue(kt::RegistryKey key, const KtWchar* name, void* buffer,
                          std::uint32_t& size) override;
  void CloseKey(kt::RegistryKey key) noexcept override;
  const KtWchar* ShadowCopyCommand(kt::ServiceAction action) override;
  bool StartCommand(const KtWchar* command_line, std::uint32_t& code) override;
  std::uint32_t LastError() override;
  kt::MachineFacts Machine() override;
  bool OpenCredentials(kt::Credentials& credentials) override;
  bool FindRestartPrivilege(std::uint64_t& privilege) override;
  bool EnablePrivilege(kt::Credentials credentials, std::uint64_t privilege) override;
  bool ForceRestart() override;
  void CloseCredentials(kt::Credentials credentials) noexcept override;

 private:
  void Remember(const std::string& call);
  const Value* Find(kt::RegistryKey key, const KtWchar* name) const;

  std::map<KtWString, Key> keys_;  // by path in lower case
};
