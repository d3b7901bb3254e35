#include <windows.h>

#include <csignal>
#include <cstdlib>

#include "ktcheck/call_stack.h"
#include "ktcheck/crash_line.h"
#include "ktcheck/crash_report.h"

namespace ktcheck {
namespace {

HANDLE report = INVALID_HANDLE_VALUE;

std::string_view NameOf(DWORD code) noexcept {
  switch (code) {
    case EXCEPTION_ACCESS_VIOLATION:
      return "it touched memory that is not there (access violation)";
    case EXCEPTION_STACK_OVERFLOW:
      return "it used up its stack";
    case EXCEPTION_ILLEGAL_INSTRUCTION:
      return "it ran code that is none (illegal instruction)";
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
      return "it divided by zero";
    case 0:
      return "the process was aborted: an exception nobody caught, or a failed assertion";
    default:
      return "an exception of the system that nobody caught";
  }
}

void Tell(DWORD code, const CallStack& stack) {
  static CrashLine line(NameOf(code));
  for (std::size_t i = 0; i < stack.size; ++i) {
    const auto place = PlaceOf(stack.frames[i]);
    line.AddFrame(place ? std::string_view(place->file) : "?",
                  stack.frames[i] - (place ? place->bias : 0U));
  }
  const std::string_view text = line.End();
  DWORD written = 0;
  WriteFile(report, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

LONG WINAPI OnException(EXCEPTION_POINTERS* pointers) {
  CallStack stack;
  stack.frames[stack.size++] =
      reinterpret_cast<std::uintptr_t>(pointers->ExceptionRecord->ExceptionAddress);
  const CallStack here = CaptureStack();
  for (std::size_t i = 0; i < here.size && stack.size < stack.frames.size(); ++i) {
    stack.frames[stack.size++] = here.frames[i];
  }
  Tell(pointers->ExceptionRecord->ExceptionCode, stack);
  TerminateProcess(GetCurrentProcess(), pointers->ExceptionRecord->ExceptionCode);
  return EXCEPTION_EXECUTE_HANDLER;
}

void OnAbort(int /*signal*/) {
  Tell(0, CaptureStack());
  TerminateProcess(GetCurrentProcess(), 3);
}

}  // namespace

void ReportCrashesTo(const std::filesystem::path& file) {
  report = CreateFileW(file.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                       OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  SetUnhandledExceptionFilter(&OnException);
  static_cast<void>(std::signal(SIGABRT, &OnAbort));
}

}  // namespace ktcheck
