// What the operating system tells the running program, on POSIX systems.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "host_system.h"
#include "service/program.h"

namespace ktsvc_test {
namespace {

TEST(ServingProgram, EndsInOrderOnEachSignal) {
  for (const int signal : {SIGINT, SIGTERM}) {
    Program program(RunWords({"good"}));
    ASSERT_TRUE(program.WaitForError("serving 1 provider")) << program.Errors();
    program.Signal(signal);
    const Result result = program.Wait();
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_NE(result.output.find("nothing kept"), std::string::npos) << result.output;
    EXPECT_NE(result.errors.find("good is down"), std::string::npos) << result.errors;
  }
}

TEST(ServingProgram, ShowsItsProvidersWhileItServes) {
  Program program(RunWords({"good"}));
  ASSERT_TRUE(program.WaitForError("serving 1 provider")) << program.Errors();
  EXPECT_NE(program.Output().find("good  running  GOOD.1.2.3"), std::string::npos);
}

TEST(ServingProgram, RaisesTheDomainInitialisationEventToo) {
  Program program(RunWords({"good"}));
  EXPECT_TRUE(program.WaitForError("good took event.qelm.dom.initialization.ktsvc.complete"));
}

TEST(ServingProgram, SaysWhatItWaitsForWhenASecondSignalComes) {
  const ScratchFolder folder;
  const auto gate = folder.path() / "gate";
  Program program(RunWords({"slow"}), {{"KTSVC_TEST_GATE", gate.string()}});
  ASSERT_TRUE(program.WaitForError("serving 1 provider")) << program.Errors();
  program.Signal(SIGTERM);
  ASSERT_TRUE(program.WaitForError("shutting down slow")) << program.Errors();
  program.Signal(SIGTERM);
  EXPECT_TRUE(program.WaitForError("stopping already; waiting for slow to shut down"))
      << program.Errors();
  program.Signal(SIGINT);
  folder.Write("gate", "");
  const Result result = program.Wait();
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_NE(result.output.find("nothing kept"), std::string::npos);
}

TEST(ServingProgram, EndsAndFailsWithAProviderThatHasFailed) {
  Program program(RunWords({"good", "nobody"}));
  ASSERT_TRUE(program.WaitForError("serving 1 provider")) << program.Errors();
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Wait().status, 1);
}

// ---- A reader that goes away -------------------------------------------------------------------

// Runs a command line of the shell with the program's words in its place of "KTSVC".
int Shell(const std::string& script) {
  const std::string program = "\"" + (ktsvc::ProgramFolder() / "ktsvc").string() + "\" run " +
                              "--module-folder \"" + TestModules().string() + "\"";
  std::string line = script;
  line.replace(line.find("KTSVC"), 5, program);
  const pid_t child = fork();
  if (child == 0) {
    execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(ProgramOutput, EndsQuietlyWhenItsReaderHasGone) {
  const ScratchFolder folder;
  const std::string errors = (folder.path() / "errors").string();
  const std::string status = (folder.path() / "status").string();
  // The reader is gone before the first word: the program waits for that.
  Shell("{ while [ ! -e '" + folder.path().string() + "/gone' ]; do sleep 0.01; done; " +
        "KTSVC --once --quiet good 2>'" + errors + "'; echo $? >'" + status + "'; } | " +
        "{ exec <&-; : >'" + folder.path().string() + "/gone'; }");
  EXPECT_EQ(ReadFile(status), "0\n");
  EXPECT_EQ(ReadFile(errors), "");
}

TEST(ProgramOutput, IsAFailureWhenItCannotBeWritten) {
  const ScratchFolder folder;
  const std::string errors = (folder.path() / "errors").string();
  EXPECT_EQ(Shell("KTSVC --once --quiet good >/dev/full 2>'" + errors + "'"), 1);
  EXPECT_NE(ReadFile(errors).find("the results cannot be written: No space left"),
            std::string::npos);
}

}  // namespace
}  // namespace ktsvc_test
