// SQLite in memory with prepared statements: the objects in one table, their properties in another.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <map>
#include <stdexcept>
#include <string>

#include "bench/operations/control.h"
#include "bench/operations/object_work.h"
#include "bench/support/operation.h"
#include "bench/support/order.h"

namespace kt::bench {
namespace {

class Statement {
 public:
  Statement(sqlite3* database, const char* text) {
    if (sqlite3_prepare_v2(database, text, -1, &statement_, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sqlite3_errmsg(database));
    }
  }
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& Bind(int place, const KtObjId& id) {
    sqlite3_bind_blob(statement_, place, &id, sizeof(id), SQLITE_STATIC);
    return *this;
  }
  Statement& Bind(int place, const char* text) {
    sqlite3_bind_text(statement_, place, text, -1, SQLITE_STATIC);
    return *this;
  }
  Statement& Bind(int place, std::uint64_t number) {
    sqlite3_bind_int64(statement_, place, static_cast<sqlite3_int64>(number));
    return *this;
  }
  bool Row() { return sqlite3_step(statement_) == SQLITE_ROW; }
  std::uint64_t Number() { return static_cast<std::uint64_t>(sqlite3_column_int64(statement_, 0)); }
  std::uint32_t FirstByte() {
    return *static_cast<const unsigned char*>(sqlite3_column_blob(statement_, 0));
  }
  void Done() { sqlite3_reset(statement_); }
  void Do() {
    const bool done = sqlite3_step(statement_) == SQLITE_DONE;
    sqlite3_reset(statement_);
    if (!done) throw std::runtime_error("SQLite refuses");
  }

 private:
  sqlite3_stmt* statement_ = nullptr;
};

class Table {
 public:
  explicit Table(std::uint32_t count) : ids(PlainObjects(count)), database_(Open()) {
    Begin();
    for (std::uint32_t i = 0; i < count; ++i) Create(ids[i], kType, i);
    Commit();
  }
  static Table& With(std::uint32_t count) {
    static std::map<std::uint32_t, Table> tables;
    return tables.try_emplace(count, count).first->second;
  }

  void Create(const KtObjId& id, const char* type, std::uint64_t size) {
    insert_object_.Bind(1, id).Bind(2, type).Do();
    insert_property_.Bind(1, id).Bind(2, kSizeName).Bind(3, size).Do();
    insert_property_.Bind(1, id).Bind(2, kPathName).Bind(3, kPathValue).Do();
  }
  void SetSize(const KtObjId& id, std::uint64_t size) {
    update_.Bind(1, id).Bind(2, kSizeName).Bind(3, size).Do();
  }
  std::uint64_t Size(const KtObjId& id) {
    select_.Bind(1, id).Bind(2, kSizeName);
    const std::uint64_t size = select_.Row() ? select_.Number() : ~0ULL;
    select_.Done();
    return size;
  }
  void Delete(const KtObjId& id) {
    delete_properties_.Bind(1, id).Do();
    delete_object_.Bind(1, id).Do();
  }
  std::size_t List() {
    std::size_t count = 0;
    list_.Bind(1, kType);
    while (list_.Row()) {
      benchmark::DoNotOptimize(list_.FirstByte());
      ++count;
    }
    list_.Done();
    return count;
  }
  void Begin() { begin_.Do(); }
  void Commit() { commit_.Do(); }

  static constexpr const char* kType = "disk";
  std::vector<KtObjId> ids;
  FreshIds fresh;

 private:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
  };
  using Database = std::unique_ptr<sqlite3, Close>;

  static Database Open() {
    sqlite3* opened = nullptr;
    if (sqlite3_open(":memory:", &opened) != SQLITE_OK) throw std::runtime_error("no SQLite");
    Database database(opened);
    sqlite3_exec(opened,
                 "create table object(id blob primary key, type text) without rowid;"
                 "create index of_type on object(type);"
                 "create table property(id blob, name text, value, primary key(id, name))"
                 " without rowid",
                 nullptr, nullptr, nullptr);
    return database;
  }

  Database database_;
  Statement begin_{database_.get(), "begin"};
  Statement commit_{database_.get(), "commit"};
  Statement insert_object_{database_.get(), "insert into object values(?1, ?2)"};
  Statement insert_property_{database_.get(), "insert into property values(?1, ?2, ?3)"};
  Statement update_{database_.get(), "update property set value = ?3 where id = ?1 and name = ?2"};
  Statement select_{database_.get(), "select value from property where id = ?1 and name = ?2"};
  Statement delete_properties_{database_.get(), "delete from property where id = ?1"};
  Statement delete_object_{database_.get(), "delete from object where id = ?1"};
  Statement list_{database_.get(), "select id from object where type = ?1"};
};

class Read {
 public:
  explicit Read(std::uint32_t count) : table_(Table::With(count)), order_(count) {}
  bool Works() {
    table_.SetSize(table_.ids[7], 4'711);
    return table_.Size(table_.ids[7]) == 4'711;
  }
  void Run() { benchmark::DoNotOptimize(table_.Size(table_.ids[order_.Next()])); }

 private:
  Table& table_;
  Order order_;
};

class Set {
 public:
  explicit Set(std::uint32_t count) : table_(Table::With(count)), order_(count) {}
  bool Works() {
    table_.SetSize(table_.ids[9], 2);
    return table_.Size(table_.ids[9]) == 2;
  }
  void Run() { table_.SetSize(table_.ids[order_.Next()], ++value_); }

 private:
  Table& table_;
  Order order_;
  std::uint64_t value_ = 0;
};

class CreateDelete {
 public:
  explicit CreateDelete(std::uint32_t count) : table_(Table::With(count)), order_(count) {}
  bool Works() {
    const KtObjId before = table_.ids[3];
    const std::size_t count = table_.List();
    Replace(table_.ids[3]);
    return table_.Size(table_.ids[3]) == kNewSize && table_.Size(before) == ~0ULL &&
           table_.List() == count;
  }
  void Run() { Replace(table_.ids[order_.Next()]); }

 private:
  void Replace(KtObjId& id) {
    table_.Begin();
    table_.Delete(id);
    table_.Commit();
    id = table_.fresh.Next();
    table_.Begin();
    table_.Create(id, Table::kType, kNewSize);
    table_.Commit();
  }
  Table& table_;
  Order order_;
};

template <std::uint32_t kCount>
class List {
 public:
  static constexpr std::size_t kBatch = kCount;
  List() : table_(Table::With(kCount)) {}
  bool Works() { return table_.List() == kCount; }
  void Run() { benchmark::DoNotOptimize(table_.List()); }

 private:
  Table& table_;
};

template <std::uint32_t kCount>
void AddSize() {
  const std::string size = std::to_string(kCount);
  constexpr How kHow;
  Add<Read>("objects-read/" + size + "/sqlite", kHow, kCount);
  Add<Set>("objects-set/" + size + "/sqlite", kHow, kCount);
  Add<CreateDelete>("objects-create/" + size + "/sqlite", kHow, kCount);
  Add<List<kCount>>("objects-list/" + size + "/sqlite", kHow);
}

const bool entered = [] {
  AddSize<kObjectCounts[3]>();
  return true;
}();

}  // namespace
}  // namespace kt::bench
