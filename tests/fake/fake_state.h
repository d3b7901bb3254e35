// Everything that the fake framework knows, behind one mutex, and the gate through which each of
// its functions goes: remember the call, fail it if that was asked for.
//
// The mutex is never held while a hook runs, nor while a critical section or the database lock is
// waited for.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "fake/fake_framework.h"
#include "fake/fake_values.h"

namespace fake {

inline constexpr KtStatus kInvalidArgument = 0x80070057u;
inline constexpr KtStatus kNoObject = 0xC1000010u;
inline constexpr KtStatus kNoProperty = 0xC1000011u;
inline constexpr KtStatus kPropertyExists = 0xC1000013u;
inline constexpr KtStatus kNoMore = 0xC1000014u;
inline constexpr KtStatus kUnchanged = 0x41000012u;
inline constexpr KtStatus kHasInterface = 0xC1000029u;
inline constexpr KtStatus kAlertPublished = 0xC100002Du;
inline constexpr KtStatus kAlertNotPublished = 0xC100002Eu;
inline constexpr KtStatus kNoSuperclass = 0xC1000037u;
inline constexpr KtStatus kTypeExists = 0xC1000038u;
inline constexpr KtStatus kNoType = 0xC1000039u;

struct IdLess {
  bool operator()(const KtGuid& left, const KtGuid& right) const;
  bool operator()(const KtObjId& left, const KtObjId& right) const {
    return (*this)(left.guid, right.guid);
  }
};

// Handles are numbers that are never used twice: kind in the top bits, then a running number.
enum class HandleKind : std::uintptr_t { kDatabase = 1, kProvider = 2, kSet = 3, kIterator = 4 };

struct LiveSet {
  std::shared_ptr<SetData> data;
  bool counted = true;  // false: the test's own, or released by a call that was made to fail
};

struct LiveIterator {
  KtPropset set = nullptr;
  std::size_t next = 0;
  bool counted = true;
};

struct Block {
  bool is_record = false;
  bool counted = true;
  std::uint64_t epoch = 0;
  std::vector<KtPropset> handles;  // of a record
};

struct Attachment {
  KtGuid interface_id{};
  KtProvider owner = nullptr;
};

struct Type {
  KtObjId id{};
  std::vector<std::string> superclasses;
  SetData properties;
  std::vector<Attachment> interfaces;
};

struct Object {
  std::string type;
  std::uint64_t order = 0;
  SetData properties;
  std::vector<Attachment> interfaces;
  std::vector<KtObjId> children;
};

struct Registration {
  std::string name;
  bool alert = false;
  bool counted = true;
};

// What KtCriticalSection::opaque[0] points to.
struct Section {
  std::recursive_mutex mutex;
  std::atomic<int> depth{0};
  std::uint64_t epoch = 0;
};

class State {
 public:
  static State& Get();

  // ---- The gate. The caller holds the mutex.
  // Remembers the call; a value when it is to fail.
  template <typename... Inputs>
  std::optional<KtStatus> Begin(const char* function, const Inputs&... inputs) {
    Note(function, inputs...);
    return NextFailure(function, true);
  }
  // The same for a function that is no part of "all".
  template <typename... Inputs>
  std::optional<KtStatus> BeginByNameOnly(const char* function, const Inputs&... inputs) {
    Note(function, inputs...);
    return NextFailure(function, false);
  }
  // Remembers a call that cannot fail.
  template <typename... Inputs>
  void Note(const char* function, const Inputs&... inputs) {
    if (!recording) return;
    std::string arguments;
    ((arguments += (arguments.empty() ? "" : ", ") + Describe(inputs)), ...);
    calls.push_back({function, std::move(arguments), ThisThread(), false});
  }

  // ---- Texts of inputs
  static std::string Describe(const char* text);
  static std::string Describe(const KtWchar* text);
  static std::string Describe(const cuvo_property* property);
  static std::string Describe(const KtGuid* guid);
  static std::string Describe(const KtObjId* id);
  static std::string Describe(const char* const* names);
  static std::string Describe(const KtAlertDefinition* definition);
  static std::string Describe(const void* handle);
  static std::string Describe(std::uint64_t number) { return std::to_string(number); }
  static std::string Describe(std::uint32_t number) { return std::to_string(number); }

  // ---- Handles
  template <typename Handle>
  Handle NewHandle(HandleKind kind) {
    const std::uintptr_t number =
        (static_cast<std::uintptr_t>(kind) << 40u) | (++last_handle << 4u);
    return reinterpret_cast<Handle>(number);  // NOLINT(performance-no-int-to-ptr): never followed
  }
  bool IsDatabase(KtDatabase handle) const { return databases.count(handle) != 0; }
  bool IsProvider(KtProvider handle) const { return providers.count(handle) != 0; }
  // Whether a dead handle comes from before the last Reset.
  bool IsOld(const void* handle) const;

  // ---- Sets
  SetData* FindSet(KtPropset handle);
  KtPropset HandOut(const SetData& data, bool counted = true);
  KtStatus Read(const cuvo_property* property, NamedValue& value);
  KtStatus AddOrReplace(SetData& set, const cuvo_property* property);
  cuvo_property* HandOutRecord(const NamedValue& property);

  // ---- Memory
  void* Allocate(std::size_t size);
  char* AllocateText(const std::string& text);
  KtObjId* AllocateIds(const std::vector<KtObjId>& ids);
  void WrongFree(std::string sentence) { wrong_frees.push_back(std::move(sentence)); }

  // ---- Objects
  Object* FindObject(const KtObjId& id);
  Type* FindType(const std::string& name);
  bool IsA(const std::string& type, const std::string& ancestor);
  KtStatus CreateType(const char* name, const char* const* superclasses, const SetData* properties,
                      KtObjId* out);
  KtObjId CreateObject(const std::string& type);
  void DeleteObject(const KtObjId& id);
  bool Reaches(const KtObjId& from, const KtObjId& to);

  void ResetLocked();
  std::optional<KtStatus> NextFailure(const char* function, bool of_all);
  std::size_t HeldDatabaseLocks() const { return db_depth; }

  mutable std::mutex mutex;
  std::uint64_t epoch = 0;
  std::uintptr_t last_handle = 0;
  std::uintptr_t first_handle = 0;  // of this epoch

  std::atomic<bool> recording{true};
  std::vector<Call> calls;
  std::vector<TraceLine> traces;
  std::uint32_t trace_level = 0;

  struct Failure {
    std::string function;  // empty: any of "all"
    std::size_t left = 0;
    KtStatus status = 0;
  };
  std::vector<Failure> failures;
  std::size_t failable_calls = 0;
  std::optional<std::minstd_rand> random;  // set: one call in two fails
  std::size_t failures_happened = 0;
  std::string last_failed;

  std::unordered_map<const void*, Block> blocks;
  std::map<KtPropset, LiveSet> sets;
  std::map<KtIterator, LiveIterator> iterators;
  std::vector<std::string> wrong_frees;

  std::set<KtDatabase> databases;
  std::set<KtProvider> providers;
  KtDatabase database = nullptr;
  KtProvider provider = nullptr;

  std::map<std::string, Type> types;
  std::map<KtObjId, Object, IdLess> objects;
  std::uint32_t last_object = 0;
  std::uint32_t last_type = 0;
  std::uint64_t last_order = 0;
  std::optional<KtObjId> next_id;

  std::map<KtCookie, Registration> registrations;
  KtCookie last_cookie = 0;
  std::vector<std::string> published;
  std::vector<Raised> raised_events;
  std::vector<Raised> raised_alerts;

  std::uint64_t slept = 0;
  std::size_t sleeps = 0;
  std::function<void(std::uint32_t)> on_sleep;

  std::set<Section*> live_sections;
  std::atomic<std::size_t> section_count{0};
  std::atomic<std::size_t> held_section_count{0};

  // The database lock; waited for without the mutex above.
  std::recursive_mutex db_lock;
  std::thread::id db_owner;
  std::size_t db_depth = 0;
  std::size_t db_refused = 0;  // database locks that were made to fail and not given back yet

 private:
  State();
};

// Spares the framework's own allocations from what a test does to those of the module.
class Shielded {
 public:
  Shielded() noexcept;
  ~Shielded();
  Shielded(const Shielded&) = delete;
  Shielded& operator=(const Shielded&) = delete;

 private:
  int kept_ = 0;
};

// What every function of the interface holds: the shield of the test, then the state.
class Guard {
 public:
  explicit Guard(std::mutex& mutex) : lock_(mutex) {}

 private:
  const Shielded shielded_;
  const std::lock_guard<std::mutex> lock_;
};

}  // namespace fake
