#include "bus/bus_test.h"

#include <bit>
#include <stdexcept>

namespace bus_test {
namespace {

constexpr std::size_t kSlots = 16;
std::array<ScriptedProvider*, kSlots> slots{};

// The functions of slot N.
template <std::size_t N>
struct Functions {
  static KtStatus Control(const KtObjId* object, std::uint32_t selector, std::uint32_t code,
                          KtPropset input, KtPropset output, std::uint32_t, std::uint32_t,
                          std::uint64_t, std::uint64_t, std::uint64_t value10, std::uint64_t,
                          std::uint64_t* served_by) {
    *served_by = std::bit_cast<std::uint64_t>(slots[N]->handle());
    const auto* const interface_id = std::bit_cast<const KtGuid*>(value10);
    return slots[N]->control
               ? slots[N]->control({*object, selector, code, input, output, *interface_id})
               : kOk;
  }
  static KtStatus Initialize(KtDatabase database, KtProvider provider) {
    return slots[N]->initialize ? slots[N]->initialize(database, provider) : kOk;
  }
  static KtStatus Shutdown(std::uint64_t argument) {
    return slots[N]->shutdown ? slots[N]->shutdown(argument) : kOk;
  }
  static KtStatus GetAttr(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d) {
    return slots[N]->get_attr ? slots[N]->get_attr(a, b, c, d) : kOk;
  }
  static KtStatus ChangeNotify(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t d) {
    return slots[N]->notify ? slots[N]->notify(*std::bit_cast<const KtEventRecord*>(d)) : kOk;
  }
  static KtStatus Version(KtWchar** out) {
    return slots[N]->version ? slots[N]->version(out) : kOk;
  }
  static constexpr KtProviderTable kTable{&Control, &Initialize,   &Shutdown,
                                          &GetAttr, &ChangeNotify, &Version};
};

template <std::size_t... N>
constexpr std::array<KtProviderTable, sizeof...(N)> MakeTables(std::index_sequence<N...>) {
  return {Functions<N>::kTable...};
}

constexpr auto kTables = MakeTables(std::make_index_sequence<kSlots>());

}  // namespace

ScriptedProvider::ScriptedProvider() : slot_(0), table_{} {
  while (slot_ < kSlots && slots[slot_] != nullptr) ++slot_;
  if (slot_ == kSlots) throw std::length_error("too many scripted providers");
  slots[slot_] = this;
  table_ = kTables[slot_];
}

ScriptedProvider::~ScriptedProvider() {
  // Nothing may call the functions any more once this is gone.
  if (handle_ != nullptr) static_cast<void>(KtBusDetachProvider(handle_));
  slots[slot_] = nullptr;
}

KtProvider ScriptedProvider::Attach(KtDatabase database, const char* name,
                                    const void* module_address) {
  EXPECT_EQ(KtBusAttachProvider(database, name, &table_, module_address, &handle_), kOk);
  return handle_;
}

KtBusLedgerRow Row(const std::string& provider, const std::string& kind) {
  struct Search {
    const std::string& provider;
    const std::string& kind;
    KtBusLedgerRow found;
  } search{provider, kind, {}};
  EXPECT_EQ(KtBusVisitLedger(
                [](const KtBusLedgerRow* row, void* context) -> cuvo_bool {
                  Search& wanted = *static_cast<Search*>(context);
                  if (row->provider != wanted.provider || row->kind != wanted.kind) return 1;
                  wanted.found = *row;
                  return 0;
                },
                &search),
            kOk);
  return search.found;
}

void BusTest::SetUp() {
  before_ = Sum();
  KtSetTraceLevel(1);
  ASSERT_EQ(KtBusTraceToCallback(&Remember, this), kOk);
  ASSERT_EQ(KtBusOpenDatabase(&database_), kOk);
  alpha_.Attach(database_, "alpha");
}

void BusTest::TearDown() {
  KtBusCloseDatabase(database_);
  EXPECT_EQ(KtBusTraceToCallback(nullptr, nullptr), kOk);
  KtSetTraceLevel(4);
  EXPECT_EQ(Sum().outstanding, before_.outstanding) << "the ledger is not as it was";
}

std::vector<KtObjId> BusTest::ObjectsOf(const char* type) {
  KtObjId* list = nullptr;
  std::uint32_t count = 0;
  EXPECT_EQ(DbGetObjects(database_, type, &list, &count), kOk);
  std::vector<KtObjId> ids(list, list + count);
  _KtFree(list);
  return ids;
}

std::vector<KtObjId> BusTest::ChildrenOf(const KtObjId& parent) {
  KtObjId* list = nullptr;
  std::uint32_t count = 0;
  EXPECT_EQ(ObGetChildObjects(database_, &parent, &list, &count), kOk);
  std::vector<KtObjId> ids(list, list + count);
  _KtFree(list);
  return ids;
}

KtCookie BusTest::Subscribe(const ScriptedProvider& who, const char* name) {
  KtCookie cookie = 0;
  EXPECT_EQ(EvRegisterEvent(database_, who.handle(), name, &cookie), kOk);
  return cookie;
}

std::vector<TraceLine> BusTest::Traces() const {
  const std::lock_guard guard(trace_lock_);
  return traces_;
}

bool BusTest::HasTrace(std::uint32_t level, const std::string& part) const {
  for (const TraceLine& line : Traces()) {
    if (line.level == level && line.text.find(part) != std::string::npos) return true;
  }
  return false;
}

void BusTest::Remember(std::uint32_t level, const char* text, void* context) {
  BusTest& test = *static_cast<BusTest*>(context);
  const std::lock_guard guard(test.trace_lock_);
  test.traces_.push_back({level, text});
}

}  // namespace bus_test
