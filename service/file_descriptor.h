// FileDescriptor: a descriptor of the system that is closed at the end. POSIX alone.
//
// Threads: one thread at a time.
#pragma once

#include <unistd.h>

#include <utility>

namespace ktsvc {

class FileDescriptor {
 public:
  // A negative number stands for none.
  explicit FileDescriptor(int number = -1) noexcept : number_(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept : number_(other.Release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (number_ >= 0) {
      close(number_);
    }
  }

  [[nodiscard]] int get() const noexcept { return number_; }

  // Hands it to the caller, who closes it.
  [[nodiscard]] int Release() noexcept { return std::exchange(number_, -1); }

 private:
  int number_;
};

}  // namespace ktsvc
