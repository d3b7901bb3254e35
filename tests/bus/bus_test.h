// What the suites of the embedded framework share: a database with scripted providers, a memory of
// the trace, short ways to make and read properties, and the ledger before and after.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "ktbus3/ktbus3.h"
#include "ktbus3/ktbus3_host.h"

namespace bus_test {

inline constexpr KtStatus kOk = 0;
inline constexpr KtStatus kNoObject = 0xC1000010;
inline constexpr KtStatus kNoProperty = 0xC1000011;
inline constexpr KtStatus kUnchanged = 0x41000012;
inline constexpr KtStatus kExists = 0xC1000013;
inline constexpr KtStatus kNoMore = 0xC1000014;
inline constexpr KtStatus kDuplicateInterface = 0xC1000029;
inline constexpr KtStatus kAlertPublished = 0xC100002D;
inline constexpr KtStatus kAlertNotPublished = 0xC100002E;
inline constexpr KtStatus kBadInheritance = 0xC1000037;
inline constexpr KtStatus kTypeExists = 0xC1000038;
inline constexpr KtStatus kUnknownType = 0xC1000039;
inline constexpr KtStatus kInvalid = 0x80070057;
inline constexpr KtStatus kNotImplemented = 0x80004001;
inline constexpr KtStatus kThrew = 0xC1000001;

inline constexpr KtGuid kInterfaceA{0x9452C1D7, 0x9A89, 0x4CDF, {0xB3, 0xDF, 1, 2, 3, 4, 5, 6}};
inline constexpr KtGuid kInterfaceB{0x13DC257B, 0xCF59, 0x400F, {0x98, 0x17, 1, 2, 3, 4, 5, 6}};

// ---- Properties ------------------------------------------------------------------------------

inline cuvo_property Record(const char* name, std::uint32_t type, std::uint32_t length,
                            const void* value, std::uint32_t flags = 0) {
  cuvo_property record{};
  record.name = name;
  record.type = type;
  record.flags = flags;
  record.length = length;
  record.value = const_cast<void*>(value);
  return record;
}

inline KtPropset NewSet() {
  KtPropset set = nullptr;
  EXPECT_EQ(PsCreatePropset(&set), kOk);
  return set;
}

inline KtStatus AddUint32(KtPropset set, const char* name, std::uint32_t value) {
  const cuvo_property record = Record(name, TYPE_UINT32, 4, &value);
  return PsAddProperty(set, &record);
}

inline KtStatus AddText(KtPropset set, const char* name, const char* text) {
  const cuvo_property record =
      Record(name, TYPE_STR, static_cast<std::uint32_t>(std::strlen(text) + 1), text);
  return PsAddProperty(set, &record);
}

inline KtStatus AddSet(KtPropset set, const char* name, KtPropset nested) {
  const cuvo_property record = Record(name, TYPE_PROPSET, 16, nested);
  return PsAddProperty(set, &record);
}

struct FreeProperty {
  void operator()(cuvo_property* record) const { PsFreeProperty(record); }
};
using Found = std::unique_ptr<cuvo_property, FreeProperty>;

inline Found Find(KtPropset set, const char* name) {
  cuvo_property* found = nullptr;
  const KtStatus status = PsFindProperty(set, name, &found);
  EXPECT_EQ(status, found == nullptr ? kNoProperty : kOk);
  return Found(found);
}

template <typename T>
T ValueOf(const Found& found) {
  T value{};
  if (found == nullptr || found->value == nullptr) {
    ADD_FAILURE() << "no value";
    return value;
  }
  std::memcpy(&value, found->value, sizeof(value));
  return value;
}

inline std::string TextOf(const Found& found) {
  if (found == nullptr || found->value == nullptr) return "(none)";
  return static_cast<const char*>(found->value);
}

// ---- Providers -------------------------------------------------------------------------------

// A provider made of call-backs. Each function of the table comes out at the call-back of that
// name; one that is not set answers 0.
class ScriptedProvider {
 public:
  ScriptedProvider();
  ~ScriptedProvider();
  ScriptedProvider(const ScriptedProvider&) = delete;
  ScriptedProvider& operator=(const ScriptedProvider&) = delete;

  // Attaches it; the handle is kept.
  KtProvider Attach(KtDatabase database, const char* name, const void* module_address = nullptr);

  [[nodiscard]] KtProvider handle() const { return handle_; }
  [[nodiscard]] const KtProviderTable& table() const { return table_; }

  struct ControlCall {
    KtObjId object;
    std::uint32_t selector;
    std::uint32_t code;
    KtPropset input;
    KtPropset output;
    KtGuid interface_id;
  };
  std::function<KtStatus(const ControlCall&)> control;
  std::function<KtStatus(KtDatabase, KtProvider)> initialize;
  std::function<KtStatus(std::uint64_t)> shutdown;
  std::function<KtStatus(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t)> get_attr;
  std::function<KtStatus(const KtEventRecord&)> notify;
  std::function<KtStatus(KtWchar**)> version;

 private:
  std::size_t slot_;
  KtProviderTable table_;
  KtProvider handle_ = nullptr;
};

// The names of notices in the order in which they came.
class Notices {
 public:
  void Add(const std::string& name) {
    const std::lock_guard guard(lock_);
    names_.push_back(name);
  }
  [[nodiscard]] std::vector<std::string> names() const {
    const std::lock_guard guard(lock_);
    return names_;
  }
  [[nodiscard]] std::size_t size() const { return names().size(); }
  // A call-back for ScriptedProvider::notify.
  std::function<KtStatus(const KtEventRecord&)> Recorder() {
    return [this](const KtEventRecord& record) {
      Add(record.name);
      return kOk;
    };
  }

 private:
  mutable std::mutex lock_;
  std::vector<std::string> names_;
};

// ---- Ledger and trace ------------------------------------------------------------------------

inline KtBusLedgerTotal Sum(const char* provider = nullptr) {
  KtBusLedgerTotal total{};
  EXPECT_EQ(KtBusLedgerSum(provider, &total), kOk);
  return total;
}

// One row of the ledger; all zero when there is none.
KtBusLedgerRow Row(const std::string& provider, const std::string& kind);

struct TraceLine {
  std::uint32_t level;
  std::string text;
};

// ---- Fixture ---------------------------------------------------------------------------------

// A database with one provider, "alpha". Every test must leave the ledger as it found it.
class BusTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  KtDatabase database() const { return database_; }
  KtProvider provider() const { return alpha_.handle(); }
  ScriptedProvider& alpha() { return alpha_; }

  KtObjId NewObject(const char* type = "QELM_Object") {
    KtObjId id{};
    EXPECT_EQ(ObCreateObject(database_, provider(), type, &id), kOk);
    return id;
  }

  std::vector<KtObjId> ObjectsOf(const char* type);
  std::vector<KtObjId> ChildrenOf(const KtObjId& parent);
  KtCookie Subscribe(const ScriptedProvider& who, const char* name);
  KtStatus Raise(const char* name, KtPropset properties = nullptr) {
    return KtBusRaiseEvent(database_, name, properties);
  }
  // Ends at once when all has been delivered; the bound is there for a hang alone.
  void Deliver() { EXPECT_EQ(KtBusWaitForDelivery(database_, 600000), kOk); }

  // Lines traced so far in this test.
  std::vector<TraceLine> Traces() const;
  bool HasTrace(std::uint32_t level, const std::string& part) const;

  // For tests that lose things on purpose.
  void ForgetLedger() { before_ = Sum(); }

 private:
  static void Remember(std::uint32_t level, const char* text, void* context);

  KtDatabase database_ = nullptr;
  ScriptedProvider alpha_;
  KtBusLedgerTotal before_{};
  mutable std::mutex trace_lock_;
  std::vector<TraceLine> traces_;
};

inline bool SameId(const KtObjId& left, const KtObjId& right) {
  return ObCompareId(&left, &right) != 0;
}

inline bool SameIds(const std::vector<KtObjId>& left, const std::vector<KtObjId>& right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(), SameId);
}

}  // namespace bus_test
