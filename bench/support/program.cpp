// The main program of every file of benchmarks.
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <exception>
#include <fstream>
#include <string_view>
#include <vector>

#include "bench/support/collection.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

std::vector<std::unique_ptr<Entry>>& Entries() {
  static std::vector<std::unique_ptr<Entry>> entries;
  return entries;
}

class FigureEntry : public Entry {
 public:
  FigureEntry(std::string name, std::function<double()> take)
      : Entry(std::move(name), How{Clock::kWall}), take_(std::move(take)) {}

  void Measure(benchmark::State& state) override {
    try {
      for ([[maybe_unused]] const auto run : state) state.counters["figure"] = take_();
    } catch (const std::exception& error) {
      Fail(state, error.what());
    }
  }
  bool Works() override { return take_() >= 0; }
  std::size_t RunTimes(std::size_t times) override { return times; }
  void Forget() noexcept override { take_ = nullptr; }

 private:
  std::function<double()> take_;
};

void Register(Entry& entry) {
  auto* const registered = benchmark::RegisterBenchmark(
      entry.name().c_str(), [&entry](benchmark::State& state) { entry.Measure(state); });
  if (dynamic_cast<FigureEntry*>(&entry) != nullptr) {
    registered->Iterations(1);
  } else if (entry.how().timed) {
    registered->UseManualTime();
  } else if (entry.how().clock == Clock::kWall) {
    registered->UseRealTime();
  } else if (entry.how().clock == Clock::kProcess) {
    registered->MeasureProcessCPUTime();
  }
  if (entry.how().threads > 1) registered->Threads(entry.how().threads);
}

// Each operation for a moment: whether it works, and runs.
int Once() {
  int failures = 0;
  for (const auto& entry : Entries()) {
    bool works = false;
    try {
      works = entry->Works();
      if (works) entry->RunTimes(3);
    } catch (const std::exception& error) {
      std::printf("%s: %s\n", entry->name().c_str(), error.what());
      works = false;
    }
    std::printf("%-6s %s\n", works ? "works" : "FAILED", entry->name().c_str());
    if (!works) ++failures;
    entry->Forget();
  }
  std::printf("%zu operations, %d failed\n", Entries().size(), failures);
  return failures == 0 ? 0 : 1;
}

// The names of all, or of those whose instructions are counted.
int List(bool all) {
  for (const auto& entry : Entries()) {
    if (all || entry->how().counted) std::printf("%s\n", entry->name().c_str());
  }
  return 0;
}

// Runs one operation that often while a collector of instructions looks on.
int Count(std::string_view name, std::size_t times) {
  const auto found = std::find_if(Entries().begin(), Entries().end(),
                                  [&](const auto& entry) { return entry->name() == name; });
  if (times == 0) {
    static_cast<void>(std::fprintf(stderr, "--count NAME TIMES: TIMES is a number from 1\n"));
    return 2;
  }
  if (found == Entries().end()) {
    static_cast<void>(std::fprintf(stderr, "no operation \"%.*s\" here: --list names them\n",
                                   static_cast<int>(name.size()), name.data()));
    return 2;
  }
  Entry& entry = **found;
  if (!entry.Works()) {
    static_cast<void>(std::fprintf(stderr, "%s does not work\n", entry.name().c_str()));
    return 1;
  }
  entry.RunTimes(times);  // warm
  Collection::Restart();
  std::size_t operations = 0;
  if (entry.how().timed) {
    operations = entry.RunTimes(times);  // its runs say themselves what of them counts
  } else {
    const Collection collecting;
    operations = entry.RunTimes(times);
  }
  std::printf("%zu\n", operations);
  return 0;
}

// The processor's name, as Linux tells it.
std::string Processor() {
  std::ifstream stream("/proc/cpuinfo");
  for (std::string line; std::getline(stream, line);) {
    const std::size_t colon = line.find(": ");
    if (line.starts_with("model name") && colon != std::string::npos) return line.substr(colon + 2);
  }
  return "";
}

int Measure(int argc, char** argv) {
#if defined(__clang__)
  benchmark::AddCustomContext("compiler", "clang++ " __clang_version__);
#else
  benchmark::AddCustomContext("compiler", "g++ " __VERSION__);
#endif
  benchmark::AddCustomContext("cpu", Processor());
  for (const auto& entry : Entries()) Register(*entry);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  const bool failed = std::any_of(Entries().begin(), Entries().end(),
                                  [](const auto& entry) { return entry->Failed(); });
  return failed ? 1 : 0;
}

int Run(int argc, char** argv) {
  const std::vector<std::string_view> words(argv + 1, argv + argc);
  if (words.size() == 1 && words[0] == "--once") return Once();
  if (words.size() == 1 && words[0] == "--list") return List(false);
  if (words.size() == 1 && words[0] == "--names") return List(true);
  if (words.size() == 3 && words[0] == "--count") {
    std::size_t times = 0;
    std::from_chars(words[2].data(), words[2].data() + words[2].size(), times);
    return Count(words[1], times);
  }
  return Measure(argc, argv);
}

}  // namespace

bool Entry::Ready(benchmark::State& state) {
  const std::lock_guard guard(asking_);
  if (!asked_) {
    asked_ = true;
    try {
      if (!Works()) failure_ = "the operation does not work";
    } catch (const std::exception& error) {
      failure_ = std::string("the operation does not work: ") + error.what();
    }
  }
  if (failure_.empty()) return true;
  state.SkipWithError(failure_.c_str());
  return false;
}

void Entry::Fail(benchmark::State& state, const std::string& why) {
  const std::lock_guard guard(asking_);
  if (failure_.empty()) failure_ = why.empty() ? "failed" : why;
  state.SkipWithError(failure_.c_str());
}

bool Enter(std::unique_ptr<Entry> entry) {
  Entries().push_back(std::move(entry));
  return true;
}

bool AddFigure(std::string name, std::function<double()> take) {
  return Enter(std::make_unique<FigureEntry>(std::move(name), std::move(take)));
}

}  // namespace kt::bench

int main(int argc, char** argv) {
  int status = 1;
  try {
    status = kt::bench::Run(argc, argv);
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "%s\n", error.what()));
  }
  // What the operations hold goes before the libraries do.
  kt::bench::Entries().clear();
  return status;
}
