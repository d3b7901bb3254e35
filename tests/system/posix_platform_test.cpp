// The POSIX side of the platform: a registry tree of the test's own, and a systemctl of the test's
// own first (and alone) on PATH. No service of the machine is touched.
#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>  // NOLINT(modernize-deprecated-headers): sigset_t is not in <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "platform/architecture.h"
#include "platform/detached_command.h"
#include "platform/platform.h"
#include "support/failing_new.h"

namespace {

namespace fs = std::filesystem;

// Sets a variable of the environment for a scope. The tests of this file run one at a time and in
// one thread.
class Variable {
 public:
  Variable(const char* name, const std::string& value) : name_(name) {
    if (const char* const old = std::getenv(name)) {
      old_ = old;
      had_ = true;
    }
    setenv(name, value.c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
  }
  ~Variable() {
    if (had_) {
      setenv(name_, old_.c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
    } else {
      unsetenv(name_);  // NOLINT(concurrency-mt-unsafe)
    }
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  const char* name_;
  std::string old_;
  bool had_ = false;
};

class PosixTest : public ::testing::Test {
 protected:
  PosixTest() {
    std::string pattern = (fs::temp_directory_path() / "kt-platform-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
  }
  ~PosixTest() override {
    std::error_code error;
    fs::remove_all(folder_, error);
  }

  void Write(const fs::path& path, const std::string& content) const {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
  }

  fs::path folder_;
};

// ---- Registry

class PosixRegistry : public PosixTest {
 protected:
  PosixRegistry() : variable_("KT_REGISTRY", (folder_ / "registry").string()) {}

  void Put(const std::string& path, const std::string& content) const {
    Write(folder_ / "registry" / path, content);
  }

  std::uint32_t Read(const KtWchar* path, const KtWchar* name, KtWString& text,
                     std::uint32_t& size) {
    kt::RegistryKey key = nullptr;
    if (const auto error = kt::NativePlatform().OpenKey(path, kt::KeyAccess::kRead, key)) {
      return error;
    }
    std::uint32_t result = kt::NativePlatform().QueryValueSize(key, name, size);
    if (result == 0) {
      KtWString buffer(size / sizeof(KtWchar) + 1, KT_W('#'));
      std::uint32_t read = size;
      result = kt::NativePlatform().ReadValue(key, name, buffer.data(), read);
      EXPECT_EQ(read, size);
      text = buffer.substr(0, size / sizeof(KtWchar));
    }
    kt::NativePlatform().CloseKey(key);
    return result;
  }

  Variable variable_;
};

TEST_F(PosixRegistry, ReadsAFileAsUtf16WithItsTerminatorAndWithoutItsLineFeed) {
  Put("HKEY_LOCAL_MACHINE/SOFTWARE/Tormeld/Version", "7.1\n");
  KtWString text;
  std::uint32_t size = 0;
  EXPECT_EQ(Read(KT_W("SOFTWARE\\Tormeld"), KT_W("Version"), text, size), 0u);
  EXPECT_EQ(size, 8u);
  EXPECT_EQ(text, KtWString(KT_W("7.1\0"), 4));
}

TEST_F(PosixRegistry, DropsOneLineFeedOnly) {
  Put("HKEY_LOCAL_MACHINE/K/V", "a\n\n");
  KtWString text;
  std::uint32_t size = 0;
  EXPECT_EQ(Read(KT_W("K"), KT_W("V"), text, size), 0u);
  EXPECT_EQ(text, KtWString(KT_W("a\n\0"), 3));
}

TEST_F(PosixRegistry, ComparesNamesWithoutRegardToCase) {
  Put("hkey_local_machine/Software/TORMELD/Ktsvc/version", "x");
  KtWString text;
  std::uint32_t size = 0;
  EXPECT_EQ(Read(KT_W("SOFTWARE\\Tormeld\\KtSvc"), KT_W("VERSION"), text, size), 0u);
  EXPECT_EQ(size, 4u);
}

TEST_F(PosixRegistry, TakesFoldersThatDifferInCaseAloneForOneKey) {
  Put("HKEY_LOCAL_MACHINE/SOFTWARE/Tormeld/A/first", "1");
  Put("HKEY_LOCAL_MACHINE/Software/TORMELD/A/second", "2");
  KtWString text;
  std::uint32_t size = 0;
  EXPECT_EQ(Read(KT_W("SOFTWARE\\Tormeld\\A"), KT_W("first"), text, size), 0u);
  EXPECT_EQ(Read(KT_W("SOFTWARE\\Tormeld\\A"), KT_W("second"), text, size), 0u);
}

TEST_F(PosixRegistry, PrefersTheNameThatIsWrittenExactlyAsAsked) {
  Put("HKEY_LOCAL_MACHINE/K/VALUE", "upper");
  Put("HKEY_LOCAL_MACHINE/K/value", "lower");
  KtWString text;
  std::uint32_t size = 0;
  EXPECT_EQ(Read(KT_W("K"), KT_W("value"), text, size), 0u);
  EXPECT_EQ(text, KtWString(KT_W("lower\0"), 6));
}

TEST_F(PosixRegistry, TakesAnEmptyFileForAValueOfSizeZero) {
  Put("HKEY_LOCAL_MACHINE/K/V", "");
  KtWString text;
  std::uint32_t size = 99;
  EXPECT_EQ(Read(KT_W("K"), KT_W("V"), text, size), 0u);
  EXPECT_EQ(size, 0u);
}

TEST_F(PosixRegistry, TakesALineFeedAloneForAnEmptyText) {
  Put("HKEY_LOCAL_MACHINE/K/V", "\n");
  KtWString text;
  std::uint32_t size = 0;
  EXPECT_EQ(Read(KT_W("K"), KT_W("V"), text, size), 0u);
  EXPECT_EQ(size, 2u);
}

TEST_F(PosixRegistry, CountsUnitsOfTextBeyondAsciiAndBeyondTheBasicPlane) {
  Put("HKEY_LOCAL_MACHINE/K/V", "\xC3\xA9\xF0\x9F\x92\xBE");  // one unit, then a pair
  KtWString text;
  std::uint32_t size = 0;
  EXPECT_EQ(Read(KT_W("K"), KT_W("V"), text, size), 0u);
  EXPECT_EQ(size, 8u);
  EXPECT_EQ(text, KtWString(KT_W("\u00E9\U0001F4BE\0"), 4));
}

TEST_F(PosixRegistry, RefusesAFileThatIsNotUtf8) {
  Put("HKEY_LOCAL_MACHINE/K/V", "\xFF\xFE");
  KtWString text;
  std::uint32_t size = 0;
  EXPECT_EQ(Read(KT_W("K"), KT_W("V"), text, size), static_cast<std::uint32_t>(EILSEQ));
}

TEST_F(PosixRegistry, HasNoKeyWhereThereIsNoFolderOrAFile) {
  Put("HKEY_LOCAL_MACHINE/K/V", "x");
  kt::RegistryKey key = nullptr;
  EXPECT_EQ(kt::NativePlatform().OpenKey(KT_W("K\\Missing"), kt::KeyAccess::kRead, key),
            static_cast<std::uint32_t>(ENOENT));
  EXPECT_EQ(kt::NativePlatform().OpenKey(KT_W("K\\V"), kt::KeyAccess::kRead, key),
            static_cast<std::uint32_t>(ENOENT));
  EXPECT_EQ(key, nullptr);
}

TEST_F(PosixRegistry, HasNoValueWhereThereIsNoFileOrAFolderOrAPipe) {
  Put("HKEY_LOCAL_MACHINE/K/Sub/V", "x");
  ASSERT_EQ(mkfifo((folder_ / "registry/HKEY_LOCAL_MACHINE/K/Pipe").c_str(), 0600), 0);
  KtWString text;
  std::uint32_t size = 0;
  for (const KtWchar* name : {KT_W("Missing"), KT_W("Sub"), KT_W("Pipe"), KT_W(".."), KT_W("")}) {
    EXPECT_EQ(Read(KT_W("K"), name, text, size), static_cast<std::uint32_t>(ENOENT));
  }
}

TEST_F(PosixRegistry, RefusesAKeyAndANameThatAreNoText) {
  Put("HKEY_LOCAL_MACHINE/K/V", "abc");
  const KtWchar lone[] = {0xD800, 0};
  KtWString text;
  std::uint32_t size = 0;
  EXPECT_EQ(Read(lone, KT_W("V"), text, size), static_cast<std::uint32_t>(EILSEQ));
  EXPECT_EQ(Read(KT_W("K"), lone, text, size), static_cast<std::uint32_t>(EILSEQ));
}

TEST_F(PosixRegistry, AnswersALackOfMemoryWithItsNumber) {
  Put("HKEY_LOCAL_MACHINE/K/V", "abc");
  kt::RegistryKey key = nullptr;
  std::uint32_t opened = ENOMEM;
  int allocations = 0;
  for (; opened == ENOMEM; ++allocations) {
    const support::FailAllocation failing(allocations);
    opened = kt::NativePlatform().OpenKey(KT_W("K"), kt::KeyAccess::kRead, key);
  }
  EXPECT_EQ(opened, 0u);
  EXPECT_GT(allocations, 1);
  std::uint32_t read = ENOMEM;
  for (allocations = 0; read == ENOMEM; ++allocations) {
    const support::FailAllocation failing(allocations);
    std::uint32_t size = 0;
    read = kt::NativePlatform().QueryValueSize(key, KT_W("V"), size);
  }
  EXPECT_EQ(read, 0u);
  EXPECT_GT(allocations, 1);
  kt::NativePlatform().CloseKey(key);
}

TEST_F(PosixRegistry, RefusesABufferThatIsTooSmallAndLeavesItAlone) {
  Put("HKEY_LOCAL_MACHINE/K/V", "abc");
  kt::RegistryKey key = nullptr;
  ASSERT_EQ(kt::NativePlatform().OpenKey(KT_W("K"), kt::KeyAccess::kQueryValue, key), 0u);
  KtWchar buffer[4] = {1, 2, 3, 4};
  std::uint32_t size = 7;
  EXPECT_NE(kt::NativePlatform().ReadValue(key, KT_W("V"), buffer, size), 0u);
  EXPECT_THAT(buffer, ::testing::ElementsAre(1, 2, 3, 4));
  size = 8;
  EXPECT_EQ(kt::NativePlatform().ReadValue(key, KT_W("V"), buffer, size), 0u);
  EXPECT_EQ(buffer[2], KT_W('c'));
  EXPECT_EQ(buffer[3], 0);
  kt::NativePlatform().CloseKey(key);
}

TEST_F(PosixRegistry, RefusesAValueOfMoreThanAMebibyte) {
  Put("HKEY_LOCAL_MACHINE/K/V", std::string((std::size_t{1} << 20U) + 1, 'x'));
  KtWString text;
  std::uint32_t size = 0;
  EXPECT_EQ(Read(KT_W("K"), KT_W("V"), text, size), static_cast<std::uint32_t>(EFBIG));
}

// ---- Commands

TEST_F(PosixRegistry, StandsInTheSystemsFolderWhereNoOtherIsNamed) {
  // A key that nobody has: the machine's own registry is asked and not changed.
  constexpr const KtWchar* kNobodys = KT_W("SOFTWARE\\{2F0C9F4E-8C5A-4A5B-9C55-3D1B6C0E7A11}");
  fs::create_directories(
      folder_ / "registry/HKEY_LOCAL_MACHINE/SOFTWARE/{2F0C9F4E-8C5A-4A5B-9C55-3D1B6C0E7A11}");
  kt::RegistryKey key = nullptr;
  ASSERT_EQ(kt::NativePlatform().OpenKey(kNobodys, kt::KeyAccess::kRead, key), 0u);
  kt::NativePlatform().CloseKey(key);
  setenv("KT_REGISTRY", "", 1);  // NOLINT(concurrency-mt-unsafe)
  EXPECT_NE(kt::NativePlatform().OpenKey(kNobodys, kt::KeyAccess::kRead, key), 0u);
  unsetenv("KT_REGISTRY");  // NOLINT(concurrency-mt-unsafe)
  EXPECT_NE(kt::NativePlatform().OpenKey(kNobodys, kt::KeyAccess::kRead, key), 0u);
}

class PosixCommand : public PosixTest {
 protected:
  PosixCommand() : variable_("PATH", (folder_ / "bin").string()) {}

  void Install(const std::string& name, const std::string& script) const {
    Write(folder_ / "bin" / name, "#!/bin/sh\n" + script);
    fs::permissions(folder_ / "bin" / name, fs::perms::owner_all);
  }

  // What the script has written to `name`, once it is there; it is moved into place whole.
  std::string WaitFor(const std::string& name) const {
    for (int i = 0; i < 2000; ++i) {
      if (fs::exists(folder_ / name)) {
        std::ifstream file(folder_ / name);
        return {std::istreambuf_iterator<char>(file), {}};
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return "nothing was written";
  }

  // A script line that writes what follows to a file and moves it into place.
  [[nodiscard]] std::string Reporting(const std::string& what) const {
    const std::string file = (folder_ / "report").string();
    return "{ " + what + "; } > " + file + ".new\n/bin/mv " + file + ".new " + file + "\n";
  }

  Variable variable_;
};

TEST_F(PosixCommand, IsTheOneThatTheLogLinesName) {
  EXPECT_EQ(KtWString(kt::NativePlatform().ShadowCopyCommand(kt::ServiceAction::kStart)),
            KT_W("systemctl start tormeld-vss-provider.service"));
  EXPECT_EQ(KtWString(kt::NativePlatform().ShadowCopyCommand(kt::ServiceAction::kStop)),
            KT_W("systemctl stop tormeld-vss-provider.service"));
}

TEST_F(PosixCommand, IsFoundOnPathAndGetsItsArguments) {
  Install("systemctl", Reporting("echo \"$0 $# $1 $2\""));
  std::uint32_t code = 0;
  EXPECT_TRUE(kt::NativePlatform().StartCommand(
      KT_W("systemctl start tormeld-vss-provider.service"), code));
  EXPECT_EQ(code, 0x103u);
  EXPECT_EQ(WaitFor("report"),
            (folder_ / "bin/systemctl").string() + " 2 start tormeld-vss-provider.service\n");
}

TEST_F(PosixCommand, CouldNotBeStartedWhenItIsNotOnPath) {
  fs::create_directories(folder_ / "bin");
  std::uint32_t code = 77;
  EXPECT_FALSE(kt::NativePlatform().StartCommand(KT_W("systemctl start it"), code));
  EXPECT_EQ(kt::NativePlatform().LastError(), static_cast<std::uint32_t>(ENOENT));
  EXPECT_EQ(code, 77u);
}

TEST_F(PosixCommand, CouldNotBeStartedWhenTheFileIsNoProgram) {
  Write(folder_ / "bin/systemctl", "not executable");
  std::uint32_t code = 0;
  EXPECT_FALSE(kt::NativePlatform().StartCommand(KT_W("systemctl start it"), code));
  Write(folder_ / "bin/systemctl", "no program at all");
  fs::permissions(folder_ / "bin/systemctl", fs::perms::owner_all);
  EXPECT_FALSE(kt::NativePlatform().StartCommand(KT_W("systemctl start it"), code));
  EXPECT_EQ(kt::NativePlatform().LastError(), static_cast<std::uint32_t>(ENOEXEC));
}

TEST_F(PosixCommand, IsLookedForInEachFolderOfPathInTurn) {
  const std::string bin = (folder_ / "bin").string();
  Install("systemctl", Reporting("echo \"$0\""));
  const Variable path("PATH", (folder_ / "none").string() + "::" + bin);
  std::uint32_t code = 0;
  EXPECT_TRUE(kt::NativePlatform().StartCommand(KT_W("systemctl start it"), code));
  EXPECT_EQ(WaitFor("report"), bin + "/systemctl\n");
}

TEST_F(PosixCommand, IsLookedForInTheSystemsFoldersWithoutAPath) {
  unsetenv("PATH");  // NOLINT(concurrency-mt-unsafe): set again by the test's variable
  EXPECT_EQ(kt::StartDetached({"true"}), 0);
}

TEST_F(PosixCommand, IsNotLookedForWhenItsNameHasASlash) {
  Install("other", Reporting("echo ran"));
  const Variable path("PATH", (folder_ / "none").string());
  EXPECT_EQ(kt::StartDetached({(folder_ / "bin/other").string()}), 0);
  EXPECT_EQ(WaitFor("report"), "ran\n");
}

TEST_F(PosixCommand, NeedsAWord) {
  EXPECT_EQ(kt::StartDetached({}), EINVAL);
}

TEST_F(PosixCommand, CouldNotBeStartedWhenNoFileCanBeOpened) {
  Install("systemctl", "exit 0\n");
  // So many numbers that the program's own run out in each place where one is needed.
  rlimit usual{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &usual), 0);
  const int next = dup(0);
  close(next);
  for (const int free : {0, 1, 2}) {
    rlimit few = usual;
    few.rlim_cur = static_cast<rlim_t>(next + free);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    const int error = kt::StartDetached({"systemctl"});
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &usual), 0);
    EXPECT_EQ(error, EMFILE) << free << " descriptors free";
  }
}

TEST_F(PosixCommand, CouldNotBeStartedWithoutMemory) {
  Install("systemctl", "exit 0\n");
  std::uint32_t code = 0;
  int allocations = 0;
  for (bool started = false; !started; ++allocations) {
    {
      const support::FailAllocation failing(allocations);
      started = kt::NativePlatform().StartCommand(KT_W("systemctl start it"), code);
    }
    if (!started) {
      EXPECT_EQ(kt::NativePlatform().LastError(), static_cast<std::uint32_t>(ENOMEM));
    }
  }
  EXPECT_GT(allocations, 1);
}

TEST_F(PosixCommand, IsStartedWhateverItsOwnOutcome) {
  Install("systemctl", "exit 1\n");
  std::uint32_t code = 0;
  EXPECT_TRUE(kt::NativePlatform().StartCommand(KT_W("systemctl stop it"), code));
}

TEST_F(PosixCommand, LeavesNoChildBehind) {
  Install("systemctl", "exit 0\n");
  std::uint32_t code = 0;
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(kt::NativePlatform().StartCommand(KT_W("systemctl start it"), code));
  }
  errno = 0;
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(PosixCommand, IsNotWaitedFor) {
  Install("systemctl",
          "read line < " + (folder_ / "gate").string() + "\n" + Reporting("echo done"));
  ASSERT_EQ(mkfifo((folder_ / "gate").c_str(), 0600), 0);
  std::uint32_t code = 0;
  ASSERT_TRUE(kt::NativePlatform().StartCommand(KT_W("systemctl start it"), code));
  EXPECT_FALSE(fs::exists(folder_ / "report"));
  std::ofstream(folder_ / "gate") << "go\n";
  EXPECT_EQ(WaitFor("report"), "done\n");
}

TEST_F(PosixCommand, GetsNoOpenFileOfTheHostAndNothingToReadOrToWriteTo) {
  // Without close-on-exec, as a host may have it; the shell itself uses low numbers.
  const int low = open("/dev/null", O_RDONLY);
  const int high = dup2(low, 400);
  ASSERT_EQ(high, 400);
  Install("systemctl",
          "read line && exit\n" + Reporting("for n in /proc/$$/fd/*; do echo \"${n##*/}\"; done"));
  std::uint32_t code = 0;
  ASSERT_TRUE(kt::NativePlatform().StartCommand(KT_W("systemctl start it"), code));
  const std::string numbers = WaitFor("report");
  EXPECT_EQ(numbers.find("400"), std::string::npos) << numbers;
  close(low);
  close(high);
}

TEST_F(PosixCommand, StartsWithNoSignalBlockedOrIgnored) {
  Install("systemctl",
          Reporting("while read -r key value; do case $key in SigBlk:|SigIgn:) echo \"$key "
                    "$value\";; esac; done < /proc/$$/status"));
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  struct sigaction ignore {};
  struct sigaction old {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, &old);
  std::uint32_t code = 0;
  EXPECT_TRUE(kt::NativePlatform().StartCommand(KT_W("systemctl start it"), code));
  EXPECT_EQ(WaitFor("report"), "SigBlk: 0000000000000000\nSigIgn: 0000000000000000\n");
  sigset_t now;
  pthread_sigmask(SIG_SETMASK, &before, &now);
  EXPECT_EQ(sigismember(&now, SIGTERM), 1) << "the caller's mask is as it was";
  sigaction(SIGPIPE, &old, nullptr);
}

TEST_F(PosixCommand, WorksInAHostThatIgnoresItsChildren) {
  Install("systemctl", Reporting("echo ran"));
  struct sigaction ignore {};
  struct sigaction old {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGCHLD, &ignore, &old);
  std::uint32_t code = 0;
  EXPECT_TRUE(kt::NativePlatform().StartCommand(KT_W("systemctl start it"), code));
  sigaction(SIGCHLD, &old, nullptr);
  EXPECT_EQ(WaitFor("report"), "ran\n");
}

TEST_F(PosixCommand, RestartsThroughSystemctlWithForce) {
  Install("systemctl", Reporting("echo \"$@\""));
  EXPECT_TRUE(kt::NativePlatform().ForceRestart());
  EXPECT_EQ(WaitFor("report"), "reboot --force\n");
}

TEST_F(PosixCommand, RefusesTheRestartThatCannotBeIssued) {
  fs::create_directories(folder_ / "bin");
  EXPECT_FALSE(kt::NativePlatform().ForceRestart());
  EXPECT_EQ(kt::NativePlatform().LastError(), static_cast<std::uint32_t>(ENOENT));
}

TEST_F(PosixCommand, NeedsNoPrivilegeBeforehand) {
  kt::Credentials credentials = nullptr;
  std::uint64_t privilege = 1;
  EXPECT_TRUE(kt::NativePlatform().OpenCredentials(credentials));
  EXPECT_TRUE(kt::NativePlatform().FindRestartPrivilege(privilege));
  EXPECT_TRUE(kt::NativePlatform().EnablePrivilege(credentials, privilege));
  EXPECT_EQ(kt::NativePlatform().LastError(), 0u);
  kt::NativePlatform().CloseCredentials(credentials);
}

TEST(PosixMachine, HasTheNumberThatClientsKnowForItsArchitecture) {
  EXPECT_EQ(kt::ArchitectureCode("x86_64"), 9u);
  EXPECT_EQ(kt::ArchitectureCode("ia64"), 6u);
  EXPECT_EQ(kt::ArchitectureCode("aarch64"), 12u);
  EXPECT_EQ(kt::ArchitectureCode("armv7l"), 5u);
  EXPECT_EQ(kt::ArchitectureCode("i386"), 0u);
  EXPECT_EQ(kt::ArchitectureCode("i686"), 0u);
  for (const char* const other : {"", "i86", "i68", "x686", "i387", "riscv64", "s390x"}) {
    EXPECT_EQ(kt::ArchitectureCode(other), 0xFFFFu) << other;
  }
}

TEST(PosixMachine, TellsTheKernelsMajorVersionAndNoServicePack) {
  utsname names{};
  ASSERT_EQ(uname(&names), 0);
  const kt::MachineFacts machine = kt::NativePlatform().Machine();
  EXPECT_EQ(machine.major_version, std::stoul(names.release));
  EXPECT_EQ(machine.service_pack_major, 0u);
  EXPECT_FALSE(machine.emulated);
  if (std::string(names.machine) == "x86_64") {
    EXPECT_EQ(machine.architecture, 9u);
  }
}

}  // namespace
