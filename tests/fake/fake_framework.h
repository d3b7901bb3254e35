// The tests' own framework: every function of ktbus3.h in memory, in a shared library that carries
// the framework's name, and this class to steer it and to ask it what happened.
//
// It remembers every call in order with its inputs as text, every line of the trace whatever its
// level, and everything that it has handed out and not got back. It makes the nth call of a
// function fail on request, and it never sleeps.
//
// Threads:   any member from any thread. No lock of the fake's is held while a hook runs.
// Ids:       objects are numbered from 1 (Data1 = number, Data2 = 1, the rest 0), so that tests can
//            tell their order; types likewise with Data2 = 2.
// Failures:  a call that is made to fail has no effect and writes no out-parameter. A release that
//            is made to fail (a set, a record, an iterator, a registration) leaves the thing alive,
//            but the ledger no longer holds the caller to it; a database lock is given back all the
//            same, since nobody could ever take it again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "ktbus3/ktbus3.h"

#if defined(_WIN32) && defined(KT_BUS_BUILD)
#define FAKE_API __declspec(dllexport)
#elif defined(_WIN32)
#define FAKE_API
#else
#define FAKE_API __attribute__((visibility("default")))
#endif

namespace fake {

struct TraceLine {
  std::uint32_t level = 0;
  std::string text;
  bool operator==(const TraceLine&) const = default;
};

// The framework's number for the calling thread. Under MinGW a thread has another std::thread::id
// in each module, so that a program and its framework would not agree on it.
FAKE_API std::uint64_t ThisThread();

struct Call {
  std::string function;
  std::string arguments;  // inputs, comma separated: handles as "db#1" "provider#1" "set#3", ids as
                          // "#5" ("#0" is the null id), texts quoted, GUIDs in their text form
  std::uint64_t thread = 0;  // as ThisThread() numbers it
  bool failed = false;       // made to fail, or to answer with a status of the test's
};

// What a set or an object holds. `text` is the value for reading: 18, true, "misc", {1, 2}, set#3.
// Texts stand without quotation marks, wide ones made narrow.
struct Property {
  std::string name;
  std::uint32_t type = 0;
  std::uint32_t flags = 0;
  std::uint32_t length = 0;
  std::string text;
  bool operator==(const Property&) const = default;
};

struct Raised {
  std::string name;
  std::vector<Property> properties;
};

// What was handed out and not returned. `propsets` leaves out the sets that the test itself made.
struct Ledger {
  std::size_t propsets = 0;
  std::size_t records = 0;  // found property records
  std::size_t blocks = 0;   // any other block of the framework's memory
  std::size_t iterators = 0;
  std::size_t sections = 0;       // critical sections initialised and not deleted
  std::size_t held_sections = 0;  // critical sections entered and not left
  std::size_t registrations = 0;  // events and alerts subscribed to
  std::size_t held_db_locks = 0;
  std::size_t wrong_frees = 0;  // releases through the wrong function, twice, or of foreign things

  bool operator==(const Ledger&) const = default;
  bool Empty() const { return *this == Ledger{}; }
  // The same without the locks that are initialised: for a moment in the middle of a life.
  bool EmptyButForSections() const {
    Ledger rest = *this;
    rest.sections = 0;
    return rest.Empty();
  }
  std::string ToString() const {
    return "propsets " + std::to_string(propsets) + ", records " + std::to_string(records) +
           ", blocks " + std::to_string(blocks) + ", iterators " + std::to_string(iterators) +
           ", sections " + std::to_string(sections) + ", held sections " +
           std::to_string(held_sections) + ", registrations " + std::to_string(registrations) +
           ", held database locks " + std::to_string(held_db_locks) + ", wrong frees " +
           std::to_string(wrong_frees);
  }
};

class FAKE_API Framework {
 public:
  static Framework& Get();
  Framework(const Framework&) = delete;
  Framework& operator=(const Framework&) = delete;

  // Back to the first day: no objects, only the given types, trace level 0, no memory of calls,
  // traces and failures, an empty ledger, no hook. Things handed out before may still be returned;
  // they are no longer counted. Critical sections go on working.
  void Reset();

  // Handles to hand to a provider.
  KtDatabase database() const;
  KtProvider provider() const;
  // Further ones, as valid as the first; they share the one world.
  KtDatabase MakeDatabase();
  KtProvider MakeProvider();

  // ---- Memory of calls
  std::vector<Call> Calls() const;
  // Names in order without the calls for trace lines, locks, memory and text conversion.
  std::vector<std::string> CallNames() const;
  // The same as "Function(arguments)".
  std::vector<std::string> CallTexts() const;
  std::size_t CountOf(std::string_view function) const;
  void ForgetCalls();
  // Whether calls are remembered at all (yes after Reset). Without it critical sections share no
  // lock of the fake's, so that a race between two of them is not hidden from a thread checker.
  void RecordCalls(bool record);

  // ---- Trace
  std::vector<TraceLine> Traces() const;
  std::vector<std::string> TracesAt(std::uint32_t level) const;
  bool HasTrace(std::uint32_t level, std::string_view text) const;
  void ForgetTraces();
  std::uint32_t TraceLevel() const;

  // ---- Failures
  // Only functions that report failure count: those that return a KtStatus, and _KtAlloc and
  // KtGUIDToString, which then return null whatever the status. Ktmbstowcs and Ktwcstombs can be
  // failed by name (they return -1), but are not among "all". PsFindNextProperty given 0x41000012,
  // which is no failure, hands its record out with that status.
  void FailCall(std::string_view function, std::size_t nth /* from 1, from now */, KtStatus status);
  void FailNthOfAll(std::size_t nth /* from 1, from now */, KtStatus status);
  // Each call of "all" fails from now on with one chance in two, with a status of those that the
  // failure rule calls failures; the seed decides which. ClearFailures() ends it.
  void FailAtRandom(std::uint32_t seed);
  std::size_t FailuresHappened() const;    // since the last ClearFailures or Reset
  std::size_t FailableCalls() const;       // made since ForgetCalls or Reset
  bool FailureHappened() const;            // since the last ClearFailures or Reset
  std::string LastFailedFunction() const;  // empty when none happened
  std::size_t PendingFailures() const;
  void ClearFailures();

  // ---- Ledger
  Ledger Outstanding() const;
  std::vector<std::string> WrongFrees() const;  // one sentence each

  // ---- Time
  std::uint64_t SleptMs() const;
  std::size_t Sleeps() const;
  // Called by every KtSleep on its thread, with no lock held. An empty function takes it away.
  void OnSleep(std::function<void(std::uint32_t milliseconds)> hook);

  // ---- Memory: where the program's operator new is the fake's too, a test that makes its own
  // allocations fail spares the fake's. `enter` is called at the start of every framework function,
  // and its result is handed to `leave` at the end, on the same thread. To be set while no other
  // thread calls; both null for nothing.
  struct Shield {
    int (*enter)() noexcept = nullptr;
    void (*leave)(int) noexcept = nullptr;
  };
  void SetShield(Shield shield);

  // ---- The world: types and objects. None of these is remembered as a call or can fail; an
  // unknown type or object gives nothing.
  void AddType(const std::string& name,
               const std::vector<std::string>& superclasses = {"QELM_Object"});
  bool HasType(const std::string& name) const;
  std::vector<std::string> SuperclassesOf(const std::string& type) const;
  std::vector<Property> TypeProperties(const std::string& type) const;
  std::vector<KtGuid> TypeInterfacesOf(const std::string& type) const;
  KtObjId AddObject(const std::string& type);
  // The next object to be created gets this id.
  void SetNextObjectId(const KtObjId& id);
  void RemoveObject(const KtObjId& id);
  bool HasObject(const KtObjId& id) const;
  std::string TypeOf(const KtObjId& id) const;
  std::vector<KtObjId> ObjectsOf(const std::string& type) const;  // of exactly this type
  std::size_t ObjectCount() const;
  void AddChild(const KtObjId& parent, const KtObjId& child);
  std::vector<KtGuid> InterfacesOf(const KtObjId& id) const;  // its own, in order of registration
  KtProvider InterfaceOwner(const KtObjId& id, const KtGuid& interface_id) const;
  std::vector<Property> PropertiesOf(const KtObjId& id) const;
  void Put(const KtObjId& id, const cuvo_property& property);

  // ---- Property sets of the test's own: not in the ledger, gone with Reset.
  KtPropset MakePropset();
  bool HasPropset(KtPropset set) const;
  std::vector<Property> PropertiesOf(KtPropset set) const;
  void Put(KtPropset set, const cuvo_property& property);
  template <typename Where>
  void PutUInt32(const Where& where, const char* name, std::uint32_t value) {
    Put(where, cuvo_property{name, TYPE_UINT32, 0, sizeof value, 0, &value});
  }
  template <typename Where>
  void PutInt32(const Where& where, const char* name, std::int32_t value) {
    Put(where, cuvo_property{name, TYPE_INT32, 0, sizeof value, 0, &value});
  }
  template <typename Where>
  void PutBoolean(const Where& where, const char* name, bool value) {
    std::uint8_t byte = value ? 1 : 0;
    Put(where, cuvo_property{name, TYPE_BOOLEAN, 0, 1, 0, &byte});
  }
  template <typename Where>
  void PutText(const Where& where, const char* name, std::string text) {
    const auto length = static_cast<std::uint32_t>(text.size() + 1);
    Put(where, cuvo_property{name, TYPE_STR, 0, length, 0, text.data()});
  }
  template <typename Where>
  void PutWideText(const Where& where, const char* name, std::basic_string<KtWchar> text) {
    const auto length = static_cast<std::uint32_t>((text.size() + 1) * 2);
    Put(where, cuvo_property{name, TYPE_WSTR, 0, length, 0, text.data()});
  }

  // ---- Events and alerts. The fake delivers nothing by itself: a test calls the provider.
  std::vector<std::string> Subscriptions() const;       // names of events, in order
  std::vector<std::string> AlertSubscriptions() const;  // names of alerts, in order
  std::vector<std::string> PublishedAlerts() const;
  std::vector<Raised> RaisedEvents() const;
  std::vector<Raised> RaisedAlerts() const;

 private:
  Framework() = default;
};

// The id of object number `number`, as the fake numbers them.
inline KtObjId ObjectNumber(std::uint32_t number) {
  return KtObjId{KtGuid{number, 1, 0, {0, 0, 0, 0, 0, 0, 0, 0}}};
}

inline std::ostream& operator<<(std::ostream& out, const TraceLine& line) {
  return out << line.level << ": " << line.text;
}

inline std::ostream& operator<<(std::ostream& out, const Call& call) {
  return out << call.function << "(" << call.arguments << ")";
}

inline std::ostream& operator<<(std::ostream& out, const Property& property) {
  return out << property.name << " (type " << std::hex << property.type << std::dec << ", flags "
             << property.flags << ", length " << property.length << ") = " << property.text;
}

inline std::ostream& operator<<(std::ostream& out, const Ledger& ledger) {
  return out << ledger.ToString();
}

}  // namespace fake
