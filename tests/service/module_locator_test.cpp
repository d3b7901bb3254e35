#include "module_locator.h"

#include <gtest/gtest.h>

#include "host_system.h"
#include "module_error.h"
#include "service/scratch_folder.h"

namespace ktsvc {
namespace {

using ktsvc_test::ScratchFolder;

std::string FileName(const std::string& name) {
  return name + std::string(ModuleSuffix());
}

// What is said, and advised, about a word that names no module.
std::string RefusalOf(const std::string& word, const std::filesystem::path& folder) {
  try {
    LocateModule(word, folder);
  } catch (const ModuleError& error) {
    return std::string(error.what()) + " | " + error.advice();
  }
  return "nothing was refused";
}

TEST(IsModulePath, LooksForSeparatorsAndEndings) {
  EXPECT_TRUE(IsModulePath("./hostkit"));
  EXPECT_TRUE(IsModulePath("hostkit.so"));
  EXPECT_TRUE(IsModulePath("hostkit.dll"));
  EXPECT_FALSE(IsModulePath("hostkit"));
  EXPECT_FALSE(IsModulePath("host.kit"));
}

TEST(LocateModule, FindsANameInTheModuleFolder) {
  const ScratchFolder folder;
  const auto file = folder.Write(FileName("hostkit"), "x");
  EXPECT_EQ(LocateModule("hostkit", folder.path()), file);
}

TEST(LocateModule, TakesAPathAsItIsAndMakesItAbsolute) {
  const ScratchFolder folder;
  const auto file = folder.Write(FileName("hostkit"), "x");
  const std::filesystem::path relative = std::filesystem::proximate(file);
  const auto found =
      LocateModule(PathText(relative.parent_path() / "." / relative.filename()), "not-looked-at");
  EXPECT_TRUE(found.is_absolute());
  EXPECT_TRUE(std::filesystem::equivalent(found, file));
}

TEST(LocateModule, NamesWhatTheFolderHoldsWhenTheNameIsNotThere) {
  const ScratchFolder folder;
  folder.Write(FileName("zeta"), "x");
  folder.Write(FileName("alpha"), "x");
  folder.Write("readme.txt", "x");
  const std::string refusal = RefusalOf("hostkit", folder.path());
  EXPECT_NE(refusal.find("there is no file " + PathText(folder.path() / FileName("hostkit"))),
            std::string::npos)
      << refusal;
  EXPECT_NE(refusal.find(": alpha, zeta."), std::string::npos) << refusal;
}

TEST(LocateModule, SaysThatTheFolderIsEmpty) {
  const ScratchFolder folder;
  EXPECT_NE(RefusalOf("hostkit", folder.path()).find("There are no modules in"), std::string::npos);
}

TEST(LocateModule, SaysThatThereIsNoFolder) {
  const ScratchFolder folder;
  EXPECT_NE(RefusalOf("hostkit", folder.path() / "gone").find("There is no folder"),
            std::string::npos);
}

TEST(LocateModule, RefusesAFolderInPlaceOfAFile) {
  const ScratchFolder folder;
  std::filesystem::create_directory(folder.path() / FileName("hostkit"));
  EXPECT_NE(RefusalOf("hostkit", folder.path()).find("is a folder"), std::string::npos);
}

TEST(DefaultModuleFolder, StandsBesideTheProgramsFolder) {
  EXPECT_TRUE(DefaultModuleFolder().is_absolute());
  const std::filesystem::path beside = ProgramFolder().parent_path();
  const bool inTree = DefaultModuleFolder() == beside / "modules";
  const bool installed = DefaultModuleFolder() == beside / "lib" / "ktsvc" / "modules";
  EXPECT_TRUE(inTree || installed);
}

}  // namespace
}  // namespace ktsvc
