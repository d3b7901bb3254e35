// Objects on the bus, a thousand to a million of them: read a property, set one, delete and create,
// list a type.
#include <benchmark/benchmark.h>

#include "bench/operations/object_work.h"

#include <algorithm>
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
    if (status != 0) {
      throw std::runtime_error("the bus refuses: status " + std::to_string(status));
    }
  }

  static constexpr const char* kType = "qelm_ktvm_disk";
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
  explicit CreateDelete(std::uint32_t count) : bus_(Bus::With(count)), order_(count) {}
  bool Works() {
    const KtObjId before = bus_.ids[3];
    Replace(bus_.ids[3]);
    return bus_.Size(bus_.ids[3]) == kNewSize &&
           ObDeleteObject(bus_.database, &before) == KTBUS_NO_OBJECT;
  }
  void Run() { Replace(bus_.ids[order_.Next()]); }

 private:
  void Replace(KtObjId& id) {
    Bus::Require(ObDeleteObject(bus_.database, &id));
    id = bus_.Create(Bus::kType, kNewSize);
  }
  Bus& bus_;
  Order order_;
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
  std::uint64_t Size(const KtObjId& id) {
    const Properties& properties = objects.find(id)->second;
    return std::get<std::uint64_t>(properties.find(kSizeName)->second);
  }
  void SetSize(const KtObjId& id, std::uint64_t size) {
    objects.find(id)->second[kSizeName] = size;
  }

  std::vector<KtObjId> ids;
  FreshIds fresh;
  std::unordered_map<KtObjId, Properties, IdHash, IdEqual> objects;
};

class FloorRead {
 public:
  explicit FloorRead(std::uint32_t count) : plain_(Plain::With(count)), order_(count) {}
  bool Works() {
    plain_.SetSize(plain_.ids[7], 4'711);
    return plain_.Size(plain_.ids[7]) == 4'711;
  }
  void Run() { benchmark::DoNotOptimize(plain_.Size(plain_.ids[order_.Next()])); }

 private:
  Plain& plain_;
  Order order_;
};

class FloorSet {
 public:
  explicit FloorSet(std::uint32_t count) : plain_(Plain::With(count)), order_(count) {}
  bool Works() {
    plain_.SetSize(plain_.ids[9], 1);
    plain_.SetSize(plain_.ids[9], 2);
    return plain_.Size(plain_.ids[9]) == 2;
  }
  void Run() { plain_.SetSize(plain_.ids[order_.Next()], ++value_); }

 private:
  Plain& plain_;
  Order order_;
  std::uint64_t value_ = 0;
};

class FloorCreateDelete {
 public:
  explicit FloorCreateDelete(std::uint32_t count) : plain_(Plain::With(count)), order_(count) {}
  bool Works() {
    const KtObjId before = plain_.ids[3];
    const std::size_t count = plain_.objects.size();
    Replace(plain_.ids[3]);
    return plain_.Size(plain_.ids[3]) == kNewSize && !plain_.objects.contains(before) &&
           plain_.objects.size() == count;
  }
  void Run() { Replace(plain_.ids[order_.Next()]); }

 private:
  void Replace(KtObjId& id) {
    plain_.objects.erase(id);
    id = plain_.fresh.Next();
    plain_.Create(id, kNewSize);
  }
  Plain& plain_;
  Order order_;
};

// Walks the objects and copies their ids into an array of the caller's. Per object.
template <std::uint32_t kCount>
class FloorList {
 public:
  static constexpr std::size_t kBatch = kCount;
  FloorList() : plain_(Plain::With(kCount)) {}
  bool Works() {
    const std::vector<KtObjId> list = Copy();
    return list.size() == kCount && std::all_of(list.begin(), list.end(), [&](const KtObjId& id) {
             return plain_.objects.contains(id);
           });
  }
  void Run() { benchmark::DoNotOptimize(Copy().data()); }

 private:
  [[nodiscard]] std::vector<KtObjId> Copy() const {
    std::vector<KtObjId> list;
    list.reserve(plain_.objects.size());
    for (const auto& [id, properties] : plain_.objects) list.push_back(id);
    return list;
  }
  Plain& plain_;
};

template <std::uint32_t kCount>
void AddSize() {
  const std::string size = std::to_string(kCount);
  constexpr How kOurs = kCount == kObjectCounts.front() ? kCounted : How{};
  Add<Read>("objects-read/" + size + "/kt", kOurs, kCount);
  Add<Set>("objects-set/" + size + "/kt", kOurs, kCount);
  Add<CreateDelete>("objects-create/" + size + "/kt", kOurs, kCount);
  Add<List<kCount>>("objects-list/" + size + "/kt", kOurs);
}

template <std::uint32_t kCount>
void AddFloors() {
  const std::string size = std::to_string(kCount);
  Add<FloorRead>("objects-read/" + size + "/floor", {}, kCount);
  Add<FloorSet>("objects-set/" + size + "/floor", {}, kCount);
  Add<FloorCreateDelete>("objects-create/" + size + "/floor", {}, kCount);
  Add<FloorList<kCount>>("objects-list/" + size + "/floor", {});
}

const bool entered = [] {
  AddSize<kObjectCounts[0]>();
  AddSize<kObjectCounts[1]>();
  AddSize<kObjectCounts[2]>();
  AddSize<kObjectCounts[3]>();
  AddFloors<kObjectCounts[0]>();
  AddFloors<kObjectCounts[3]>();
  return true;
}();

}  // namespace
}  // namespace kt::bench
