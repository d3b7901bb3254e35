// Objects on the bus, a thousand to a million of them: read a property, set one, create and delete,
// list a type.
#include <benchmark/benchmark.h>

#include "bench/operations/object_work.h"

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

#include "bench/operations/control.h"
#include "bench/support/operation.h"
#include "bench/support/order.h"
#include "ktbus3/ktbus3_host.h"

namespace kt::bench {
namespace {

// A database with that many objects of one type.
class Bus {
 public:
  explicit Bus(std::uint32_t count) {
    const KtProviderTable table{};
    Require(KtBusOpenDatabase(&database));
    Require(KtBusAttachProvider(database, "publisher", &table, nullptr, &provider));
    ids.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) ids.push_back(Create(kType, i));
  }
  ~Bus() { KtBusCloseDatabase(database); }
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;

  static Bus& With(std::uint32_t count) {
    static std::map<std::uint32_t, Bus> buses;
    return buses.try_emplace(count, count).first->second;
  }

  KtObjId Create(const char* type, std::uint64_t size) {
    KtObjId id{};
    Require(ObCreateObject(database, provider, type, &id));
    SetSize(id, size);
    const cuvo_property path{kPathName, TYPE_STR, 0, 18, 0, const_cast<char*>(kPathValue)};
    Require(ObSetProperty(database, &id, &path));
    return id;
  }

  void SetSize(const KtObjId& id, std::uint64_t size) {
    const cuvo_property property{kSizeName, TYPE_UINT64, 0, sizeof(size), 0, &size};
    Require(ObSetProperty(database, &id, &property));
  }

  std::uint64_t Size(const KtObjId& id) {
    cuvo_property* found = nullptr;
    Require(ObGetProperty(database, &id, kSizeName, &found));
    const std::uint64_t size = *static_cast<const std::uint64_t*>(found->value);
    PsFreeProperty(found);
    return size;
  }

  static void Require(KtStatus status) {
    if (status != 0) throw std::runtime_error("the bus refuses");
  }

  static constexpr const char* kType = "qelm_ktvm_disk";
  static constexpr const char* kOtherType = "qelm_ktvm_volume";
  KtDatabase database = nullptr;
  KtProvider provider = nullptr;
  std::vector<KtObjId> ids;
};

class Read {
 public:
  explicit Read(std::uint32_t count) : bus_(Bus::With(count)), order_(count) {}
  bool Works() {
    bus_.SetSize(bus_.ids[7], 4'711);
    return bus_.Size(bus_.ids[7]) == 4'711;
  }
  void Run() { benchmark::DoNotOptimize(bus_.Size(bus_.ids[order_.Next()])); }

 private:
  Bus& bus_;
  Order order_;
};

class Set {
 public:
  explicit Set(std::uint32_t count) : bus_(Bus::With(count)), order_(count) {}
  bool Works() {
    bus_.SetSize(bus_.ids[9], 1);
    bus_.SetSize(bus_.ids[9], 2);
    return bus_.Size(bus_.ids[9]) == 2;
  }
  void Run() { bus_.SetSize(bus_.ids[order_.Next()], ++value_); }

 private:
  Bus& bus_;
  Order order_;
  std::uint64_t value_ = 0;
};

class CreateDelete {
 public:
  explicit CreateDelete(std::uint32_t count) : bus_(Bus::With(count)) {}
  bool Works() {
    const KtObjId id = bus_.Create(Bus::kOtherType, 5);
    if (bus_.Size(id) != 5) return false;
    Bus::Require(ObDeleteObject(bus_.database, &id));
    return ObDeleteObject(bus_.database, &id) == KTBUS_NO_OBJECT;
  }
  void Run() {
    const KtObjId id = bus_.Create(Bus::kOtherType, 5);
    ObDeleteObject(bus_.database, &id);
  }

 private:
  Bus& bus_;
};

// Per object.
template <std::uint32_t kCount>
class List {
 public:
  static constexpr std::size_t kBatch = kCount;
  List() : bus_(Bus::With(kCount)) {}
  bool Works() { return Count() == kCount; }
  void Run() { benchmark::DoNotOptimize(Count()); }

 private:
  std::uint32_t Count() {
    KtObjId* list = nullptr;
    std::uint32_t count = 0;
    Bus::Require(DbGetObjects(bus_.database, Bus::kType, &list, &count));
    benchmark::DoNotOptimize(list[count - 1]);
    _KtFree(list);
    return count;
  }
  Bus& bus_;
};

// ---- Floor: a hash of objects, each with a hash of its properties ------------------------------

struct IdHash {
  std::size_t operator()(const KtObjId& id) const noexcept {
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(&id), sizeof(id)});
  }
};
struct IdEqual {
  bool operator()(const KtObjId& left, const KtObjId& right) const noexcept {
    return std::memcmp(&left, &right, sizeof(left)) == 0;
  }
};
using Properties = std::unordered_map<std::string, std::variant<std::uint64_t, std::string>>;

struct Plain {
  explicit Plain(std::uint32_t count) : ids(PlainObjects(count)) {
    for (std::uint32_t i = 0; i < count; ++i) Create(ids[i], i);
  }
  static Plain& With(std::uint32_t count) {
    static std::map<std::uint32_t, Plain> maps;
    return maps.try_emplace(count, count).first->second;
  }
  void Create(const KtObjId& id, std::uint64_t size) {
    Properties& properties = objects[id];
    properties[kSizeName] = size;
    properties[kPathName] = std::string(kPathValue);
  }

  std::vector<KtObjId> ids;
  std::unordered_map<KtObjId, Properties, IdHash, IdEqual> objects;
};

class FloorRead {
 public:
  explicit FloorRead(std::uint32_t count) : plain_(Plain::With(count)), order_(count) {}
  bool Works() { return Get(0) < 1'000'000'000; }
  void Run() { benchmark::DoNotOptimize(Get(order_.Next())); }

 private:
  std::uint64_t Get(std::size_t index) {
    const Properties& properties = plain_.objects.find(plain_.ids[index])->second;
    return std::get<std::uint64_t>(properties.find(kSizeName)->second);
  }
  Plain& plain_;
  Order order_;
};

class FloorSet {
 public:
  explicit FloorSet(std::uint32_t count) : plain_(Plain::With(count)), order_(count) {}
  bool Works() { return !plain_.objects.empty(); }
  void Run() { plain_.objects.find(plain_.ids[order_.Next()])->second[kSizeName] = ++value_; }

 private:
  Plain& plain_;
  Order order_;
  std::uint64_t value_ = 0;
};

class FloorCreateDelete {
 public:
  explicit FloorCreateDelete(std::uint32_t count) : plain_(Plain::With(count)) {}
  bool Works() { return !plain_.objects.empty(); }
  void Run() {
    const KtObjId id{{static_cast<std::uint32_t>(++number_), 1, 2, {}}};
    plain_.Create(id, 5);
    plain_.objects.erase(id);
  }

 private:
  Plain& plain_;
  std::uint64_t number_ = 0;
};

template <std::uint32_t kCount>
void AddSize() {
  const std::string size = std::to_string(kCount);
  constexpr How kOurs = kCount == kObjectCounts.front() ? kCounted : How{};
  Add<Read>("objects-read/" + size + "/kt", kOurs, kCount);
  Add<FloorRead>("objects-read/" + size + "/floor", {}, kCount);
  Add<Set>("objects-set/" + size + "/kt", kOurs, kCount);
  Add<FloorSet>("objects-set/" + size + "/floor", {}, kCount);
  Add<CreateDelete>("objects-create/" + size + "/kt", kOurs, kCount);
  Add<FloorCreateDelete>("objects-create/" + size + "/floor", {}, kCount);
  Add<List<kCount>>("objects-list/" + size + "/kt", kOurs);
}

const bool entered = [] {
  AddSize<kObjectCounts[0]>();
  AddSize<kObjectCounts[1]>();
  AddSize<kObjectCounts[2]>();
  AddSize<kObjectCounts[3]>();
  return true;
}();

}  // namespace
}  // namespace kt::bench
