// QuietPlatform is an operating system that does nothing: commands and restarts are counted, and
// the registry has one value, which answers as a fuzz input says, wrongly too.
//
// Threads: one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/platform.h"

namespace kt::fuzz {

class QuietPlatform : public Platform {
 public:
  // ---- What the registry answers
  bool key_there = false;
  std::uint32_t size_error = 0;
  std::uint32_t read_error = 0;
  std::uint32_t told_size = 0;  // what asking for the size gives, whatever the value's is
  std::string value;            // bytes; what does not fit a buffer is left out

  // ---- What was asked for
  std::size_t open_keys = 0;
  std::size_t commands = 0;
  std::size_t restarts = 0;

  std::uint32_t OpenKey(const KtWchar* path, KeyAccess access, RegistryKey& key) override;
  std::uint32_t QueryValueSize(RegistryKey key, const KtWchar* name, std::uint32_t& size) override;
  std::uint32_t ReadValue(RegistryKey key, const KtWchar* name, void* buffer,
                          std::uint32_t& size) override;
  void CloseKey(RegistryKey key) noexcept override;
  const KtWchar* ShadowCopyCommand(ServiceAction action) override;
  bool StartCommand(const KtWchar* command_line, std::uint32_t& exit_code) override;
  std::uint32_t LastError() override { return 0; }
  MachineFacts Machine() override { return {9, 6, 0, false}; }
  bool OpenCredentials(Credentials& credentials) override;
  bool FindRestartPrivilege(std::uint64_t& privilege) override;
  bool EnablePrivilege(Credentials /*credentials*/, std::uint64_t /*privilege*/) override {
    return true;
  }
  bool ForceRestart() override;
  void CloseCredentials(Credentials /*credentials*/) noexcept override {}
};

}  // namespace kt::fuzz
