#include "module_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "module_error.h"
#include "service/program.h"

namespace ktsvc {
namespace {

namespace fs = std::filesystem;
using ktsvc_test::BuiltModules;
using ktsvc_test::Result;
using ktsvc_test::ScratchFolder;
using ktsvc_test::TestModules;

// A folder with a module in a folder of its own, both as they should be.
class ModuleFileTest : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directory(folder_);
    fs::copy_file(TestModules() / "eager.so", module_);
    Allow(folder_, 0755);
    Allow(module_, 0644);
  }

  static void Allow(const fs::path& path, mode_t mode) { ASSERT_EQ(chmod(path.c_str(), mode), 0); }

  // What is said and advised about the file; "" when it is taken.
  static std::string Refusal(const fs::path& file) {
    try {
      const ModuleFile opened(file);
    } catch (const ModuleError& error) {
      return std::string(error.what()) + " | " + error.advice();
    }
    return "";
  }

  // Runs the command that stands in the advice.
  static void Obey(const std::string& refusal) {
    const std::string word = "Run: ";
    const std::size_t at = refusal.find(word);
    ASSERT_NE(at, std::string::npos) << refusal;
    // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe): what a person would type
    ASSERT_EQ(std::system(refusal.substr(at + word.size()).c_str()), 0) << refusal;
  }

  const ScratchFolder scratch_;
  const fs::path root_ = fs::canonical(scratch_.path());
  const fs::path folder_ = root_ / "it's a folder";
  const fs::path module_ = folder_ / "eager.so";
};

TEST_F(ModuleFileTest, TakesWhatOnlyItsOwnerCanWrite) {
  EXPECT_EQ(Refusal(module_), "");
  EXPECT_EQ(ModuleFile(module_).path(), module_);
}

TEST_F(ModuleFileTest, TakesTheModulesOfTheBuild) {
  EXPECT_EQ(Refusal(BuiltModules() / "hostkit.so"), "");
}

TEST_F(ModuleFileTest, GivesTheCanonicalPath) {
  const fs::path links = root_ / "links";
  fs::create_directory(links);
  fs::create_directory_symlink("../it's a folder", links / "folder");
  fs::create_symlink(links / "folder" / "eager.so", links / "other.so");
  EXPECT_EQ(ModuleFile(links / "." / "other.so").path(), module_);
  EXPECT_EQ(ModuleFile(links / "folder" / ".." / "it's a folder" / "eager.so").path(), module_);
}

TEST_F(ModuleFileTest, RefusesAFileThatOthersCanWriteUntilTheCommandHasRun) {
  for (const mode_t mode : {mode_t{0664}, mode_t{0646}, mode_t{0777}}) {
    Allow(module_, mode);
    const std::string refusal = Refusal(module_);
    EXPECT_EQ(refusal.rfind("others could decide what code this is: ", 0), 0U) << refusal;
    Obey(refusal);
    EXPECT_EQ(Refusal(module_), "");
  }
}

TEST_F(ModuleFileTest, RefusesAFolderThatOthersCanWriteUntilTheCommandHasRun) {
  const fs::path above = root_ / "above";
  fs::create_directory(above);
  fs::rename(folder_, above / "below");
  Allow(above, 0775);
  Allow(above / "below", 0757);
  const std::string refusal = Refusal(above / "below" / "eager.so");
  EXPECT_NE(refusal.find("can write " + above.string() + " (mode 0775)"), std::string::npos)
      << refusal;
  Obey(refusal);
  EXPECT_EQ(Refusal(above / "below" / "eager.so"), "");
}

TEST_F(ModuleFileTest, JudgesTheFolderThatALinkStandsIn) {
  const fs::path open = root_ / "open";
  fs::create_directory(open);
  fs::create_symlink(module_, open / "eager.so");
  EXPECT_EQ(Refusal(open / "eager.so"), "");
  Allow(open, 0777);
  EXPECT_NE(Refusal(open / "eager.so").find("can write " + open.string()), std::string::npos);
}

TEST_F(ModuleFileTest, JudgesTheFolderThatAWayGoesThroughAndLeaves) {
  const fs::path open = root_ / "open";
  fs::create_directory(open);
  Allow(open, 0777);
  EXPECT_NE(Refusal(open / ".." / "it's a folder" / "eager.so").find("can write " + open.string()),
            std::string::npos);
}

TEST_F(ModuleFileTest, TakesOnlyFoldersFromASharedOne) {
  const fs::path shared = root_ / "shared";
  fs::create_directory(shared);
  Allow(shared, 01777);
  fs::copy_file(module_, shared / "eager.so");
  fs::rename(folder_, shared / "own");
  EXPECT_EQ(Refusal(shared / "own" / "eager.so"), "");
  EXPECT_NE(Refusal(shared / "eager.so").find("Give it a folder of its own: mkdir -m 755 "),
            std::string::npos);
  fs::create_directory_symlink("own", shared / "link");
  EXPECT_NE(Refusal(shared / "link" / "eager.so").find("Name the module by its own path: "),
            std::string::npos);
}

TEST_F(ModuleFileTest, RefusesWhatIsNoRegularFileWithoutWaitingForIt) {
  ASSERT_EQ(mkfifo((folder_ / "pipe.so").c_str(), 0600), 0);
  EXPECT_NE(Refusal(folder_ / "pipe.so").find("is no regular file"), std::string::npos);
  EXPECT_NE(Refusal(folder_).find("is a folder"), std::string::npos);
  EXPECT_NE(Refusal(module_ / "below.so").find("is a file, not a folder"), std::string::npos);
}

TEST_F(ModuleFileTest, RefusesLinksThatLeadInACircle) {
  fs::create_symlink("b.so", folder_ / "a.so");
  fs::create_symlink("a.so", folder_ / "b.so");
  EXPECT_NE(Refusal(folder_ / "a.so").find("Too many levels of symbolic links"), std::string::npos);
}

TEST_F(ModuleFileTest, SaysWhatIsNotThere) {
  EXPECT_NE(Refusal(folder_ / "nobody.so").find("No such file or directory"), std::string::npos);
}

// ---- The whole program --------------------------------------------------------------------------

class UnsafeModule : public ModuleFileTest {
 protected:
  Result Live() {
    return ktsvc_test::RunKtsvc(
        {"run", "--once", "--module-folder", TestModules().string(), module_.string(), "good"},
        {{"KTSVC_TEST_WITNESS", witness_.string()}});
  }

  const fs::path witness_ = root_ / "witness";
};

TEST_F(UnsafeModule, RunsNothingOfItNotEvenItsStaticInitialisers) {
  Allow(folder_, 0777);
  const Result refused = Live();
  EXPECT_EQ(refused.status, 1) << refused.errors;
  EXPECT_FALSE(fs::exists(witness_));
  EXPECT_NE(refused.output.find("good   running"), std::string::npos) << refused.output;

  const std::string line = refused.errors.substr(refused.errors.find("Run: "));
  Obey(line.substr(0, line.find('\n')));
  const Result taken = Live();
  EXPECT_EQ(taken.status, 0) << taken.errors;
  EXPECT_TRUE(fs::exists(witness_));
}

TEST_F(UnsafeModule, IsReportedInTheResultForAProgramToo) {
  Allow(module_, 0666);
  const Result result =
      ktsvc_test::RunKtsvc({"run", "--once", "--json", "--quiet", module_.string()});
  const auto life = nlohmann::json::parse(result.output);
  const auto failure = life["providers"][0]["failures"][0];
  EXPECT_NE(failure["what"].get<std::string>().find("(mode 0666)"), std::string::npos) << failure;
  EXPECT_EQ(failure["advice"].get<std::string>().rfind("Run: chmod go-w '", 0), 0U) << failure;
}

// ---- What only this system's loader does --------------------------------------------------------

class LoadedTwice : public ModuleFileTest {};

TEST_F(LoadedTwice, IsRefusedUnderTheNameOfALinkToo) {
  fs::create_symlink(TestModules() / "good.so", folder_ / "alias.so");
  const Result result = ktsvc_test::RunKtsvc(
      {"run", "--once", (TestModules() / "good.so").string(), (folder_ / "alias.so").string()});
  EXPECT_NE(result.errors.find("alias: its file " + (TestModules() / "good.so").string() +
                               " is loaded already, as good"),
            std::string::npos)
      << result.errors;
}

TEST_F(LoadedTwice, IsNoTroubleAfterTheFirstWasUnloaded) {
  const Result result = ktsvc_test::RunKtsvc(
      {"run", "--once", "--module-folder", TestModules().string(), "refusing", "refusing"});
  EXPECT_EQ(result.errors.find("is loaded already"), std::string::npos) << result.errors;
}

TEST(UnwillingModule, IsReportedAndTheOthersGoOn) {
  const Result result = ktsvc_test::RunKtsvc(ktsvc_test::RunWords({"--once", "unwilling", "good"}));
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.errors.find("unwilling: its DllInit refuses to be loaded"), std::string::npos);
  EXPECT_NE(result.output.find("good       running"), std::string::npos) << result.output;
}

TEST(OrphanedModule, IsReportedWithTheNameOfTheMissingLibrary) {
  const Result result = ktsvc_test::RunKtsvc(ktsvc_test::RunWords({"--once", "orphaned"}));
  EXPECT_NE(result.errors.find("libktsvc-test-absent.so: cannot open shared object file"),
            std::string::npos)
      << result.errors;
}

}  // namespace
}  // namespace ktsvc
