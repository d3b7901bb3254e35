#include "bench/support/loaded_module.h"

#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <stdexcept>

#include "bench/module/words.h"

namespace kt::bench {
namespace {

void Require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(std::string("the module cannot be used: ") + what);
}

// A property set for the length of a call.
class Set {
 public:
  Set() { Require(PsCreatePropset(&handle_) == 0, "no property set"); }
  ~Set() { PsDestroyPropset(handle_); }
  Set(const Set&) = delete;
  Set& operator=(const Set&) = delete;

  void Add(const char* name, std::uint32_t value) {
    const cuvo_property property{name, TYPE_UINT32, 0, sizeof(value), 0, &value};
    Require(PsAddProperty(handle_, &property) == 0, "no property");
  }
  std::uint64_t Number(const char* name) {
    cuvo_property* found = nullptr;
    Require(PsFindProperty(handle_, name, &found) == 0, "no answer");
    const std::uint64_t value = *static_cast<const std::uint64_t*>(found->value);
    PsFreeProperty(found);
    return value;
  }
  [[nodiscard]] KtPropset handle() const noexcept { return handle_; }

 private:
  KtPropset handle_ = nullptr;
};

std::filesystem::path Copy() {
  static std::atomic<int> count{0};
  auto copy = std::filesystem::temp_directory_path() / ("bench-" + std::to_string(getpid()) + "-" +
                                                        std::to_string(count.fetch_add(1)) + ".so");
  std::filesystem::copy_file(BENCH_MODULE_FILE, copy,
                             std::filesystem::copy_options::overwrite_existing);
  return copy;
}

}  // namespace

LoadedModule::LoadedModule() : file_(Copy()) {
  library_ = dlopen(file_.c_str(), RTLD_NOW | RTLD_LOCAL);
  std::filesystem::remove(file_);
  // The GNU library keeps the reason for each thread.
  // NOLINTNEXTLINE(concurrency-mt-unsafe)
  if (library_ == nullptr) Require(false, dlerror());
  dll_init_ = reinterpret_cast<decltype(dll_init_)>(dlsym(library_, "DllInit"));
  const auto entry = reinterpret_cast<KtStatus (*)(const KtWchar*, void*, KtProviderTable*)>(
      dlsym(library_, "ProviderEntry"));
  Require(dll_init_ != nullptr && entry != nullptr, "it exports nothing");
  dll_init_(library_, 1, nullptr);
  Require(entry(kModuleWideName, nullptr, &table_) == 0, "it has another name");
  Require(KtBusOpenDatabase(&database_) == 0, "no database");
  Require(KtBusAttachProvider(database_, kModuleName, &table_, reinterpret_cast<const void*>(entry),
                              &provider_) == 0,
          "it cannot be attached");
  Require(KtBusInitializeProvider(provider_) == 0, "it does not start");
}

LoadedModule::~LoadedModule() {
  KtBusShutdownProvider(provider_, 0);
  KtBusDetachProvider(provider_);
  KtBusForgetModule(reinterpret_cast<const void*>(dll_init_));
  KtBusCloseDatabase(database_);
  dll_init_(library_, 0, nullptr);
  dlclose(library_);
}

void LoadedModule::Ask(std::uint32_t code, KtPropset input, KtPropset output) {
  const KtObjId nobody{};
  KtGuid interface_id = kSetupInterface;
  std::uint64_t slot = 0;
  const KtStatus status = table_.Control(&nobody, kSelector, code, input, output, 0, 0, 0, 0,
                                         reinterpret_cast<std::uintptr_t>(&interface_id), 0, &slot);
  Require(status == 0, "its own controls fail");
}

void LoadedModule::MakeHandlers(std::uint32_t handlers, std::uint32_t filters) {
  Set input;
  const Set output;
  input.Add("handlers", handlers);
  input.Add("filters", filters);
  Ask(kMakeHandlers, input.handle(), output.handle());
}

void LoadedModule::Subscribe(std::uint32_t subscriptions) {
  Set input;
  const Set output;
  input.Add("subscriptions", subscriptions);
  Ask(kSubscribe, input.handle(), output.handle());
}

std::uint64_t LoadedModule::Calls() {
  const Set input;
  Set output;
  Ask(kCountCalls, input.handle(), output.handle());
  return output.Number("calls");
}

std::vector<KtObjId> LoadedModule::Objects() const {
  KtObjId* list = nullptr;
  std::uint32_t count = 0;
  Require(DbGetObjects(database_, kObjectType, &list, &count) == 0, "no objects");
  const std::unique_ptr<KtObjId, void (*)(void*)> owner(list, _KtFree);
  return {list, list + count};
}

}  // namespace kt::bench
