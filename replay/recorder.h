// Recorder: writes every call across the interface into a file while it lives.
//
// What is recorded: the calls that providers make of the framework, and the calls of the providers'
// functions. What the host itself calls is not. A provider never waits for the disk: its calls are
// put into a queue, and a thread of the recorder's own writes them. Where the disk fails, or does
// not keep up for so long that a quarter of a million calls wait, the recording ends there; the
// providers go on.
//
// Threads:   made and stopped on one thread. One at a time in a process, for it is the gate of the
//            framework (KtBusSetCallGate).
// Failure:   the constructor throws std::runtime_error when the file cannot be made. What fails
//            later is told once, on the recorder's thread, and again by Stop().
#pragma once

#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "replay/call_reader.h"
#include "replay/recording_file.h"

namespace ktreplay {

// What became of a recording.
struct RecordingEnd {
  std::uint64_t items = 0;
  std::uint64_t bytes = 0;
  std::string failure;  // why it ends before its time; empty when it is whole
};

class Recorder {
 public:
  using OnFailure = std::function<void(const std::string& why)>;

  Recorder(const std::filesystem::path& file, const std::string& program, OnFailure onFailure);
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  // Takes the gate away, writes what waits and the end. Once.
  RecordingEnd Stop();

 private:
  void Before(KtBusCall& call);
  void After(const KtBusCall& call);
  void Push(Item item);
  void Fail(const std::string& why) noexcept;
  void Run();

  RecordingWriter writer_;  // the recorder's thread only, until that has ended
  const OnFailure onFailure_;
  const std::chrono::steady_clock::time_point begun_;
  CallReader reader_;

  std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  std::vector<Item> waiting_;
  std::unordered_map<const void*, std::unique_ptr<Item>> open_;  // calls that have not returned
  std::string failure_;
  bool stopping_ = false;
  bool stopped_ = false;

  std::thread thread_;
};

}  // namespace ktreplay
