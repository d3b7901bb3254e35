#include "system_message_win32.h"

#include <windows.h>

#include "host_system.h"

namespace ktsvc {

std::string SystemMessage(std::uint32_t error) {
  std::wstring text(512, L'\0');
  const DWORD size =
      FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                     text.data(), static_cast<DWORD>(text.size()), nullptr);
  text.resize(size);
  text.erase(text.find_last_not_of(L"\r\n .") + 1);  // the line end that it comes with
  const std::size_t place = text.find(L"%1");        // where the system wants the file's name
  if (place != std::wstring::npos) {
    text.replace(place, 2, L"the file");
  }
  return (text.empty() ? "no words for it" : PathText(std::filesystem::path(text))) + " (error " +
         std::to_string(error) + ")";
}

}  // namespace ktsvc
