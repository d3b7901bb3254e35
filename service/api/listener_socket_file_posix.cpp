#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <boost/asio/local/stream_protocol.hpp>
#include <cerrno>
#include <chrono>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "access/peer_credentials.h"
#include "api/http_server.h"
#include "api/listener.h"
#include "file_descriptor.h"
#include "shell_word.h"

namespace ktsvc::api {
namespace {

namespace fs = std::filesystem;
using Local = boost::asio::local::stream_protocol;

constexpr mode_t kOpenToAll = 0666;
constexpr int kLockTries = 100;
constexpr std::chrono::milliseconds kLockPause{20};

std::string ErrorText(int error) {
  return std::generic_category().message(error);
}

[[noreturn]] void Refuse(const fs::path& file, const std::string& why, const std::string& advice) {
  throw ListenError("cannot listen on " + file.string() + ": " + why + "." +
                    (advice.empty() ? "" : " " + advice));
}

// The folder, if nobody but root and this user can put something else in the socket's place.
void CheckFolder(const fs::path& file, const fs::path& folder, int descriptor) {
  struct stat facts {};
  if (fstat(descriptor, &facts) != 0) {
    Refuse(file, "its folder cannot be looked at: " + ErrorText(errno), "");
  }
  const std::string word = ShellWord(folder.string());
  if (facts.st_uid != 0 && facts.st_uid != geteuid()) {
    Refuse(file,
           "its folder belongs to user " + std::to_string(facts.st_uid) + ", who could replace it",
           "Choose another folder, or run: chown " + std::to_string(geteuid()) + " " + word);
  }
  // In a sticky folder everybody may make files, but each only remove his own.
  const bool shared = (facts.st_mode & (S_IWGRP | S_IWOTH)) != 0;
  if (shared && (facts.st_mode & S_ISVTX) == 0) {
    Refuse(file, "others may write to its folder and could replace it", "Run: chmod go-w " + word);
  }
}

// One service at a time looks at what is there and takes its place.
void LockFolder(const fs::path& file, int descriptor) {
  for (int i = 0; i < kLockTries; ++i) {
    if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
      return;
    }
    if (errno != EWOULDBLOCK && errno != EINTR) {
      Refuse(file, "its folder cannot be locked: " + ErrorText(errno), "");
    }
    std::this_thread::sleep_for(kLockPause);
  }
  Refuse(file, "another program holds a lock on its folder", "Is another service starting there?");
}

sockaddr_un AddressOf(const fs::path& file) {
  sockaddr_un address{};
  const std::string& name = file.native();
  if (name.size() >= sizeof(address.sun_path)) {
    Refuse(file,
           "the path is longer than the " + std::to_string(sizeof(address.sun_path) - 1) +
               " bytes that a socket's may have",
           "Choose a shorter one.");
  }
  address.sun_family = AF_UNIX;
  name.copy(address.sun_path, name.size());
  return address;
}

// Removes the socket file of a service that is gone.
void ClearPlace(const fs::path& file) {
  struct stat facts {};
  if (lstat(file.c_str(), &facts) != 0) {
    if (errno == ENOENT) {
      return;
    }
    Refuse(file, ErrorText(errno), "");
  }
  if (!S_ISSOCK(facts.st_mode)) {
    Refuse(file, "there is a file of that name that is no socket", "Remove it, or choose another.");
  }
  const sockaddr_un address = AddressOf(file);
  const FileDescriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (probe.get() < 0) {
    Refuse(file, ErrorText(errno), "");
  }
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the form of the system's call.
  const auto* const generic = reinterpret_cast<const sockaddr*>(&address);
  if (connect(probe.get(), generic, sizeof(address)) == 0 || errno == EAGAIN) {
    Refuse(file, "a service answers there already",
           "Stop it first, or choose another path with --socket.");
  }
  if (errno != ECONNREFUSED) {
    Refuse(file, "whether a service answers there cannot be found out: " + ErrorText(errno), "");
  }
  if (unlink(file.c_str()) != 0 && errno != ENOENT) {
    Refuse(file, "what a former service left there cannot be removed: " + ErrorText(errno), "");
  }
}

// The file, as it is known again at the end.
struct FileMark {
  dev_t device;
  ino_t number;
};

std::optional<FileMark> MarkOf(const fs::path& file) noexcept {
  struct stat facts {};
  if (lstat(file.c_str(), &facts) != 0) {
    return std::nullopt;
  }
  return FileMark{facts.st_dev, facts.st_ino};
}

class SocketFileListener final : public Listener {
 public:
  SocketFileListener(Local::acceptor acceptor, fs::path file)
      : acceptor_(std::move(acceptor)), file_(std::move(file)), mark_(MarkOf(file_)) {}
  ~SocketFileListener() override { Remove(); }
  SocketFileListener(const SocketFileListener&) = delete;
  SocketFileListener& operator=(const SocketFileListener&) = delete;

  // Lets everybody connect.
  void Open() {
    if (chmod(file_.c_str(), kOpenToAll) != 0) {
      Refuse(file_, ErrorText(errno), "");
    }
    boost::system::error_code error;
    static_cast<void>(acceptor_.listen(boost::asio::socket_base::max_listen_connections, error));
    if (error) {
      Refuse(file_, error.message(), "");
    }
  }

  void Accept(Accepted accepted) override {
    acceptor_.async_accept(
        [accepted = std::move(accepted)](boost::system::error_code error, Local::socket socket) {
          accepted(error, Socket(std::move(socket)));
        });
  }

  // The file goes first, so that nobody finds a socket behind which nobody listens.
  void Close() noexcept override {
    Remove();
    boost::system::error_code ignored;
    static_cast<void>(acceptor_.close(ignored));
  }

  [[nodiscard]] std::string Where() const override { return file_.string(); }
  [[nodiscard]] PeerKind peers() const noexcept override { return PeerKind::kCredentials; }

 private:
  void Remove() noexcept {
    const auto now = MarkOf(file_);
    if (mark_ && now && now->device == mark_->device && now->number == mark_->number) {
      unlink(file_.c_str());
    }
    mark_.reset();
  }

  Local::acceptor acceptor_;
  const fs::path file_;
  std::optional<FileMark> mark_;
};

}  // namespace

std::unique_ptr<Listener> ListenOnSocketFile(boost::asio::io_context& context,
                                             const fs::path& file) {
  // Absolute, so that it is removed even if the service changes its folder.
  const fs::path absolute = fs::absolute(file).lexically_normal();
  static_cast<void>(AddressOf(absolute));
  const fs::path folder = absolute.parent_path();
  const FileDescriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor.get() < 0) {
    Refuse(absolute, "its folder cannot be opened: " + ErrorText(errno),
           errno == ENOENT ? "Run: mkdir " + ShellWord(folder.string()) : "");
  }
  CheckFolder(absolute, folder, descriptor.get());
  LockFolder(absolute, descriptor.get());
  ClearPlace(absolute);

  boost::system::error_code error;
  Local::acceptor acceptor(context);
  static_cast<void>(acceptor.open(Local(), error));
  if (!error) {
    static_cast<void>(acceptor.bind(Local::endpoint(absolute.native()), error));
  }
  if (error) {
    Refuse(absolute, error.message(), "");
  }
  // Nobody can connect before it listens, and it removes the file from here on.
  auto listener = std::make_unique<SocketFileListener>(std::move(acceptor), absolute);
  listener->Open();
  return listener;
}

access::Caller CallerOf(Socket::native_handle_type socket) {
  return access::PeerCaller(socket);
}

std::uint32_t PeerUser(Socket::native_handle_type socket) noexcept {
  try {
    return access::PeerUserId(socket);
  } catch (const std::exception&) {
    return static_cast<std::uint32_t>(-1);
  }
}

}  // namespace ktsvc::api
