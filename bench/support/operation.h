// What is measured, and how it is told to Google Benchmark.
//
// An operation is a class with
//
//   its constructor      everything that the work needs, made once, when it is first wanted
//   bool Works()         does the work once and says whether it really was done; asked before
//                        anything is measured: one that does not work is an error and no number
//   void Run()           the work, once; with a thread's number as its argument, by several threads
//
// and, where they are of use,
//
//   void Begin(), End()  around a row of runs, not measured
//   std::size_t kBatch   how many of the operation one Run() is
//
// One whose work cannot be parted from its preparation has, in Run()'s place,
//
//   double RunTimed()    prepares, does the work, and returns the seconds of the work alone; the
//                        work stands within a Timing (support/timing.h)
//
// What throws while it is measured is an error of its own benchmark; the others are measured.
//
// A figure is a number that is no time of a repeated run: bytes, allocations, the start of a
// program.
//
// Names are ROW/SIZE/CONTESTANT; rows.json says which of them stand in which row of the table.
//
// Threads:   Add() while the program starts; the rest on the main thread.
// Ownership: an operation lives until the program ends, so that repetitions find it warm.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kt::bench {

// Which clock tells how long a run took.
enum class Clock {
  kThread,   // the CPU time of the measuring thread: what other programs take is left out
  kProcess,  // the CPU time of all the program's threads, for work that is handed to another one
  kWall,     // where several threads or programs share the work
};

struct How {
  Clock clock = Clock::kThread;
  int threads = 1;
  bool counted = false;  // one of ours whose instructions repeat: bench/counts keeps them
  bool timed = false;    // tells the time of its runs itself
};
inline constexpr How kCounted{Clock::kThread, 1, true, false};

// One operation as the program sees it, whatever its class.
class Entry {
 public:
  Entry(std::string name, How how) : name_(std::move(name)), how_(how) {}
  virtual ~Entry() = default;
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;

  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  [[nodiscard]] const How& how() const noexcept { return how_; }

  virtual void Measure(benchmark::State& state) = 0;
  virtual bool Works() = 0;
  // The work, that many times by each of its threads, and how many operations that was.
  virtual std::size_t RunTimes(std::size_t times) = 0;
  // Gives back what the operation holds.
  virtual void Forget() noexcept = 0;

  [[nodiscard]] bool Failed() const noexcept { return !failure_.empty(); }

 protected:
  // Whether it works, asked once, by the first of the threads; tells the state when it does not.
  bool Ready(benchmark::State& state);
  // It threw while it was measured: the state is told, and the repetitions that are left are too.
  void Fail(benchmark::State& state, const std::string& why);

 private:
  std::string name_;
  How how_;
  std::mutex asking_;
  bool asked_ = false;
  std::string failure_;  // what went wrong; empty as long as nothing has
};

// Makes the entry known to the program. Always true, for the initialisation of a constant.
bool Enter(std::unique_ptr<Entry> entry);

template <typename Operation>
concept Timed = requires(Operation& operation) {
  operation.RunTimed();
};
template <typename Operation>
concept Shared = requires(Operation& operation) {
  operation.Run(0);
};
template <typename Operation>
concept Bracketed = requires(Operation& operation) {
  operation.Begin();
  operation.End();
};

template <typename Operation>
constexpr std::size_t Batch() noexcept {
  if constexpr (requires { Operation::kBatch; }) {
    return Operation::kBatch;
  } else {
    return 1;
  }
}

template <typename Operation>
class OperationEntry : public Entry {
 public:
  OperationEntry(std::string name, How how, std::function<std::unique_ptr<Operation>()> make)
      : Entry(std::move(name), how), make_(std::move(make)) {}

  void Measure(benchmark::State& state) override {
    if (!Ready(state)) return;
    Operation& operation = Get();
    if (state.thread_index() == 0) Begin(operation);
    try {
      MeasureRuns(state, operation);
    } catch (const std::exception& error) {
      Fail(state, error.what());
    }
    if (state.thread_index() == 0) End(operation);
  }

  bool Works() override { return Get().Works(); }

  std::size_t RunTimes(std::size_t times) override {
    Operation& operation = Get();
    Begin(operation);
    if constexpr (Shared<Operation>) {
      std::vector<std::thread> threads;
      threads.reserve(static_cast<std::size_t>(how().threads));
      for (int thread = 0; thread < how().threads; ++thread) {
        threads.emplace_back([&operation, thread, times] {
          for (std::size_t i = 0; i < times; ++i) operation.Run(thread);
        });
      }
      for (std::thread& thread : threads) thread.join();
      times *= threads.size();
    } else {
      for (std::size_t i = 0; i < times; ++i) {
        if constexpr (Timed<Operation>) {
          operation.RunTimed();
        } else {
          operation.Run();
        }
      }
    }
    End(operation);
    return times * Batch<Operation>();
  }

  void Forget() noexcept override { operation_.reset(); }

 private:
  static void MeasureRuns(benchmark::State& state, Operation& operation) {
    if constexpr (Timed<Operation>) {
      while (state.KeepRunningBatch(static_cast<benchmark::IterationCount>(Batch<Operation>()))) {
        state.SetIterationTime(operation.RunTimed());
      }
    } else if constexpr (Shared<Operation>) {
      const int thread = state.thread_index();
      for ([[maybe_unused]] const auto run : state) operation.Run(thread);
    } else if constexpr (Batch<Operation>() == 1) {
      for ([[maybe_unused]] const auto run : state) operation.Run();
    } else {
      while (state.KeepRunningBatch(static_cast<benchmark::IterationCount>(Batch<Operation>()))) {
        operation.Run();
      }
    }
  }

  static void Begin(Operation& operation) {
    if constexpr (Bracketed<Operation>) operation.Begin();
  }
  static void End(Operation& operation) {
    if constexpr (Bracketed<Operation>) operation.End();
  }
  Operation& Get() {
    if (operation_ == nullptr) operation_ = make_();
    return *operation_;
  }

  std::function<std::unique_ptr<Operation>()> make_;
  std::unique_ptr<Operation> operation_;
};

// Adds an operation; the arguments are its constructor's. Always true.
template <typename Operation, typename... Arguments>
bool Add(std::string name, How how, Arguments... arguments) {
  how.timed = Timed<Operation>;
  return Enter(std::make_unique<OperationEntry<Operation>>(
      std::move(name), how, [=] { return std::make_unique<Operation>(arguments...); }));
}

// Adds a figure, taken anew for each repetition. The table finds it as the counter "figure".
bool AddFigure(std::string name, std::function<double()> take);

}  // namespace kt::bench
