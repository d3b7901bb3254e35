#include <windows.h>
// windows.h must stand first.
#include <aclapi.h>
#include <sddl.h>

#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host_system.h"
#include "module_error.h"
#include "module_file.h"
#include "module_image.h"
#include "system_message_win32.h"

namespace ktsvc {
namespace {

// Rights with which others could change what a file holds, or what stands in a folder.
constexpr DWORD kWritingRights = FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_DELETE_CHILD | DELETE |
                                 WRITE_DAC | WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;

// TrustedInstaller, the account that the system's own files belong to; and "the owner", whoever
// that is.
constexpr const wchar_t* kTrustedInstaller =
    L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";
constexpr const wchar_t* kOwnerRights = L"S-1-3-4";

struct CloseSystemHandle {
  void operator()(void* handle) const noexcept { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseSystemHandle>;

struct FreeLocal {
  void operator()(void* block) const noexcept { LocalFree(block); }
};
template <typename Type>
using LocalBlock = std::unique_ptr<Type, FreeLocal>;

[[noreturn]] void FailToOpen(const std::filesystem::path& path, DWORD error) {
  if (error == ERROR_SHARING_VIOLATION) {
    throw ModuleError(PathText(path) + " is open for writing in another program",
                      "Wait until it has been written, then start again.");
  }
  throw ModuleError(PathText(path) + " cannot be opened: " + SystemMessage(error),
                    "See who may do what there: icacls \"" + PathText(path) + "\"");
}

// `share` is what others may do meanwhile.
Handle Open(const std::filesystem::path& path, DWORD access, DWORD share, DWORD flags) {
  HANDLE handle = CreateFileW(path.c_str(), access, share, nullptr, OPEN_EXISTING, flags, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    FailToOpen(path, GetLastError());
  }
  return Handle(handle);
}

// As the loader is told it: with the drive's letter, and short where it can be.
std::filesystem::path CanonicalPath(HANDLE file, const std::filesystem::path& path) {
  std::wstring text(MAX_PATH, L'\0');
  for (;;) {
    const DWORD size = GetFinalPathNameByHandleW(file, text.data(), static_cast<DWORD>(text.size()),
                                                 VOLUME_NAME_DOS);
    if (size == 0) {
      FailToOpen(path, GetLastError());
    }
    if (size < text.size()) {
      text.resize(size);
      break;
    }
    text.resize(size);
  }
  constexpr std::wstring_view kLong = L"\\\\?\\";
  constexpr std::wstring_view kLongShare = L"\\\\?\\UNC\\";
  if (text.starts_with(kLongShare)) {
    return L"\\\\" + text.substr(kLongShare.size());
  }
  return text.starts_with(kLong) && text.size() - kLong.size() < MAX_PATH
             ? text.substr(kLong.size())
             : text;
}

// ---- Accounts -----------------------------------------------------------------------------------

std::string SidText(PSID sid) {
  LPWSTR text = nullptr;
  if (ConvertSidToStringSidW(sid, &text) == FALSE) {
    return "?";
  }
  const LocalBlock<wchar_t> owned(text);
  return PathText(std::filesystem::path(text));
}

// "BUILTIN\Users", or its number where it has no name.
std::string AccountText(PSID sid) {
  std::array<wchar_t, 256> name{};
  std::array<wchar_t, 256> domain{};
  auto nameSize = static_cast<DWORD>(name.size());
  auto domainSize = static_cast<DWORD>(domain.size());
  SID_NAME_USE use{};
  if (LookupAccountSidW(nullptr, sid, name.data(), &nameSize, domain.data(), &domainSize, &use) ==
      FALSE) {
    return SidText(sid);
  }
  const std::wstring whole =
      (domain[0] == 0 ? std::wstring() : domain.data() + std::wstring(L"\\")) + name.data();
  return PathText(std::filesystem::path(whole));
}

// Who may own and write a module.
class TrustedAccounts {
 public:
  TrustedAccounts() {
    AddWellKnown(WinBuiltinAdministratorsSid);
    AddWellKnown(WinLocalSystemSid);
    AddText(kTrustedInstaller);
    AddText(kOwnerRights);
    AddOwn();
  }

  [[nodiscard]] bool Has(PSID sid) const {
    for (const std::vector<unsigned char>& one : sids_) {
      if (EqualSid(sid, const_cast<unsigned char*>(one.data())) != FALSE) {
        return true;
      }
    }
    return false;
  }

 private:
  void Add(PSID sid) {
    const auto* const bytes = static_cast<const unsigned char*>(sid);
    sids_.emplace_back(bytes, bytes + GetLengthSid(sid));
  }

  void AddWellKnown(WELL_KNOWN_SID_TYPE type) {
    std::array<unsigned char, SECURITY_MAX_SID_SIZE> sid{};
    auto size = static_cast<DWORD>(sid.size());
    if (CreateWellKnownSid(type, nullptr, sid.data(), &size) != FALSE) {
      Add(sid.data());
    }
  }

  void AddText(const wchar_t* text) {
    PSID sid = nullptr;
    if (ConvertStringSidToSidW(text, &sid) != FALSE) {
      const LocalBlock<void> owned(sid);
      Add(sid);
    }
  }

  void AddOwn() {
    HANDLE token = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == FALSE) {
      return;
    }
    const Handle owned(token);
    DWORD size = 0;
    GetTokenInformation(token, TokenUser, nullptr, 0, &size);
    std::vector<unsigned char> user(size);
    if (GetTokenInformation(token, TokenUser, user.data(), size, &size) != FALSE) {
      Add(reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid);
    }
  }

  std::vector<std::vector<unsigned char>> sids_;
};

// ---- Judgement ----------------------------------------------------------------------------------

// Takes writing from one account and leaves it reading, without touching what others have.
std::string RepairCommand(const std::string& path, PSID sid, bool folder) {
  const std::string word = "\"" + path + "\"";
  return "icacls " + word + " /inheritance:d && icacls " + word + " /grant:r *" + SidText(sid) +
         (folder ? ":(OI)(CI)RX" : ":RX");
}

[[noreturn]] void Refuse(const std::string& reason, const std::string& command) {
  throw ModuleError("others could decide what code this is: " + reason,
                    "Run as an administrator: " + command);
}

void Judge(HANDLE handle, const std::filesystem::path& path, bool folder,
           const TrustedAccounts& trusted) {
  PSID owner = nullptr;
  PACL list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const DWORD error = GetSecurityInfo(handle, SE_FILE_OBJECT,
                                      OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                                      &owner, nullptr, &list, nullptr, &descriptor);
  if (error != ERROR_SUCCESS) {
    throw ModuleError(
        "who may write " + PathText(path) + " cannot be found out: " + SystemMessage(error),
        "A module stands on a disk of this machine, in a format with access lists.");
  }
  const LocalBlock<void> owned(descriptor);
  const std::string name = PathText(path);
  if (owner == nullptr || !trusted.Has(owner)) {
    Refuse(name + " belongs to " + (owner == nullptr ? "nobody" : AccountText(owner)) +
               ", neither to the system's accounts nor to the service's own",
           "icacls \"" + name + "\" /setowner *S-1-5-32-544");
  }
  if (list == nullptr) {
    Refuse(name + " has no access list, so everybody may write it",
           "icacls \"" + name + "\" /reset && icacls \"" + name +
               "\" /inheritance:r /grant:r *S-1-5-32-544:F *S-1-5-18:F *S-1-5-32-545:RX");
  }
  for (WORD i = 0; i < list->AceCount; ++i) {
    void* found = nullptr;
    if (GetAce(list, i, &found) == FALSE) {
      continue;
    }
    auto* const entry = static_cast<ACCESS_ALLOWED_ACE*>(found);
    const BYTE type = entry->Header.AceType;
    const bool allows = type == ACCESS_ALLOWED_ACE_TYPE || type == ACCESS_ALLOWED_CALLBACK_ACE_TYPE;
    const bool concernsThis = (entry->Header.AceFlags & INHERIT_ONLY_ACE) == 0;
    PSID const sid = &entry->SidStart;
    if (allows && concernsThis && (entry->Mask & kWritingRights) != 0 && !trusted.Has(sid)) {
      Refuse(AccountText(sid) + " may write " + name, RepairCommand(name, sid, folder));
    }
  }
}

ImageSource Bytes(HANDLE file, const std::filesystem::path& path) {
  LARGE_INTEGER size{};
  if (GetFileSizeEx(file, &size) == FALSE) {
    FailToOpen(path, GetLastError());
  }
  return {static_cast<std::uint64_t>(size.QuadPart),
          [file](std::uint64_t at, void* to, std::size_t count) {
            OVERLAPPED place{};
            place.Offset = static_cast<DWORD>(at & 0xFFFFFFFFU);
            place.OffsetHigh = static_cast<DWORD>(at >> 32U);
            DWORD got = 0;
            return ReadFile(file, to, static_cast<DWORD>(count), &got, &place) != FALSE &&
                   got == count;
          }};
}

}  // namespace

class ModuleFile::Opened {
 public:
  Handle file;
  Handle folder;
};

ModuleFile::ModuleFile(const std::filesystem::path& file) : opened_(std::make_unique<Opened>()) {
  opened_->file = Open(file, GENERIC_READ, FILE_SHARE_READ, FILE_ATTRIBUTE_NORMAL);
  path_ = CanonicalPath(opened_->file.get(), file);
  const std::filesystem::path above = path_.parent_path();
  // Others may work in the folder meanwhile, but not rename it.
  opened_->folder =
      Open(above, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, FILE_FLAG_BACKUP_SEMANTICS);
  const TrustedAccounts trusted;
  Judge(opened_->folder.get(), above, true, trusted);
  Judge(opened_->file.get(), path_, false, trusted);
  RequireLoadable(Bytes(opened_->file.get(), path_), ProgramKind());
}

ModuleFile::~ModuleFile() = default;

}  // namespace ktsvc
