#include "examples/bus_life.h"

#include "base/owned.h"
#include "base/text.h"
#include "ktbus3/ktbus3_host.h"
#include "module_file.h"
#include "module_locator.h"

namespace {

constexpr std::uint32_t kPatienceMs = 30'000;

}  // namespace

BusLife::BusLife() {
  EXPECT_EQ(KtBusOpenDatabase(&database_), 0u);
}

BusLife::~BusLife() {
  StopAll();
  EXPECT_EQ(KtBusCloseDatabase(database_), 0u);
}

void BusLife::Start(const std::string& name) {
  const auto file = ktsvc::LocateModule(name, ktsvc::DefaultModuleFolder());
  Loaded loaded;
  loaded.name = name;
  const ktsvc::ModuleFile judged(file);
  loaded.module = std::make_unique<ktsvc::ProviderModule>(judged, name);
  ASSERT_EQ(KtBusAttachProvider(database_, name.c_str(), &loaded.module->table(),
                                loaded.module->address(), &loaded.provider),
            0u);
  loaded_.push_back(std::move(loaded));
  ASSERT_EQ(KtBusInitializeProvider(loaded_.back().provider), 0u);
}

void BusLife::StopAll() {
  while (!loaded_.empty()) {
    Loaded last = std::move(loaded_.back());
    loaded_.pop_back();
    EXPECT_EQ(KtBusShutdownProvider(last.provider, 0), 0u) << last.name;
    EXPECT_EQ(KtBusDetachProvider(last.provider), 0u) << last.name;
    last.module.reset();
  }
}

std::string BusLife::Version(const std::string& name) {
  for (const Loaded& loaded : loaded_) {
    if (loaded.name != name) continue;
    KtWchar* text = nullptr;
    EXPECT_EQ(KtBusProviderVersion(loaded.provider, &text), 0u);
    const kt::FrameworkWideText owner(text);
    return kt::Narrow(text);
  }
  return {};
}

void BusLife::Raise(const std::string& event) {
  EXPECT_EQ(KtBusRaiseEvent(database_, event.c_str(), nullptr), 0u);
  WaitForDelivery();
}

void BusLife::WaitForDelivery() {
  EXPECT_EQ(KtBusWaitForDelivery(database_, kPatienceMs), 0u);
}

KtStatus BusLife::Send(const KtObjId& object, const KtGuid& interface_id, std::uint32_t code,
                       const CKtPropertySet& input, const CKtPropertySet& output) {
  KtStatus answer = 0;
  const KtStatus status = KtBusSendControl(database_, &object, &interface_id, 0, code,
                                           input.Handle(), output.Handle(), &answer);
  return status != 0 ? status : answer;
}

std::vector<KtObjId> BusLife::ObjectsOf(const std::string& type) const {
  KtObjId* list = nullptr;
  std::uint32_t count = 0;
  if (DbGetObjects(database_, type.c_str(), &list, &count) != 0) return {};
  const kt::FrameworkBlock<KtObjId> owner(list);
  return {list, list + count};
}

std::vector<KtObjId> BusLife::ChildrenOf(const KtObjId& parent) const {
  KtObjId* list = nullptr;
  std::uint32_t count = 0;
  if (ObGetChildObjects(database_, &parent, &list, &count) != 0) return {};
  const kt::FrameworkBlock<KtObjId> owner(list);
  return {list, list + count};
}

std::string BusLife::TypeOf(const KtObjId& object) const {
  char* name = nullptr;
  if (ObGetObjectType(database_, &object, &name) != 0) return {};
  const kt::FrameworkText owner(name);
  return name;
}

std::map<std::string, std::string> BusLife::PropertiesOf(const KtObjId& object) const {
  CKtPropertySet set;
  std::map<std::string, std::string> properties;
  if (ObGetProperties(database_, &object, set.Out()) != 0) return properties;
  kt::ScopedPropset scope(set);
  for (const std::string& key : scope->GetKeys()) {
    properties[key] = scope->ToString(key.c_str(), false, false);
  }
  return properties;
}

KtObjId BusLife::Find(const std::string& type, const std::string& name) const {
  for (const KtObjId& object : ObjectsOf(type)) {
    const auto properties = PropertiesOf(object);
    const auto found = properties.find("Name");
    if (found != properties.end() && found->second == name) return object;
  }
  ADD_FAILURE() << "no object of type " << type << " is named " << name;
  return {};
}

::testing::AssertionResult ProvidersKeptNothing() {
  struct Rows {
    std::string text;
  } rows;
  KtBusVisitLedger(
      [](const KtBusLedgerRow* row, void* context) -> cuvo_bool {
        const std::string provider = row->provider;
        if (!provider.empty() && (row->outstanding != 0 || row->wrongFrees != 0)) {
          static_cast<Rows*>(context)->text +=
              provider + ": " + row->kind + " " + std::to_string(row->outstanding) +
              " kept, wrong frees " + std::to_string(row->wrongFrees) + "\n";
        }
        return 1;
      },
      &rows);
  if (rows.text.empty()) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << rows.text;
}
