#include <windows.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "host_system.h"
#include "ktcheck/process.h"

namespace ktcheck {
namespace {

std::wstring Wide(const std::string& text) {
  return ktsvc::PathFromText(text).wstring();
}

// The word as the system's own rules take it apart again: a backslash counts only before a quote.
std::wstring Quoted(const std::wstring& word) {
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t letter : word) {
    if (letter == L'"') quoted.append(backslashes + 1, L'\\');
    backslashes = letter == L'\\' ? backslashes + 1 : 0;
    quoted += letter;
  }
  return quoted.append(backslashes, L'\\') + L'"';
}

}  // namespace

Process::Process(const std::filesystem::path& program, const std::vector<std::string>& words,
                 const std::filesystem::path& output) {
  std::wstring line = Quoted(program.wstring());
  for (const std::string& word : words) line += L' ' + Quoted(Wide(word));
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE file = CreateFileW(output.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                            &inherited, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = file;
  startup.hStdError = file;
  PROCESS_INFORMATION process{};
  const BOOL started = CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0,
                                      nullptr, nullptr, &startup, &process);
  CloseHandle(file);
  if (started == FALSE) {
    throw std::runtime_error("cannot start " + ktsvc::PathText(program));
  }
  CloseHandle(process.hThread);
  id_ = reinterpret_cast<std::intptr_t>(process.hProcess);
}

Process::~Process() {
  Kill();
  CloseHandle(reinterpret_cast<HANDLE>(id_));
}

std::optional<ProcessEnd> Process::Ask() {
  HANDLE process = reinterpret_cast<HANDLE>(id_);
  if (!end_ && WaitForSingleObject(process, 0) == WAIT_OBJECT_0) {
    DWORD code = 0;
    GetExitCodeProcess(process, &code);
    end_.emplace();
    if (code >= 0x80000000U) {
      std::array<char, 32> text{};
      static_cast<void>(std::snprintf(text.data(), text.size(), "exception 0x%08lX", code));
      end_->killed = text.data();
    } else {
      end_->status = static_cast<int>(code);
    }
  }
  return end_;
}

void Process::Kill() {
  if (Ask()) return;
  HANDLE process = reinterpret_cast<HANDLE>(id_);
  TerminateProcess(process, 1);
  WaitForSingleObject(process, INFINITE);
  end_ = ProcessEnd{1, "it was ended"};
}

void SetVariable(const std::string& name, const std::string& value) {
  if (SetEnvironmentVariableW(Wide(name).c_str(), Wide(value).c_str()) == FALSE) {
    throw std::runtime_error(name + " cannot be set");
  }
}

std::string Variable(const std::string& name) {
  const DWORD size = GetEnvironmentVariableW(Wide(name).c_str(), nullptr, 0);
  if (size == 0) return {};
  std::wstring value(size, L'\0');
  value.resize(GetEnvironmentVariableW(Wide(name).c_str(), value.data(), size));
  return ktsvc::PathText(std::filesystem::path(value));
}

}  // namespace ktcheck
