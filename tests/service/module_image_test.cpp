#include "module_image.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <random>

#include "host_system.h"
#include "module_error.h"
#include "service/program.h"

namespace ktsvc {
namespace {

using Bytes = std::string;

constexpr ImageKind kElf{ImageFormat::kElf, 62, 64, false};
constexpr ImageKind kPe{ImageFormat::kPe, 0x8664, 64, false};

ImageSource SourceOf(const Bytes& bytes) {
  return {bytes.size(), [&bytes](std::uint64_t at, void* to, std::size_t count) {
            if (at > bytes.size() || count > bytes.size() - at) {
              return false;
            }
            std::memcpy(to, bytes.data() + at, count);
            return true;
          }};
}

// What is said about a file, "" when nothing is.
std::string Refusal(const Bytes& bytes, const ImageKind& program) {
  try {
    RequireLoadable(SourceOf(bytes), program);
  } catch (const ModuleError& error) {
    return error.what();
  }
  return "";
}

void Put(Bytes& bytes, std::size_t at, std::uint64_t number, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    bytes.at(at + i) = static_cast<char>((number >> (8 * i)) & 0xFFU);
  }
}

// The smallest library: one part to be loaded, the dynamic part with its flags in it, and a table
// of two sections at the end.
Bytes ElfLibrary(std::uint64_t flags = 0) {
  Bytes bytes(64 + 2 * 56 + 32 + 2 * 64, '\0');
  bytes.replace(0, 7,
                "\x7F"
                "ELF\x02\x01\x01");
  Put(bytes, 16, 3, 2);
  Put(bytes, 18, 62, 2);
  Put(bytes, 32, 64, 8);
  Put(bytes, 40, 64 + 2 * 56 + 32, 8);
  Put(bytes, 54, 56, 2);
  Put(bytes, 56, 2, 2);
  Put(bytes, 58, 64, 2);
  Put(bytes, 60, 2, 2);
  const std::size_t dynamic = 64 + 2 * 56;
  Put(bytes, 64, 1, 4);
  Put(bytes, 64 + 32, dynamic + 32, 8);
  Put(bytes, 64 + 56, 2, 4);
  Put(bytes, 64 + 56 + 8, dynamic, 8);
  Put(bytes, 64 + 56 + 32, 32, 8);
  Put(bytes, dynamic, 0x6FFFFFFB, 8);
  Put(bytes, dynamic + 8, flags, 8);
  return bytes;
}

Bytes PeLibrary() {
  Bytes bytes(64 + 24 + 2 + 40 + 16, '\0');
  bytes.replace(0, 2, "MZ");
  Put(bytes, 60, 64, 4);
  bytes.replace(64, 2, "PE");
  Put(bytes, 68, 0x8664, 2);
  Put(bytes, 70, 1, 2);
  Put(bytes, 84, 2, 2);
  Put(bytes, 86, 0x2022, 2);
  Put(bytes, 88, 0x20B, 2);
  Put(bytes, 90 + 16, 16, 4);
  Put(bytes, 90 + 20, 130, 4);
  return bytes;
}

// ---- ELF ----------------------------------------------------------------------------------------

TEST(RequireLoadable, TakesASharedLibraryOfTheProgramsKind) {
  EXPECT_EQ(Refusal(ElfLibrary(), kElf), "");
  EXPECT_EQ(Refusal(PeLibrary(), kPe), "");
}

TEST(RequireLoadable, RefusesAnElfFileForAnotherProcessor) {
  Bytes bytes = ElfLibrary();
  Put(bytes, 18, 183, 2);
  EXPECT_EQ(Refusal(bytes, kElf), "it is for another processor: ARM64, 64 bits");
  Put(bytes, 18, 4711, 2);
  EXPECT_EQ(Refusal(bytes, kElf), "it is for another processor: processor 4711, 64 bits");
}

TEST(RequireLoadable, RefusesAnElfFileOf32Bits) {
  Bytes bytes = ElfLibrary();
  bytes[4] = 1;
  Put(bytes, 18, 3, 2);
  EXPECT_EQ(Refusal(bytes, kElf), "it is for another processor: x86, 32 bits");
}

TEST(RequireLoadable, RefusesAnElfFileWithItsHighByteFirst) {
  Bytes bytes = ElfLibrary();
  bytes[5] = 2;
  bytes[18] = 0;
  bytes[19] = 22;
  EXPECT_EQ(Refusal(bytes, kElf), "it is for another processor: S/390, 64 bits, high byte first");
}

TEST(RequireLoadable, RefusesAnElfFileThatIsNoSharedLibrary) {
  Bytes bytes = ElfLibrary();
  Put(bytes, 16, 1, 2);
  EXPECT_EQ(Refusal(bytes, kElf), "it is an object file that has not been linked");
  Put(bytes, 16, 2, 2);
  EXPECT_EQ(Refusal(bytes, kElf), "it is a program, not a shared library");
  Put(bytes, 16, 4, 2);
  EXPECT_EQ(Refusal(bytes, kElf), "it is no shared library (ELF type 4)");
}

TEST(RequireLoadable, RefusesAProgramThatCanBeLoadedAnywhere) {
  EXPECT_EQ(Refusal(ElfLibrary(0x08000001), kElf), "it is a program, not a shared library");
}

TEST(RequireLoadable, RefusesAnElfFileWithoutADynamicPart) {
  Bytes bytes = ElfLibrary();
  Put(bytes, 64 + 56, 1, 4);
  EXPECT_EQ(Refusal(bytes, kElf), "it is no shared library: it has no dynamic part");
}

TEST(RequireLoadable, RefusesEveryBeginningOfALibrary) {
  for (const auto& [whole, kind] : {std::pair(ElfLibrary(), kElf), std::pair(PeLibrary(), kPe)}) {
    for (std::size_t size = 0; size < whole.size(); ++size) {
      EXPECT_NE(Refusal(whole.substr(0, size), kind), "") << size;
    }
  }
}

TEST(RequireLoadable, SaysHowMuchIsMissingOfAFileThatWasCutOff) {
  const Bytes whole = ElfLibrary();
  EXPECT_EQ(Refusal(whole.substr(0, whole.size() - 1), kElf),
            "it is cut off: by its header it has at least 336 bytes, and there are 335");
}

TEST(RequireLoadable, IsNotMisledByPlacesBeyondAllNumbers) {
  Bytes bytes = ElfLibrary();
  Put(bytes, 64 + 8, 0xFFFFFFFFFFFFFFF0U, 8);
  Put(bytes, 64 + 32, 0x20, 8);
  EXPECT_EQ(Refusal(bytes, kElf).rfind("it is cut off", 0), 0U);
}

TEST(RequireLoadable, SurvivesAnyBytes) {
  std::mt19937 random(4711);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same bytes each time
  for (const auto& [whole, kind] : {std::pair(ElfLibrary(), kElf), std::pair(PeLibrary(), kPe)}) {
    for (int i = 0; i < 5000; ++i) {
      Bytes bytes = whole;
      for (int change = 0; change < 4; ++change) {
        bytes[random() % bytes.size()] = static_cast<char>(random());
      }
      Refusal(bytes, kind);  // whatever it says, it reads nothing that is not there
    }
  }
}

// ---- PE and others ------------------------------------------------------------------------------

TEST(RequireLoadable, RefusesAPeFileForAnotherProcessorOrOf32Bits) {
  Bytes bytes = PeLibrary();
  Put(bytes, 68, 0xAA64, 2);
  EXPECT_EQ(Refusal(bytes, kPe), "it is for another processor: ARM64, 64 bits");
  Put(bytes, 68, 0x14C, 2);
  Put(bytes, 88, 0x10B, 2);
  EXPECT_EQ(Refusal(bytes, kPe), "it is for another processor: x86, 32 bits");
}

TEST(RequireLoadable, RefusesAPeFileThatIsAProgram) {
  Bytes bytes = PeLibrary();
  Put(bytes, 86, 0x22, 2);
  EXPECT_EQ(Refusal(bytes, kPe), "it is a program, not a shared library");
}

TEST(RequireLoadable, TellsTheFilesOfTheTwoSystemsApart) {
  EXPECT_EQ(Refusal(PeLibrary(), kElf),
            "it is a file for Windows (PE), and this service runs on another system");
  EXPECT_EQ(Refusal(ElfLibrary(), kPe), "it is an ELF file, which this system does not load");
}

TEST(RequireLoadable, RefusesWhatIsNoMachineCode) {
  EXPECT_EQ(Refusal("", kElf), "the file is empty");
  EXPECT_EQ(Refusal("#!/bin/sh\nexit 0\n", kElf),
            "it is no shared library: it begins with neither an ELF nor a PE header");
}

TEST(RequireLoadable, SaysWhatAModuleIs) {
  try {
    RequireLoadable(SourceOf("text"), kElf);
    FAIL() << "text was taken";
  } catch (const ModuleError& error) {
    EXPECT_NE(error.advice().find("x86-64, 64 bits"), std::string::npos) << error.advice();
  }
}

TEST(ProgramKind, IsTheKindOfTheModulesThatWereBuiltWithIt) {
  for (const char* name : {"good", "exportless"}) {
    std::ifstream stream(ktsvc_test::TestModules() / (name + std::string(ModuleSuffix())),
                         std::ios::binary);
    const Bytes bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    EXPECT_EQ(Refusal(bytes, ProgramKind()), "") << name;
  }
}

}  // namespace
}  // namespace ktsvc
