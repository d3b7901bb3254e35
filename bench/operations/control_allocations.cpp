// What a control takes from the heap, and how many texts the framework hands out for it.
#include <cstdint>
#include <stdexcept>

#include "bench/operations/control_work.h"
#include "bench/support/allocations.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

constexpr std::uint32_t kHandlers = 10'000;
constexpr std::size_t kControls = 10'000;

std::uint64_t TextsHandedOut() {
  std::uint64_t texts = 0;
  KtBusVisitLedger(
      [](const KtBusLedgerRow* row, void* context) -> cuvo_bool {
        if (std::string_view(row->kind) == "texts") {
          *static_cast<std::uint64_t*>(context) += row->total;
        }
        return 1;
      },
      &texts);
  return texts;
}

struct Taken {
  double allocations;
  double texts;
};

template <typename Operation>
Taken Count() {
  const std::uint64_t before = AllocationsOfThread();
  _KtFree(_KtAlloc(1'000'000));
  if (AllocationsOfThread() == before) {
    throw std::runtime_error("what the framework's library allocates is not counted");
  }
  Operation operation(kHandlers);
  if (!operation.Works()) throw std::runtime_error("the control does not work");
  operation.Begin();
  for (std::size_t i = 0; i < kControls; ++i) operation.Run();  // warm
  const std::uint64_t texts = TextsHandedOut();
  const std::uint64_t allocations = AllocationsOfThread();
  for (std::size_t i = 0; i < kControls; ++i) operation.Run();
  const Taken taken{static_cast<double>(AllocationsOfThread() - allocations) / kControls,
                    static_cast<double>(TextsHandedOut() - texts) / kControls};
  operation.End();
  return taken;
}

const bool entered =
    AddFigure("allocations/control/kt", [] { return Count<Control>().allocations; }) &&
    AddFigure("allocations/control/texts", [] { return Count<Control>().texts; }) &&
    AddFigure("allocations/any-object/kt",
              [] { return Count<ControlOfAnyObject>().allocations; }) &&
    AddFigure("allocations/any-object/texts", [] { return Count<ControlOfAnyObject>().texts; });

}  // namespace
}  // namespace kt::bench
