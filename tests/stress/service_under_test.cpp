#include "stress/service_under_test.h"

#include <csignal>
#include <stdexcept>
#include <system_error>

namespace stress {

Build Build::Of(const std::filesystem::path& service) {
  const std::filesystem::path program = std::filesystem::absolute(service);
  const std::filesystem::path folder = program.parent_path().parent_path();
  return {program, folder / "modules", folder / "tests"};
}

std::filesystem::path Build::BusyModule() const {
  return tests / "stress" / "modules" / "stress.so";
}

ServiceUnderTest::ServiceUnderTest(const Build& build, const std::vector<std::string>& providers,
                                   const std::vector<std::string>& words, bool ownSession)
    : socket_(folder_.path() / "socket") {
  ktsvc_test::Environment environment = ktsvc_test::HarmlessServices(folder_);
  environment["KT_REGISTRY"] = folder_.path().string();
  std::vector<std::string> all{"run",
                               "--socket",
                               socket_.string(),
                               "--audit-log",
                               (folder_.path() / "audit").string(),
                               "--module-folder",
                               build.modules.string()};
  all.insert(all.end(), words.begin(), words.end());
  all.insert(all.end(), providers.begin(), providers.end());
  std::filesystem::path file = build.service;
  if (ownSession) {
    all.insert(all.begin(), file.string());
    file = "/usr/bin/setsid";
  }
  program_ = std::make_unique<ktsvc_test::Program>(all, environment, file);
  const std::string count = std::to_string(providers.size());
  if (!program_->WaitForError("serving " + count + " provider")) {
    throw std::runtime_error("the service does not start: " + program_->Errors());
  }
}

// It only ever appends to the file.
void ServiceUnderTest::DropLogs() const {
  std::error_code ignored;
  std::filesystem::resize_file(folder_.path() / "audit", 0, ignored);
}

std::string ServiceUnderTest::Stop() {
  program_->Signal(SIGTERM);
  const ktsvc_test::Result result = program_->Wait();
  if (result.status == 0 && result.output.find("nothing kept") != std::string::npos) {
    return {};
  }
  return "the service did not end well:\n" + result.output + result.errors;
}

std::string ServiceUnderTest::Kill() {
  program_->Signal(SIGKILL);
  const ktsvc_test::Result result = program_->Wait();
  return result.output + result.errors;
}

}  // namespace stress
