#include "ktcheck/bench.h"

#include <cstdlib>
#include <utility>

namespace ktcheck {

Bench::Bench(const CheckOptions& options, Report& report)
    : options_(options),
      report_(report),
      clock_(
          options.patience, Sink(),
          [this](const std::string& what, std::chrono::milliseconds time) {
            if (const Figure* const figure = SlowestOf(what)) Most(*figure, time.count());
          },
          [this] { EndHere(); }) {}

void Bench::Trying(const std::string& what, std::uint64_t step, const Figure& figure) {
  {
    const std::lock_guard lock(mutex_);
    trying_ = what;
  }
  report_.Trying(step, what, std::string(figure.key));
}

std::string Bench::trying() const {
  const std::lock_guard lock(mutex_);
  return trying_;
}

void Bench::Found(Finding finding) {
  if (finding.when.empty()) finding.when = trying();
  report_.Found(std::move(finding));
}

FindingSink Bench::Sink() {
  return [this](Finding finding) { Found(std::move(finding)); };
}

void Bench::EndHere() {
  if (report_.step() == 0) {
    report_.Done();
  } else {
    report_.Resume(report_.step() + 1);
  }
  // Code of the module still runs: nothing may be taken down under it.
  std::_Exit(0);
}

}  // namespace ktcheck
