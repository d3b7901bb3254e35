// The program itself: what a shell sees of its end.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <thread>

#include "cli_test.h"
#include "host_system.h"

namespace ktctl {
namespace {

using cli_test::CliTest;
using cli_test::Environment;

// A ktctl whose output and messages go to pipes.
class Program {
 public:
  Program(std::vector<std::string> words, const Environment& environment) {
    const std::string file = (ktsvc::ProgramFolder() / "ktctl").string();
    words.insert(words.begin(), file);
    std::vector<std::string> variables;
    for (const auto& [name, value] : environment) {
      variables.push_back(name + "=" + value);
    }
    std::array<int, 2> output{};
    std::array<int, 2> errors{};
    EXPECT_EQ(pipe2(output.data(), O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(errors.data(), O_CLOEXEC), 0);
    output_ = output[0];
    errors_ = errors[0];
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errors[1], STDERR_FILENO);
    // As a shell starts it, whatever this test's own parent ignores.
    posix_spawnattr_t attributes{};
    posix_spawnattr_init(&attributes);
    sigset_t defaults{};
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGINT);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    EXPECT_EQ(posix_spawn(&id_, file.c_str(), &actions, &attributes, Pointers(words).data(),
                          Pointers(variables).data()),
              0);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    close(output[1]);
    close(errors[1]);
  }
  ~Program() {
    CloseOutput();
    close(errors_);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  void Signal(int number) const { kill(id_, number); }
  void CloseOutput() {
    if (output_ >= 0) {
      close(output_);
      output_ = -1;
    }
  }

  // What waitpid() says when it has ended.
  [[nodiscard]] int Wait() const {
    int status = 0;
    EXPECT_EQ(waitpid(id_, &status, 0), id_);
    return status;
  }

  [[nodiscard]] std::string Output() const { return ReadAll(output_); }
  [[nodiscard]] std::string Messages() const { return ReadAll(errors_); }

 private:
  static std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
      pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
  }

  static std::string ReadAll(int file) {
    std::string text;
    std::array<char, 4096> piece{};
    for (ssize_t got = read(file, piece.data(), piece.size()); got > 0;
         got = read(file, piece.data(), piece.size())) {
      text.append(piece.data(), static_cast<std::size_t>(got));
    }
    return text;
  }

  pid_t id_ = 0;
  int output_ = -1;
  int errors_ = -1;
};

class ProgramTest : public CliTest {
 protected:
  void WaitForFollower() {
    while (hub().Subscribers() == 0) {
      std::this_thread::yield();
    }
  }
  void Raise() {
    hub().Publish(ktsvc::api::Topic::kEvents,
                  R"({"name":"a.b","time":"T","raisedBy":"alpha","properties":[]})", "a.b");
  }
};

TEST_F(ProgramTest, PrintsWhatTheServiceAnswers) {
  Program program({"types"}, Surroundings("boss"));
  const std::string output = program.Output();
  EXPECT_EQ(program.Wait(), 0);
  EXPECT_THAT(output, testing::HasSubstr("qelm_ktvm_disk"));
  EXPECT_EQ(program.Messages(), "");
}

TEST_F(ProgramTest, EndsWithTheStatusOfARefusal) {
  const Program program({"show", "nothing"}, Surroundings("boss"));
  const int status = program.Wait();
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), kExitWrongWords);
  EXPECT_THAT(program.Messages(), testing::StartsWith("ktctl: no object is named \"nothing\""));
  EXPECT_EQ(program.Output(), "");
}

TEST_F(ProgramTest, DiesOfCtrlCQuietlySoThatAShellKnows) {
  const Program program({"events", "-f"}, Surroundings("boss"));
  WaitForFollower();
  program.Signal(SIGINT);
  const int status = program.Wait();
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGINT);
  EXPECT_EQ(program.Output(), "");
  EXPECT_EQ(program.Messages(), "");
}

TEST_F(ProgramTest, EndsQuietlyWhenItsReaderHasGone) {
  Program program({"events", "-f"}, Surroundings("boss"));
  WaitForFollower();
  program.CloseOutput();
  Raise();
  EXPECT_EQ(program.Wait(), 0);
  EXPECT_EQ(program.Messages(), "");
}

TEST_F(ProgramTest, EndsQuietlyWhenItsReaderHasGoneThoughNothingHappens) {
  Program program({"events", "-f"}, Surroundings("boss"));
  WaitForFollower();
  program.CloseOutput();
  EXPECT_EQ(program.Wait(), 0);
  EXPECT_EQ(program.Messages(), "");
}

TEST_F(ProgramTest, ShowsNoColoursInAPipe) {
  const Program program({"types"}, Surroundings("boss"));
  EXPECT_THAT(program.Output(), testing::Not(testing::HasSubstr("\x1b")));
  EXPECT_EQ(program.Wait(), 0);
}

}  // namespace
}  // namespace ktctl
