#include "bench/support/child.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace kt::bench {
namespace {

[[noreturn]] void Fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::generic_category().message(errno));
}

sockaddr_un AddressOf(const std::string& socket) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (socket.size() >= sizeof(address.sun_path)) {
    throw std::runtime_error("a path too long for a socket: " + socket);
  }
  std::memcpy(static_cast<char*>(address.sun_path), socket.c_str(), socket.size() + 1);
  return address;
}

std::vector<char*> Pointers(std::vector<std::string>& words) {
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

Folder::Folder() {
  std::string name = std::filesystem::temp_directory_path() / "bench-XXXXXX";
  if (mkdtemp(name.data()) == nullptr) Fail("no folder");
  path_ = name;
}

Folder::~Folder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

Child::Child(const std::function<void()>& body) {
  pid_ = fork();
  if (pid_ < 0) Fail("no child");
  if (pid_ > 0) return;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  int status = 0;
  try {
    body();
  } catch (...) {
    status = 1;
  }
  _exit(status);
}

Child::Child(std::vector<std::string> words, const std::vector<std::string>& environment) {
  std::vector<std::string> variables = environment;
  for (char** place = environ; *place != nullptr; ++place) {
    const std::string variable(*place);
    const std::string name = variable.substr(0, variable.find('=') + 1);
    bool replaced = false;
    for (const std::string& given : environment) replaced |= given.rfind(name, 0) == 0;
    if (!replaced) variables.push_back(variable);
  }
  std::vector<char*> arguments = Pointers(words);
  std::vector<char*> names = Pointers(variables);
  posix_spawn_file_actions_t actions{};
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  const int error =
      posix_spawnp(&pid_, arguments[0], &actions, nullptr, arguments.data(), names.data());
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    pid_ = -1;
    errno = error;
    Fail(words[0]);
  }
}

int Child::Stop() {
  if (pid_ < 0) return -1;
  kill(pid_, SIGTERM);
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int ConnectTo(const std::string& socket) {
  const sockaddr_un address = AddressOf(socket);
  for (int attempt = 0; attempt < 1'000; ++attempt) {
    const int connection = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connection < 0) Fail("no socket");
    if (connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
      return connection;
    }
    close(connection);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  Fail("nobody listens at " + socket);
}

int ListenAt(const std::string& socket) {
  const sockaddr_un address = AddressOf(socket);
  const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listener < 0 ||
      bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
      listen(listener, 1) != 0) {
    Fail(socket);
  }
  return listener;
}

void SendAll(int connection, const void* bytes, std::size_t size) {
  const auto* at = static_cast<const char*>(bytes);
  while (size > 0) {
    const ssize_t sent = send(connection, at, size, MSG_NOSIGNAL);
    if (sent <= 0) Fail("cannot send");
    at += sent;
    size -= static_cast<std::size_t>(sent);
  }
}

void ReceiveAll(int connection, void* bytes, std::size_t size) {
  auto* at = static_cast<char*>(bytes);
  while (size > 0) {
    const ssize_t got = recv(connection, at, size, 0);
    if (got == 0) throw std::runtime_error("the other side has gone");
    if (got < 0) Fail("cannot receive");
    at += got;
    size -= static_cast<std::size_t>(got);
  }
}

std::string ExchangeHttp(int connection, const std::string& request) {
  SendAll(connection, request.data(), request.size());
  constexpr std::string_view kLength = "Content-Length: ";
  std::string answer;
  std::array<char, 16'384> bytes{};
  std::size_t whole = 0;
  while (whole == 0 || answer.size() < whole) {
    const ssize_t got = recv(connection, bytes.data(), bytes.size(), 0);
    if (got == 0) throw std::runtime_error("the service closed the connection before its answer");
    if (got < 0) Fail("no answer");
    answer.append(bytes.data(), static_cast<std::size_t>(got));
    if (whole != 0) continue;
    const std::size_t head = answer.find("\r\n\r\n");
    const std::size_t length = answer.find(kLength);
    if (head == std::string::npos) continue;
    if (length == std::string::npos) throw std::runtime_error("an answer without its length");
    whole = head + 4 + std::strtoul(answer.c_str() + length + kLength.size(), nullptr, 10);
  }
  return answer;
}

}  // namespace kt::bench
