#include <sys/utsname.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "platform/architecture.h"
#include "platform/detached_command.h"
#include "platform/platform.h"
#include "platform/posix_registry.h"

namespace kt {

struct RegistryKeyHandle {
  PosixRegistryKey key;
};

namespace {

std::vector<std::string> Words(std::string_view line) {
  std::vector<std::string> words;
  while (!line.empty()) {
    const std::size_t end = line.find(' ');
    if (end != 0) words.emplace_back(line.substr(0, end));
    if (end == std::string_view::npos) break;
    line.remove_prefix(end + 1);
  }
  return words;
}

// A lack of memory is a failure like any other: `body` returns 0 or an error number.
template <typename Body>
int Contained(const Body& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return ENOMEM;
  }
}

class PosixPlatform final : public Platform {
 public:
  // Both accesses are the same here: names are compared, so folders are listed either way.
  std::uint32_t OpenKey(const KtWchar* path, KeyAccess /*access*/, RegistryKey& key) override {
    return static_cast<std::uint32_t>(Contained([&] {
      auto opened = std::make_unique<RegistryKeyHandle>();
      const int result = opened->key.Open(path);
      if (result == 0) key = opened.release();
      return result;
    }));
  }

  std::uint32_t QueryValueSize(RegistryKey key, const KtWchar* name, std::uint32_t& size) override {
    KtWString value;
    return Read(key, name, value, size);
  }

  std::uint32_t ReadValue(RegistryKey key, const KtWchar* name, void* buffer,
                          std::uint32_t& size) override {
    KtWString value;
    std::uint32_t needed = 0;
    const std::uint32_t result = Read(key, name, value, needed);
    if (result != 0) return result;
    if (needed > size) return ERANGE;
    if (needed != 0) std::memcpy(buffer, value.c_str(), needed);
    size = needed;
    return 0;
  }

  void CloseKey(RegistryKey key) noexcept override {
    delete key;  // NOLINT(cppcoreguidelines-owning-memory): handed out by OpenKey
  }

  const KtWchar* ShadowCopyCommand(ServiceAction action) override {
    return action == ServiceAction::kStart ? KT_W("systemctl start tormeld-vss-provider.service")
                                           : KT_W("systemctl stop tormeld-vss-provider.service");
  }

  bool StartCommand(const KtWchar* command_line, std::uint32_t& exit_code) override {
    const int result = Contained([command_line] {
      // The commands are this platform's own, plain ASCII.
      std::string line;
      for (const KtWchar* unit = command_line; *unit != 0; ++unit) {
        line.push_back(static_cast<char>(*unit));
      }
      return StartDetached(Words(line));
    });
    errno = result;
    if (result != 0) return false;
    exit_code = kStillActive;  // nobody waits, so nobody knows better
    return true;
  }

  std::uint32_t LastError() override { return static_cast<std::uint32_t>(errno); }

  MachineFacts Machine() override {
    MachineFacts facts;
    utsname names{};
    if (uname(&names) != 0) return facts;
    facts.architecture = ArchitectureCode(names.machine);
    facts.major_version =
        static_cast<std::uint32_t>(std::strtoul(names.release, nullptr, 10));  // "6.1.0-32-amd64"
    return facts;
  }

  // There is no privilege to ask for beforehand: whoever may not restart is refused at that.
  bool OpenCredentials(Credentials& credentials) override {
    credentials = nullptr;
    return true;
  }
  bool FindRestartPrivilege(std::uint64_t& privilege) override {
    privilege = 0;
    return true;
  }
  bool EnablePrivilege(Credentials /*credentials*/, std::uint64_t /*privilege*/) override {
    errno = 0;
    return true;
  }
  bool ForceRestart() override {
    errno = Contained([] { return StartDetached({"systemctl", "reboot", "--force"}); });
    return errno == 0;
  }
  void CloseCredentials(Credentials /*credentials*/) noexcept override {}

 private:
  static std::uint32_t Read(RegistryKey key, const KtWchar* name, KtWString& value,
                            std::uint32_t& size) {
    bool present = false;
    const int result = Contained([&] { return key->key.Read(name, value, present); });
    if (result == 0) {
      size = present ? static_cast<std::uint32_t>((value.size() + 1) * sizeof(KtWchar)) : 0;
    }
    return static_cast<std::uint32_t>(result);
  }
};

PosixPlatform g_platform;

}  // namespace

Platform& NativePlatform() noexcept {
  return g_platform;
}

}  // namespace kt
