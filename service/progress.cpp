#include "progress.h"

#include <cstdio>

namespace ktsvc {
namespace {

void WriteLines(const std::string& lines) {
  // Nobody is left to be told when this cannot be written.
  static_cast<void>(std::fwrite(lines.data(), 1, lines.size(), stderr));
  static_cast<void>(std::fflush(stderr));
}

}  // namespace

void Progress::Say(const std::string& text) const {
  if (!quiet_) {
    WriteLines("ktsvc: " + text + "\n");
  }
}

void Progress::Fail(const std::string& text, const std::string& advice) const {
  WriteLines("ktsvc: error: " + text + "\n" + (advice.empty() ? "" : "       " + advice + "\n"));
}

void Progress::SayServing(const std::string& text) const {
  Say(text);
  if (manager_ != nullptr) {
    manager_->Serving(text);
  }
}

void Progress::SayStopping(const std::string& text) const {
  Say(text);
  if (manager_ != nullptr) {
    manager_->Stopping(text);
  }
}

void Progress::SayAwaited(const std::string& text) const {
  Say(text);
  if (manager_ != nullptr) {
    manager_->Doing(text);
  }
}

void Progress::WaitsFor(const std::string& what) {
  if (manager_ != nullptr && !what.empty()) {
    manager_->Doing("waiting for " + what);
  }
  const std::lock_guard lock(mutex_);
  awaited_ = what;
  since_ = std::chrono::steady_clock::now();
}

void Progress::SayStillStopping() const {
  std::string text = "ktsvc: stopping already";
  {
    const std::lock_guard lock(mutex_);
    if (!awaited_.empty()) {
      const auto waited = std::chrono::steady_clock::now() - since_;
      const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(waited).count();
      text += "; waiting for " + awaited_ + " since " + std::to_string(seconds) + " s";
    }
  }
  WriteLines(text + "\n");
}

}  // namespace ktsvc
