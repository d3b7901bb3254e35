#include <windows.h>

#include <stdexcept>

#include "host_system.h"
#include "service/program_process.h"

namespace ktsvc_test {
namespace {

std::wstring Wide(const std::string& text) {
  return ktsvc::PathFromText(text).wstring();
}

// No word of the tests holds a double quote or ends in a backslash.
std::wstring CommandLine(const std::wstring& program, const std::vector<std::string>& words) {
  std::wstring line = L"\"" + program + L"\"";
  for (const std::string& word : words) {
    line += L" \"" + Wide(word) + L"\"";
  }
  return line;
}

HANDLE OpenForChild(const std::filesystem::path& file) {
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  return CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                     CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace

Program::Process::Process(const std::filesystem::path& file, std::vector<std::string> words,
                          const Environment& environment, const std::filesystem::path& output,
                          const std::filesystem::path& errors) {
  for (const auto& [name, value] : environment) {
    SetEnvironmentVariableW(Wide(name).c_str(), Wide(value).c_str());
  }
  const std::wstring program = file.wstring();
  std::wstring line = CommandLine(program, words);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = OpenForChild(output);
  startup.hStdError = OpenForChild(errors);
  PROCESS_INFORMATION process{};
  const BOOL started = CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0,
                                      nullptr, nullptr, &startup, &process);
  CloseHandle(startup.hStdOutput);
  CloseHandle(startup.hStdError);
  for (const auto& [name, value] : environment) {
    SetEnvironmentVariableW(Wide(name).c_str(), nullptr);
  }
  if (started == FALSE) {
    throw std::runtime_error("cannot start " + ktsvc::PathText(program));
  }
  CloseHandle(process.hThread);
  id_ = reinterpret_cast<std::intptr_t>(process.hProcess);
}

Program::Process::~Process() {
  HANDLE process = reinterpret_cast<HANDLE>(id_);
  if (!HasEnded()) {
    TerminateProcess(process, 1);
    WaitForSingleObject(process, INFINITE);
  }
  CloseHandle(process);
}

bool Program::Process::HasEnded() {
  HANDLE process = reinterpret_cast<HANDLE>(id_);
  if (!ended_ && WaitForSingleObject(process, 0) == WAIT_OBJECT_0) {
    DWORD code = 0;
    GetExitCodeProcess(process, &code);
    ended_ = true;
    status_ = static_cast<int>(code);
  }
  return ended_;
}

void Program::Process::Signal(int /*number*/) {
  throw std::logic_error("there are no signals");
}

// The command interpreter's service commands reach no service of the machine here.
Environment HarmlessServices(const ScratchFolder& /*folder*/) {
  return {};
}

}  // namespace ktsvc_test
