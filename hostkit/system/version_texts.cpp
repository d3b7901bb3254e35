#include "system/version_texts.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>

#include "base/trace.h"
#include "platform/platform.h"
#include "system/registry_reader.h"

namespace kt {
namespace {

constexpr KtWchar kVolumeEngineKey[] =
    KT_W("Software\\TORMELD\\KtSvc\\CurrentVersion\\VolumeEngine");
constexpr KtWchar kProductKey[] =
    KT_W("Software\\TORMELD\\MBN\\{4A7C2E10-93B5-4d61-A8F2-6C0E1B7D9F34}\\Config");
constexpr KtWchar kVersionFamily[] = KT_W("WINNT");

std::uint32_t OpenTraced(KeyGuard& key, const KtWchar* path) {
  const std::uint32_t error = key.Open(path, KeyAccess::kQueryValue);
  if (error != 0) {
    // "%l" is no conversion: it prints itself, and the code stays out of the line.
    KtTrace(kError, "hostkit - get_zrn_version - RegOpenKeyEx(%S) Failed. ret=%l", path, error);
  }
  return error;
}

std::uint32_t QueryTraced(const KeyGuard& key, const KtWchar* value_name, KtWString& out) {
  const std::uint32_t error = QueryRegistry(key.get(), value_name, 0, out);
  if (error != 0) {
    KtTrace(kError, "hostkit - get_zrn_version - RegQueryValueEx(%S) Failed. err=%l", value_name,
            error);
  }
  return error;
}

// The text of the product's version; returns the last status.
std::uint32_t ReadProductVersion(KtWString& result) {
  KtWString version_name;
  {
    KeyGuard product;
    if (OpenTraced(product, kProductKey) == 0) {
      static_cast<void>(QueryTraced(product, KT_W("VersionName"), version_name));
    }
  }
  KeyGuard volume_engine;
  std::uint32_t error = OpenTraced(volume_engine, kVolumeEngineKey);
  if (error != 0) return error;

  KtWString version;
  error = QueryTraced(volume_engine, KT_W("Version"), version);
  if (error != 0) return error;
  result = KT_W(" (Build ") + version + KT_W(")");

  KtWString product_version;
  error = QueryTraced(volume_engine, KT_W("ProductVersion"), product_version);
  if (error != 0) return error;
  result.insert(0, version_name.empty() ? product_version : version_name);
  return error;
}

}  // namespace

KtWString InterfaceVersionText() {
  KtWString text = kVersionFamily;
  for (const char* number : {"6", "1", "0", "445"}) {
    text += KT_W('.');
    while (*number != '\0') text += static_cast<KtWchar>(*number++);
  }
  return text;
}

KtWString VolumeEngineVersionText() {
  // The value must fit in this many bytes, which leaves the last unit of the buffer its zero.
  constexpr std::uint32_t kBytes = 399;
  std::array<KtWchar, (kBytes + 1) / sizeof(KtWchar)> value{};
  std::uint32_t size = kBytes;

  KeyGuard key;
  if (key.Open(kVolumeEngineKey, KeyAccess::kRead) == 0 &&
      HostPlatform().ReadValue(key.get(), KT_W("Version"), value.data(), size) == 0) {
    const auto end = std::find(value.begin(), value.begin() + size / sizeof(KtWchar), KtWchar{});
    KtWString text = KtWString(kVersionFamily) + KT_W('.') + KtWString(value.begin(), end);
    KtTrace(kWarning, "hostkit - Version() - %S", text.c_str());
    return text;
  }
  KtWString text = InterfaceVersionText();
  KtTrace(kError, "hostkit - Version() - cannot find registry, use build version - %S",
          text.c_str());
  return text;
}

KtWString get_zrn_version() {
  KtTrace(kWarning, "hostkit - entering get_zrn_version()");
  KtWString result;
  const std::uint32_t status = ReadProductVersion(result);
  KtTrace(kWarning, "hostkit - exiting get_zrn_version. ret=%l", status);
  return result;
}

}  // namespace kt
