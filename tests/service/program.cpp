#include "service/program.h"

#include <thread>
#include <utility>

#include "host_system.h"
#include "service/program_process.h"

namespace ktsvc_test {
namespace {

constexpr std::chrono::milliseconds kPause{10};

}  // namespace

std::filesystem::path BuiltProgram() {
  return ktsvc::ProgramFolder() / ("ktsvc" + ktsvc::ProgramFile().extension().string());
}

Program::Program(std::vector<std::string> words, const Environment& environment,
                 const std::filesystem::path& file)
    : process_(std::make_unique<Process>(file, std::move(words), environment,
                                         folder_.path() / "output", folder_.path() / "errors")) {}

Program::~Program() = default;

Result Program::Wait() {
  while (!HasEnded()) {
    std::this_thread::sleep_for(kPause);
  }
  return {process_->Status(), Output(), Errors()};
}

bool Program::WaitForError(const std::string& text) {
  for (;;) {
    const bool ended = HasEnded();
    if (Errors().find(text) != std::string::npos) {
      return true;
    }
    if (ended) {
      return false;
    }
    std::this_thread::sleep_for(kPause);
  }
}

void Program::Signal(int number) {
  process_->Signal(number);
}

std::intptr_t Program::Number() const {
  return process_->Number();
}

std::string Program::Output() const {
  return ReadFile(folder_.path() / "output");
}

std::string Program::Errors() const {
  return ReadFile(folder_.path() / "errors");
}

bool Program::HasEnded() {
  return process_->HasEnded();
}

Result RunKtsvc(std::vector<std::string> words, const Environment& environment) {
  return Program(std::move(words), environment).Wait();
}

std::filesystem::path TestModules() {
  return ktsvc::ProgramFolder().parent_path() / "tests" / "service" / "modules";
}

std::filesystem::path BuiltModules() {
  return ktsvc::ProgramFolder().parent_path() / "modules";
}

std::vector<std::string> RunWords(const std::vector<std::string>& words) {
  std::vector<std::string> all{"run", "--module-folder", ktsvc::PathText(TestModules())};
  all.insert(all.end(), words.begin(), words.end());
  return all;
}

}  // namespace ktsvc_test
