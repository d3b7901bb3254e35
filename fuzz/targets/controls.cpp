// Control requests, notices and whatever else the service may call, through the table of the real
// module on the real framework: ids, interfaces and codes that are right, wrong and made up,
// property sets of every type, handles that are null, stale, foreign and invented.
//
// Input: calls, one after the other (see Life). Each input is a whole life of the module: attached,
// initialised, called, shut down, detached, and the ledger settled.

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "base/status.h"
#include "ktbus3/ktbus3_host.h"
#include "owned_set.h"
#include "property_writer.h"
#include "provider/api_table.h"
#include "provider/entry_points.h"
#include "provider/module_state.h"
#include "support/byte_source.h"
#include "support/ledger_check.h"
#include "support/property_source.h"
#include "support/quiet_platform.h"
#include "support/require.h"
#include "system/identifiers.h"

namespace {

using kt::fuzz::ByteSource;
using kt::fuzz::Require;
using kt::fuzz::RequireSameNumber;

constexpr KtStatus kInvalid = 0x80070057;
constexpr std::uint32_t kPatienceMs = 20'000;

constexpr std::array kInterfaces{kt::kSystemInterface, kt::kRebootInterface,
                                 kt::kTraceInterface,  kt::kDiskInterface,
                                 kt::kVolumeInterface, kt::kDiskGroupInterface};
constexpr std::array<std::uint32_t, 6> kCodes{
    kt::kRebootControl, kt::kTraceLevelControl, 0, 1, 0x7FFFFFFF, 0xFFFFFFFF};
constexpr std::array kTypes{kt::kSystemType,       kt::kConfigurationType, kt::kHostSuperclass,
                            kt::kGenericGroupType, "QELM_Object",          "qelm_ktvm_disk"};
constexpr std::array kEvents{"event.qelm.dom.initialization.ktvm.complete",
                             "event.qelm.dom.initialization.*.complete", "event.alert", "event",
                             ""};

class Life {
 public:
  explicit Life(ByteSource& source) : source_(source) {
    kt::ResetApiState();
    platform_.key_there = source_.Below(4) != 0;  // of both products, and of the versions
    platform_.told_size = 8;
    platform_.value.assign("6\0.\0001\0\0\0", 8);
    Require(KtBusOpenDatabase(&database_) == 0, "a database opens");
    Require(DllInit(this, 1, nullptr) == 1, "the module is attached");
    Require(ProviderEntry(KT_W("hostkit"), nullptr, &table_) == 0, "the module knows its name");
    Require(KtBusAttachProvider(database_, "hostkit", &table_, nullptr, &provider_) == 0,
            "the provider is attached");
    static constexpr KtProviderTable kNothing{};
    Require(KtBusAttachProvider(database_, "other", &kNothing, nullptr, &other_) == 0,
            "another provider is attached");
    KtBusInitializeProvider(provider_);
    FindObjects();
  }

  ~Life() {
    for (const KtIterator iterator : iterators_) KtCloseHandle(iterator);
    sets_.clear();
    KtBusWaitForDelivery(database_, kPatienceMs);
    RequireSameNumber<KtStatus>(0, KtBusShutdownProvider(provider_, 0), "the module shuts down");
    Require(KtBusDetachProvider(provider_) == 0, "the provider is detached");
    Require(DllInit(this, 0, nullptr) == 1, "the module is released");
    kt::fuzz::LedgerCheck::RequireNothingKept("hostkit", "when it is released");
    Require(KtBusCloseDatabase(database_) == 0, "the database closes");
    RequireSameNumber<std::size_t>(0, platform_.open_keys, "every registry key is closed");
    KtSetTraceLevel(0);
  }
  Life(const Life&) = delete;
  Life& operator=(const Life&) = delete;

  void Step() {
    switch (source_.Below(16)) {
      case 0:
        MakeSet();
        break;
      case 1:
        DestroySet();
        break;
      case 2:
      case 3:
      case 4:
        CallControl();
        break;
      case 5:
      case 6:
        SendControl();
        break;
      case 7:
        Notify();
        break;
      case 8:
        Raise();
        break;
      case 9:
        MakeObject();
        break;
      case 10:
        AskVersion();
        break;
      case 11:
        static_cast<void>(table_.GetAttr(source_.Number64(), source_.Number64(), source_.Number64(),
                                         source_.Number64()));
        break;
      case 12:
        Alert();
        break;
      case 13:
        Enumerate();
        break;
      case 14:
        UseObject();
        break;
      default:
        table_.Initialize(database_, provider_);  // once more while it runs: that is allowed
        FindObjects();
        break;
    }
  }

 private:
  // ---- What a call is made with: mostly right, sometimes null, stale or invented

  KtPropset Set() {
    switch (source_.Below(8)) {
      case 0:
        return nullptr;
      case 1:
        return stale_;
      case 2:
        return reinterpret_cast<KtPropset>(source_.Number64());
      case 3:
        return reinterpret_cast<KtPropset>(database_);
      default:
        return sets_.empty() ? nullptr : sets_[source_.Below(sets_.size())].get();
    }
  }

  KtDatabase Database() {
    switch (source_.Below(16)) {
      case 0:
        return nullptr;
      case 1:
        return reinterpret_cast<KtDatabase>(source_.Number64());
      case 2:
        return reinterpret_cast<KtDatabase>(provider_);
      default:
        return database_;
    }
  }

  KtProvider Provider() {
    switch (source_.Below(8)) {
      case 0:
        return nullptr;
      case 1:
        return reinterpret_cast<KtProvider>(source_.Number64());
      case 2:
        return reinterpret_cast<KtProvider>(database_);
      case 3:
        return provider_;
      default:
        return other_;
    }
  }

  KtObjId Object() {
    const std::size_t choice = source_.Below(8);
    if (choice == 0) return {};
    if (choice == 1 || objects_.empty()) return {source_.Guid()};
    return objects_[source_.Below(objects_.size())];
  }

  KtGuid Interface() {
    return source_.Below(8) == 0 ? source_.Guid() : kInterfaces[source_.Below(kInterfaces.size())];
  }

  std::uint32_t Code() {
    return source_.Below(4) == 0 ? source_.Number32() : kCodes[source_.Below(kCodes.size())];
  }

  std::string Name(const char* const* known, std::size_t count) {
    return source_.Below(4) == 0 ? source_.TextWithoutZero() : known[source_.Below(count)];
  }
  std::string Type() { return Name(kTypes.data(), kTypes.size()); }
  std::string Event() { return Name(kEvents.data(), kEvents.size()); }

  // ---- The calls

  void MakeSet() {
    if (sets_.size() == 16) sets_.clear();
    ktsvc::PropertyList list = kt::fuzz::ReadProperties(source_, 2);
    if (source_.Flag()) {
      ktsvc::Property level = kt::fuzz::ReadProperty(source_, "tracelevel", 1);
      if (ktsvc::FindProperty(list, level.name) == nullptr) list.push_back(std::move(level));
    }
    if (source_.Flag()) {
      ktsvc::Property loud{"pwb trace", TYPE_BOOLEAN, 0, {source_.Flag()}};
      if (ktsvc::FindProperty(list, loud.name) == nullptr) list.push_back(std::move(loud));
    }
    sets_.push_back(ktsvc::MakePropertySet(list));
  }

  void DestroySet() {
    if (sets_.empty()) return;
    stale_ = sets_.back().get();
    sets_.pop_back();
    RequireSameNumber<KtStatus>(KTBUS_NO_OBJECT, PsDestroyPropset(stale_), "a stale set is known");
  }

  void CallControl() {
    const KtObjId object = Object();
    const bool no_object = source_.Below(16) == 0;
    const KtGuid interface_id = Interface();
    const bool no_interface = source_.Below(16) == 0;
    const bool no_slot = source_.Below(16) == 0;
    const std::uint32_t selector = source_.Below(4) == 0 ? source_.Number32() : 0;
    const std::uint32_t code = Code();
    const KtPropset input = Set();
    const KtPropset output = Set();
    std::uint64_t slot = 0;
    const KtStatus status =
        table_.Control(no_object ? nullptr : &object, selector, code, input, output, source_.Byte(),
                       source_.Byte(), source_.Byte(), source_.Byte(),
                       no_interface ? 0 : reinterpret_cast<std::uintptr_t>(&interface_id),
                       source_.Byte(), no_slot ? nullptr : &slot);
    if (no_object || no_interface || no_slot) {
      RequireSameNumber(kInvalid, status, "a null pointer is refused");
    } else {
      RequireSameNumber(reinterpret_cast<std::uintptr_t>(provider_), std::uintptr_t{slot},
                        "the provider says who it is");
    }
  }

  void SendControl() {
    const KtObjId object = Object();
    const KtGuid interface_id = Interface();
    KtStatus answer = 0;
    const std::uint32_t selector = source_.Below(4) == 0 ? source_.Number32() : 0;
    const std::uint32_t code = Code();
    const KtPropset input = Set();
    const KtPropset output = Set();
    KtBusSendControl(Database(), &object, &interface_id, selector, code, input, output, &answer);
    // Its answer is that of a request that nobody serves, so exceptions are counted.
    std::uint64_t exceptions = 0;
    Require(KtBusProviderExceptions(provider_, &exceptions) == 0, "exceptions are counted");
    Require(exceptions == 0, "no control ends in an exception");
  }

  void Notify() {
    const std::string name = Event();
    const bool no_name = source_.Below(16) == 0;
    const KtEventRecord record{source_.Below(4), no_name ? nullptr : name.c_str(), Set(),
                               Database()};
    const bool none = source_.Below(16) == 0;
    const KtStatus status =
        table_.ChangeNotify(source_.Byte(), source_.Byte(), source_.Byte(),
                            none ? 0 : reinterpret_cast<std::uintptr_t>(&record));
    if (none) RequireSameNumber(kInvalid, status, "a notice that is none is refused");
  }

  void Raise() {
    const std::string name = Event();
    const KtPropset properties = Set();
    if (source_.Flag()) {
      KtBusRaiseEvent(Database(), name.c_str(), properties);
    } else {
      EvRaiseEvent(Database(), Provider(), name.c_str(), properties);
    }
    Require(KtBusWaitForDelivery(database_, kPatienceMs) == 0, "what was raised is delivered");
  }

  void MakeObject() {
    KtObjId made{};
    const std::string type = Type();
    const KtStatus status = ObCreateObject(Database(), Provider(), type.c_str(), &made);
    if (status == 0 && objects_.size() < 64) objects_.push_back(made);
  }

  void AskVersion() {
    KtWchar* text = nullptr;
    const bool none = source_.Below(4) == 0;
    const KtStatus status = table_.Version(none ? nullptr : &text);
    RequireSameNumber(none ? kInvalid : KtStatus{0}, status, "the version is given");
    _KtFree(text);
  }

  void Alert() {
    const std::string name = source_.TextWithoutZero();
    const std::string words = source_.TextWithoutZero();
    const KtAlertDefinition definition{name.c_str(), source_.Flag() ? nullptr : words.c_str(),
                                       source_.Byte(), 0};
    const KtObjId object = Object();
    KtCookie cookie = 0;
    const KtStatus taken = ObRegisterAlert(Database(), other_, name.c_str(), &cookie);
    ObPublishAlert(Database(), Provider(), &definition);
    ObRaiseAlert(Database(), Provider(), name.c_str(), Set(), source_.Flag() ? nullptr : &object);
    Require(KtBusWaitForDelivery(database_, kPatienceMs) == 0, "what was raised is delivered");
    constexpr std::uint64_t kInvented = 1ULL
                                        << 63U;  // a true one of an alert would be a wrong free
    EvUnregisterEvent(Database(), source_.Number64() | kInvented);
    if (taken == 0) Require(ObUnregisterAlert(database_, cookie) == 0, "an alert is taken back");
  }

  void Enumerate() {
    KtIterator iterator = nullptr;
    const KtPropset set = Set();
    if (PsOpenPropset(set, &iterator) == 0) iterators_.push_back(iterator);
    if (iterators_.empty()) return;
    cuvo_property* found = nullptr;
    if (PsFindNextProperty(Set(), iterators_[source_.Below(iterators_.size())], &found) == 0) {
      PsFreeProperty(found);
    }
    if (source_.Flag()) {
      Require(KtCloseHandle(iterators_.back()) == 0, "an iterator closes");
      Require(KtCloseHandle(iterators_.back()) != 0, "an iterator closes once");
      iterators_.pop_back();
    }
  }

  void UseObject() {
    const KtObjId object = Object();
    const KtObjId child = Object();
    const std::string name = source_.TextWithoutZero();
    switch (source_.Below(8)) {
      case 0:
        ObDeleteObject(Database(), &object);
        break;
      case 1:
        ObAttachChildObject(Database(), &object, &child);
        break;
      case 2:
        ObDetachChildObject(Database(), &object, &child);
        break;
      case 3: {
        const KtGuid interface_id = Interface();
        ObRegisterInterface(Database(), &object, Provider(), &interface_id);
        break;
      }
      case 4: {
        cuvo_property* found = nullptr;
        if (ObGetProperty(Database(), &object, name.c_str(), &found) == 0) {
          ObSetProperty(Database(), &child, found);
          PsFreeProperty(found);
        }
        break;
      }
      case 5: {
        KtPropset properties = nullptr;
        if (ObGetProperties(Database(), &object, &properties) == 0) sets_.emplace_back(properties);
        break;
      }
      case 6: {
        char* type = nullptr;
        if (ObGetObjectType(Database(), &object, &type) == 0) _KtFree(type);
        break;
      }
      default: {
        KtObjId* list = nullptr;
        std::uint32_t count = 0;
        if (ObGetChildObjects(Database(), &object, &list, &count) == 0) _KtFree(list);
        break;
      }
    }
  }

  void FindObjects() {
    for (const char* const type : kTypes) {
      KtObjId* list = nullptr;
      std::uint32_t count = 0;
      if (DbGetObjects(database_, type, &list, &count) != 0) continue;
      for (std::uint32_t i = 0; i < count && objects_.size() < 64; ++i) objects_.push_back(list[i]);
      _KtFree(list);
    }
  }

  ByteSource& source_;
  kt::fuzz::QuietPlatform platform_;
  const kt::PlatformOverride in_force_{platform_};
  KtDatabase database_ = nullptr;
  KtProvider provider_ = nullptr;
  KtProvider other_ = nullptr;
  KtProviderTable table_{};
  std::vector<KtObjId> objects_;
  std::vector<ktsvc::OwnedSet> sets_;
  std::vector<KtIterator> iterators_;
  KtPropset stale_ = nullptr;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  KtSetTraceLevel(0);  // every line is formatted; none is written anywhere
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr int kMostSteps = 64;
  const kt::fuzz::LedgerCheck ledger;
  {
    ByteSource source(data, size);
    Life life(source);
    for (int step = 0; step < kMostSteps && !source.Empty(); ++step) life.Step();
  }
  ledger.RequireSettled("after a whole life");
  return 0;
}
