// The registry reader: a tree of folders and files with whatever content, and a registry that
// answers wrongly.
//
// Input: a byte. Odd: what the registry answers (see TryAnswers). Even: values for the tree, each a
// byte (which value; 0xFF behind the last) and its content as a text, then a key path and a value
// name to look for.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>

#include "ktbus3/ktbus3_host.h"
#include "platform/posix_registry.h"
#include "support/byte_source.h"
#include "support/ledger_check.h"
#include "support/plain_text.h"
#include "support/quiet_platform.h"
#include "support/require.h"
#include "system/product.h"
#include "system/registry_reader.h"
#include "system/version_texts.h"

namespace {

namespace fs = std::filesystem;
using kt::fuzz::ByteSource;
using kt::fuzz::Require;
using kt::fuzz::RequireSame;
using kt::fuzz::RequireSameNumber;
using kt::fuzz::UnitBytes;

constexpr KtWchar kVolumeEngine[] = KT_W("SOFTWARE\\Tormeld\\KtSvc\\CurrentVersion\\VolumeEngine");
constexpr KtWchar kConfig[] =
    KT_W("SOFTWARE\\Tormeld\\MBN\\{4A7C2E10-93B5-4d61-A8F2-6C0E1B7D9F34}\\Config");

// The values that the module reads, and one that nobody asks for.
struct Place {
  const char* folder;
  const KtWchar* key;
  const char* name;
  const KtWchar* wide_name;
};
constexpr std::array kPlaces{
    Place{"Tormeld/KtSvc/CurrentVersion/VolumeEngine", kVolumeEngine, "Version", KT_W("Version")},
    Place{"Tormeld/KtSvc/CurrentVersion/VolumeEngine", kVolumeEngine, "ProductVersion",
          KT_W("ProductVersion")},
    Place{"Tormeld/MBN/{4A7C2E10-93B5-4d61-A8F2-6C0E1B7D9F34}/Config", kConfig, "VersionName",
          KT_W("VersionName")},
    Place{"Tormeld/MBN/{4A7C2E10-93B5-4d61-A8F2-6C0E1B7D9F34}/Config", kConfig, "other",
          KT_W("other")},
};

// A folder of this process's own, in memory where the system has such a place; gone at the end.
class Tree {
 public:
  Tree() {
    const char* const named = std::getenv("TMPDIR");
    const std::string base = named != nullptr         ? named
                             : fs::exists("/dev/shm") ? "/dev/shm"
                                                      : "/tmp";
    std::string pattern = base + "/ktfuzz-registry-XXXXXX";
    Require(mkdtemp(pattern.data()) != nullptr, "a folder for the tree can be made");
    root = pattern;
    Require(setenv("KT_REGISTRY", root.c_str(), 1) == 0, "the tree can be named");
    software = root / "HKEY_LOCAL_MACHINE" / "SOFTWARE";
    for (const Place& place : kPlaces) fs::create_directories(software / place.folder);
    fs::create_directories(software /
                           "Tormeld/KtSvc/CurrentVersion/InstalledProducts/Multiplex Paths");
  }
  ~Tree() {
    std::error_code ignored;
    fs::remove_all(root, ignored);
  }
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  fs::path root;
  fs::path software;
};

// A value as it should be read: nothing for one that is not there or is no UTF-8.
struct Value {
  bool there = false;
  std::string content;

  [[nodiscard]] std::optional<KtWString> Text() const {
    if (!there) return std::nullopt;
    std::string text = content;
    if (!text.empty() && text.back() == '\n') text.pop_back();
    const auto characters = kt::fuzz::FromUtf8(text.c_str());
    if (characters.malformed) return std::nullopt;
    return kt::fuzz::AsUtf16(characters.list);
  }
};

using Values = std::array<Value, kPlaces.size()>;

Values WriteTree(const Tree& tree, ByteSource& source) {
  Values values;
  for (std::uint8_t which = source.Byte(); which != 0xFF && !source.Empty();
       which = source.Byte()) {
    Value& value = values[which % values.size()];
    value.there = true;
    value.content = source.Text();
  }
  for (std::size_t i = 0; i < kPlaces.size(); ++i) {
    const fs::path file = tree.software / kPlaces[i].folder / kPlaces[i].name;
    std::error_code ignored;
    fs::remove(file, ignored);
    if (values[i].there) std::ofstream(file, std::ios::binary) << values[i].content;
  }
  return values;
}

// What clients see, by the words of the manual: the build in brackets, before it the product's
// name or, without one, its version.
KtWString PlainProductVersion(const Values& values) {
  const auto read = [&](std::size_t i) { return values[i].Text(); };
  // A value of no size at all is read as nothing, and that is no failure.
  const auto empty = [&](std::size_t i) { return values[i].there && values[i].content.empty(); };
  const std::optional<KtWString> version =
      empty(0) ? std::optional<KtWString>(KtWString()) : read(0);
  if (!version) return {};
  KtWString text = KT_W(" (Build ") + *version + KT_W(")");
  const std::optional<KtWString> product =
      empty(1) ? std::optional<KtWString>(KtWString()) : read(1);
  if (!product) return text;
  const KtWString name = read(2).value_or(KtWString());
  return (name.empty() ? *product : name) + text;
}

void TryTree(ByteSource& source) {
  static const Tree tree;
  const Values values = WriteTree(tree, source);
  for (std::size_t i = 0; i < kPlaces.size(); ++i) {
    kt::PosixRegistryKey key;
    RequireSameNumber(0, key.Open(kPlaces[i].key), "a key that is there opens");
    KtWString text = KT_W("untouched");
    bool present = false;
    const int error = key.Read(kPlaces[i].wide_name, text, present);
    const auto expected = values[i].Text();
    Require((error == 0) == expected.has_value(), "UTF-8 that is there is read, and nothing else");
    RequireSameNumber(values[i].there ? (expected ? 0 : EILSEQ) : ENOENT, error,
                      "the error says what is wrong");
    if (!expected) continue;
    RequireSame(UnitBytes(*expected), UnitBytes(text), "the value is read as it was written");
    Require(present == !values[i].content.empty(), "a file without a byte is a value of no size");
  }
  RequireSame(UnitBytes(PlainProductVersion(values)), UnitBytes(kt::get_zrn_version()),
              "the product's version is put together from what there is");
  const KtWString engine = kt::VolumeEngineVersionText();
  const auto version = values[0].Text();
  const bool fits = version && (values[0].content.empty() || (version->size() + 1) * 2 <= 399);
  RequireSame(UnitBytes(fits ? KT_W("WINNT.") + *version : kt::InterfaceVersionText()),
              UnitBytes(engine), "the volume engine's version is the value or the interface's");
  Require(kt::IsMultipathOnly(), "the product's key is found");

  // Any path and any name: found or not, and never outside the tree.
  kt::PosixRegistryKey key;
  const KtWString path = source.WideTextWithoutZero();
  const KtWString name = source.WideTextWithoutZero();
  if (key.Open(path.c_str()) != 0) return;
  KtWString text;
  bool present = false;
  static_cast<void>(key.Read(name.c_str(), text, present));
}

// A registry of which no answer fits another: the size that is told, the bytes that come.
void TryAnswers(ByteSource& source) {
  kt::fuzz::QuietPlatform platform;
  const kt::PlatformOverride in_force(platform);
  platform.key_there = source.Below(8) != 0;
  platform.size_error = source.Below(8) == 0 ? source.Number32() : 0;
  platform.read_error = source.Below(8) == 0 ? source.Number32() : 0;
  platform.told_size = source.Below(4) == 0 ? source.Number32() % 70'000 : source.Byte() % 64U;
  platform.value = source.Rest();

  KtWString out = KT_W("before");
  {
    kt::KeyGuard key;
    const std::uint32_t opened = key.Open(KT_W("any"), kt::KeyAccess::kRead);
    Require((opened == 0) == platform.key_there, "a key opens where there is one");
    if (opened == 0) {
      const std::uint32_t error = kt::QueryRegistry(key.get(), KT_W("value"), 0, out);
      KtWString expected = KT_W("before");
      std::uint32_t expected_error = platform.size_error;
      if (expected_error == 0 && platform.told_size != 0) expected_error = platform.read_error;
      if (expected_error == 0 && platform.told_size != 0) {
        const std::size_t size = std::min<std::size_t>(platform.told_size, platform.value.size());
        expected.clear();
        for (std::size_t i = 0; i + 1 < size; i += 2) {
          const auto unit =
              static_cast<KtWchar>(static_cast<unsigned char>(platform.value[i]) |
                                   (static_cast<unsigned char>(platform.value[i + 1]) << 8U));
          if (unit == 0) break;
          expected += unit;
        }
      }
      RequireSameNumber(expected_error, error, "the registry's own error is the answer");
      RequireSame(UnitBytes(expected), UnitBytes(out), "a value ends at its first zero or its end");
    }
  }
  static_cast<void>(kt::get_zrn_version());
  static_cast<void>(kt::VolumeEngineVersionText());
  static_cast<void>(kt::IsMultipathOnly());
  RequireSameNumber<std::size_t>(0, platform.open_keys, "every key that was opened is closed");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  KtSetTraceLevel(0);  // every line is formatted; none is written anywhere
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const kt::fuzz::LedgerCheck ledger;
  ByteSource source(data, size);
  if (source.Flag()) {
    TryAnswers(source);
  } else {
    TryTree(source);
  }
  ledger.RequireSettled("when the values are read");
  return 0;
}
