#include "module_image.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "host_system.h"
#include "module_error.h"

namespace ktsvc {
namespace {

constexpr std::uint8_t kElf64 = 2;
constexpr std::uint8_t kElfBigEndian = 2;
constexpr std::uint16_t kElfObject = 1;
constexpr std::uint16_t kElfProgram = 2;
constexpr std::uint16_t kElfLibrary = 3;
constexpr std::uint32_t kElfLoad = 1;
constexpr std::uint32_t kElfDynamic = 2;
constexpr std::uint64_t kElfFlags1 = 0x6FFFFFFB;
constexpr std::uint64_t kElfIsProgram = 0x08000000;  // in these flags
constexpr std::uint64_t kElfHeaderBytes = 64;
constexpr std::uint64_t kElfPartBytes = 56;
constexpr std::uint64_t kElfEntryBytes = 16;

constexpr std::uint16_t kPe64 = 0x20B;
constexpr std::uint16_t kPeLibrary = 0x2000;
constexpr std::uint64_t kPeHeaderBytes = 24;  // with the four letters before it
constexpr std::uint64_t kPeSectionBytes = 40;

struct Processor {
  ImageFormat format;
  std::uint16_t machine;
  std::string_view name;
};

constexpr std::array kProcessors{
    Processor{ImageFormat::kElf, 3, "x86"},        Processor{ImageFormat::kElf, 62, "x86-64"},
    Processor{ImageFormat::kElf, 40, "ARM"},       Processor{ImageFormat::kElf, 183, "ARM64"},
    Processor{ImageFormat::kElf, 21, "POWER"},     Processor{ImageFormat::kElf, 22, "S/390"},
    Processor{ImageFormat::kElf, 243, "RISC-V"},   Processor{ImageFormat::kPe, 0x14C, "x86"},
    Processor{ImageFormat::kPe, 0x8664, "x86-64"}, Processor{ImageFormat::kPe, 0x1C4, "ARM"},
    Processor{ImageFormat::kPe, 0xAA64, "ARM64"},
};

std::string ProcessorText(const ImageKind& kind) {
  const auto* const known =
      std::find_if(kProcessors.begin(), kProcessors.end(), [&kind](const Processor& one) {
        return one.format == kind.format && one.machine == kind.machine;
      });
  std::string text = known == kProcessors.end() ? "processor " + std::to_string(kind.machine)
                                                : std::string(known->name);
  text += ", " + std::to_string(kind.bits) + " bits";
  return kind.bigEndian ? text + ", high byte first" : text;
}

std::string Wanted(const ImageKind& program) {
  return "A module for this service is a shared library for " + std::string(SystemName()) + " on " +
         ProcessorText(program) + "; take the one that was built for it.";
}

[[noreturn]] void Refuse(const std::string& what, const ImageKind& program) {
  throw ModuleError(what, Wanted(program));
}

[[noreturn]] void RefuseTruncated(std::uint64_t wanted, std::uint64_t size) {
  throw ModuleError("it is cut off: by its header it has at least " + std::to_string(wanted) +
                        " bytes, and there are " + std::to_string(size),
                    "Copy it again.");
}

// A number of the file, low byte first as in every file that is read further than its kind.
template <typename Number>
Number Load(const unsigned char* at) {
  Number number = 0;
  for (std::size_t i = sizeof(Number); i-- != 0;) {
    number = static_cast<Number>(static_cast<Number>(number << 8U) | at[i]);
  }
  return number;
}

// Refuses a file that does not hold these bytes.
void RequireBytes(const ImageSource& file, std::uint64_t at, std::uint64_t count) {
  const std::uint64_t end = at + count < at ? static_cast<std::uint64_t>(-1) : at + count;
  if (end > file.size) {
    RefuseTruncated(end, file.size);
  }
}

template <std::size_t Count>
std::array<unsigned char, Count> Read(const ImageSource& file, std::uint64_t at) {
  RequireBytes(file, at, Count);
  std::array<unsigned char, Count> bytes{};
  if (!file.read(at, bytes.data(), Count)) {
    throw ModuleError("it cannot be read to its end", "Look at its disk.");
  }
  return bytes;
}

// ---- ELF ----------------------------------------------------------------------------------------

// A program that can be loaded anywhere has a library's type, and says so elsewhere.
bool SaysItIsAProgram(const ImageSource& file, std::uint64_t at, std::uint64_t size) {
  for (std::uint64_t entry = 0; entry + kElfEntryBytes <= size; entry += kElfEntryBytes) {
    const auto bytes = Read<kElfEntryBytes>(file, at + entry);
    const auto tag = Load<std::uint64_t>(bytes.data());
    if (tag == 0) {
      break;
    }
    if (tag == kElfFlags1) {
      return (Load<std::uint64_t>(bytes.data() + 8) & kElfIsProgram) != 0;
    }
  }
  return false;
}

void RequireElfLibrary(const ImageSource& file, const ImageKind& program) {
  const auto header = Read<kElfHeaderBytes>(file, 0);
  const auto type = Load<std::uint16_t>(header.data() + 16);
  if (type != kElfLibrary) {
    Refuse(type == kElfProgram  ? "it is a program, not a shared library"
           : type == kElfObject ? "it is an object file that has not been linked"
                                : "it is no shared library (ELF type " + std::to_string(type) + ")",
           program);
  }
  const auto parts = Load<std::uint64_t>(header.data() + 32);
  const std::uint64_t partCount = Load<std::uint16_t>(header.data() + 56);
  if (Load<std::uint16_t>(header.data() + 54) != kElfPartBytes || partCount == 0) {
    Refuse("it is no shared library: its header names no parts to be loaded", program);
  }
  RequireBytes(file, parts, partCount * kElfPartBytes);
  bool dynamic = false;
  for (std::uint64_t i = 0; i < partCount; ++i) {
    const auto part = Read<kElfPartBytes>(file, parts + i * kElfPartBytes);
    const auto kind = Load<std::uint32_t>(part.data());
    if (kind != kElfLoad && kind != kElfDynamic) {
      continue;
    }
    const auto at = Load<std::uint64_t>(part.data() + 8);
    const auto size = Load<std::uint64_t>(part.data() + 32);
    RequireBytes(file, at, size);
    if (kind == kElfDynamic) {
      dynamic = true;
      if (SaysItIsAProgram(file, at, size)) {
        Refuse("it is a program, not a shared library", program);
      }
    }
  }
  if (!dynamic) {
    Refuse("it is no shared library: it has no dynamic part", program);
  }
  // The loader needs no table of sections, but it stands last, so a cut shows there first.
  const auto sections = Load<std::uint64_t>(header.data() + 40);
  if (sections != 0) {
    RequireBytes(file, sections,
                 std::uint64_t{Load<std::uint16_t>(header.data() + 58)} *
                     Load<std::uint16_t>(header.data() + 60));
  }
}

std::optional<ImageKind> ElfKind(const ImageSource& file) {
  std::array<unsigned char, 20> start{};
  if (file.size < start.size() || !file.read(0, start.data(), start.size()) ||
      std::string_view(reinterpret_cast<const char*>(start.data()), 4) !=
          "\x7F"
          "ELF") {
    return std::nullopt;
  }
  ImageKind kind;
  kind.format = ImageFormat::kElf;
  kind.bits = start[4] == kElf64 ? 64 : 32;
  kind.bigEndian = start[5] == kElfBigEndian;
  kind.machine = Load<std::uint16_t>(start.data() + 18);
  if (kind.bigEndian) {
    kind.machine = static_cast<std::uint16_t>((kind.machine >> 8U) | (kind.machine << 8U));
  }
  return kind;
}

// ---- PE -----------------------------------------------------------------------------------------

// Where the header proper stands; nothing when there is none.
std::optional<std::uint64_t> PeHeader(const ImageSource& file) {
  std::array<unsigned char, 64> start{};
  if (file.size < start.size() || !file.read(0, start.data(), start.size()) || start[0] != 'M' ||
      start[1] != 'Z') {
    return std::nullopt;
  }
  const std::uint64_t at = Load<std::uint32_t>(start.data() + 60);
  std::array<char, 4> letters{};
  if (at + kPeHeaderBytes + 2 > file.size || !file.read(at, letters.data(), letters.size()) ||
      std::string_view(letters.data(), letters.size()) != std::string_view("PE\0\0", 4)) {
    return std::nullopt;
  }
  return at;
}

std::optional<ImageKind> PeKind(const ImageSource& file) {
  const std::optional<std::uint64_t> at = PeHeader(file);
  if (!at) {
    return std::nullopt;
  }
  const auto header = Read<kPeHeaderBytes + 2>(file, *at);
  ImageKind kind;
  kind.format = ImageFormat::kPe;
  kind.machine = Load<std::uint16_t>(header.data() + 4);
  kind.bits = Load<std::uint16_t>(header.data() + kPeHeaderBytes) == kPe64 ? 64 : 32;
  return kind;
}

void RequirePeLibrary(const ImageSource& file, const ImageKind& program) {
  const std::uint64_t at = PeHeader(file).value_or(0);
  const auto header = Read<kPeHeaderBytes>(file, at);
  if ((Load<std::uint16_t>(header.data() + 22) & kPeLibrary) == 0) {
    Refuse("it is a program, not a shared library", program);
  }
  const std::uint64_t sections = at + kPeHeaderBytes + Load<std::uint16_t>(header.data() + 20);
  const std::uint64_t count = Load<std::uint16_t>(header.data() + 6);
  for (std::uint64_t i = 0; i < count; ++i) {
    const auto section = Read<kPeSectionBytes>(file, sections + i * kPeSectionBytes);
    RequireBytes(file, Load<std::uint32_t>(section.data() + 20),
                 Load<std::uint32_t>(section.data() + 16));
  }
}

}  // namespace

std::optional<ImageKind> KindOf(const ImageSource& file) {
  const std::optional<ImageKind> elf = ElfKind(file);
  return elf ? elf : PeKind(file);
}

ImageKind ProgramKind() {
  const auto stream = std::make_shared<std::ifstream>(ProgramFile(), std::ios::binary);
  ImageSource file;
  stream->seekg(0, std::ios::end);
  file.size = static_cast<std::uint64_t>(std::max<std::streamoff>(stream->tellg(), 0));
  file.read = [stream](std::uint64_t at, void* to, std::size_t count) {
    stream->seekg(static_cast<std::streamoff>(at));
    stream->read(static_cast<char*>(to), static_cast<std::streamsize>(count));
    return stream->good();
  };
  const std::optional<ImageKind> kind = KindOf(file);
  if (!kind) {
    throw std::runtime_error("the program's own file cannot be read: " + PathText(ProgramFile()));
  }
  return *kind;
}

void RequireLoadable(const ImageSource& file, const ImageKind& program) {
  if (file.size == 0) {
    Refuse("the file is empty", program);
  }
  const std::optional<ImageKind> kind = KindOf(file);
  if (!kind) {
    Refuse("it is no shared library: it begins with neither an ELF nor a PE header", program);
  }
  if (kind->format != program.format) {
    Refuse(kind->format == ImageFormat::kPe
               ? "it is a file for Windows (PE), and this service runs on another system"
               : "it is an ELF file, which this system does not load",
           program);
  }
  if (*kind != program) {
    Refuse("it is for another processor: " + ProcessorText(*kind), program);
  }
  if (kind->format == ImageFormat::kElf) {
    RequireElfLibrary(file, program);
  } else {
    RequirePeLibrary(file, program);
  }
}

}  // namespace ktsvc
