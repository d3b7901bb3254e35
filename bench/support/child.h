// Programs and functions of ours that run beside the measuring one, and folders for their sockets.
//
// Failure: std::runtime_error where one cannot be started or does not come up.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace kt::bench {

// A folder that is there for as long as the object.
class Folder {
 public:
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  [[nodiscard]] std::string File(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

// A child of this program, ended by SIGTERM and waited for.
class Child {
 public:
  // The function in a copy of this program, which ends with it. No other thread may run here.
  explicit Child(const std::function<void()>& body);
  // A program; its standard output and error go nowhere. More variables as "NAME=value".
  Child(std::vector<std::string> words, const std::vector<std::string>& environment);
  ~Child() { Stop(); }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // Ends it and waits; its exit status, or -1. Once stopped it stays so.
  int Stop();

  [[nodiscard]] pid_t pid() const noexcept { return pid_; }

 private:
  pid_t pid_ = -1;
};

// Connects to a socket file, trying for ten seconds. The descriptor is the caller's.
int ConnectTo(const std::string& socket);
// Listens at a socket file. The descriptor is the caller's.
int ListenAt(const std::string& socket);

// All of it, or std::runtime_error.
void SendAll(int connection, const void* bytes, std::size_t size);
void ReceiveAll(int connection, void* bytes, std::size_t size);

// One answer of HTTP with a Content-Length, head and body; a second one must not follow at once.
std::string ExchangeHttp(int connection, const std::string& request);

}  // namespace kt::bench
