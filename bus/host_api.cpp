// The C functions of the service: databases, providers, controls, delivery.
#include <new>
#include <optional>

#include "bus/attribution.h"
#include "bus/database.h"
#include "bus/memory.h"
#include "bus/status.h"
#include "ktbus3/ktbus3_host.h"

using kt::bus::Answer;
using kt::bus::Database;
using kt::bus::FindProvider;
using kt::bus::kInvalidArgument;
using kt::bus::kOk;

namespace {

// The caller's property set, or an empty one lent for the call where it gives none.
class GivenOrEmpty {
 public:
  explicit GivenOrEmpty(KtPropset given) : handle_(given) {
    if (given != nullptr) {
      kt::bus::RequirePropset(given);
    } else {
      handle_ = empty_.emplace(kt::bus::PropertyMap()).get();
    }
  }
  [[nodiscard]] KtPropset get() const noexcept { return handle_; }

 private:
  std::optional<kt::bus::LentPropset> empty_;
  KtPropset handle_;
};

}  // namespace

KtStatus KtBusOpenDatabase(KtDatabase* out) {
  return Answer([&] {
    if (out == nullptr) return kInvalidArgument;
    *out = Database::Open();
    return kOk;
  });
}

KtStatus KtBusCloseDatabase(KtDatabase database) {
  return Answer([&] { return Database::Close(database); });
}

KtStatus KtBusAttachProvider(KtDatabase database, const char* name, const KtProviderTable* table,
                             const void* moduleAddress, KtProvider* out) {
  return Answer([&] {
    if (name == nullptr || *name == '\0' || table == nullptr || out == nullptr) {
      return kInvalidArgument;
    }
    const auto found = Database::Find(database);
    std::optional<kt::bus::ModuleRange> range;
    if (moduleAddress != nullptr) {
      range = kt::bus::FindModuleRange(moduleAddress);
      if (!range) return kInvalidArgument;
    }
    const KtProvider handle = found->Attach(name, *table);
    const auto provider = FindProvider(handle);
    try {
      if (range) kt::bus::ModuleTable::Get().Add(*range, provider->account());
    } catch (...) {
      found->Detach(provider);
      throw;
    }
    *out = handle;
    return kOk;
  });
}

KtStatus KtBusNameModule(const char* name, const void* moduleAddress) {
  return Answer([&] {
    if (name == nullptr || *name == '\0' || moduleAddress == nullptr) return kInvalidArgument;
    const auto range = kt::bus::FindModuleRange(moduleAddress);
    if (!range) return kt::bus::kNoObject;
    kt::bus::ModuleTable::Get().Add(*range, kt::bus::Ledger::Get().Of(name));
    return kOk;
  });
}

KtStatus KtBusForgetModule(const void* moduleAddress) {
  return Answer([&] {
    if (moduleAddress == nullptr) return kInvalidArgument;
    return kt::bus::ModuleTable::Get().Forget(moduleAddress) ? kOk : kt::bus::kNoObject;
  });
}

KtStatus KtBusDetachProvider(KtProvider provider) {
  return Answer([&] {
    const auto found = FindProvider(provider);
    return found->database()->Detach(found);
  });
}

KtStatus KtBusInitializeProvider(KtProvider provider) {
  return Answer([&] {
    const auto found = FindProvider(provider);
    return found->Initialize(found->database()->handle());
  });
}

KtStatus KtBusShutdownProvider(KtProvider provider, uint64_t argument) {
  return Answer([&] { return FindProvider(provider)->Shutdown(argument); });
}

KtStatus KtBusProviderVersion(KtProvider provider, KtWchar** out) {
  return Answer([&] {
    if (out == nullptr) return kInvalidArgument;
    KtWchar* text = nullptr;
    const KtStatus status = FindProvider(provider)->Version(&text);
    *out = kt::bus::StatusFails(status) ? nullptr : text;
    return status;
  });
}

KtStatus KtBusProviderGetAttr(KtProvider provider, uint64_t a, uint64_t b, uint64_t c, uint64_t d) {
  return Answer([&] { return FindProvider(provider)->GetAttr(a, b, c, d); });
}

KtStatus KtBusProviderExceptions(KtProvider provider, uint64_t* out) {
  return Answer([&] {
    if (out == nullptr) return kInvalidArgument;
    *out = FindProvider(provider)->exceptions();
    return kOk;
  });
}

KtStatus KtBusSendControl(KtDatabase database, const KtObjId* object, const KtGuid* interfaceId,
                          uint32_t selector, uint32_t controlCode, KtPropset input,
                          KtPropset output, KtStatus* providerStatus) {
  return Answer([&] {
    if (object == nullptr || interfaceId == nullptr || providerStatus == nullptr) {
      return kInvalidArgument;
    }
    const auto provider = Database::Find(database)->Serves(*object, *interfaceId);
    if (provider == nullptr) return KTBUS_INTERFACE_NOT_OFFERED;
    const GivenOrEmpty in(input);
    const GivenOrEmpty out(output);
    KtStatus answer = kOk;
    const KtStatus asked = provider->Control(*object, *interfaceId, selector, controlCode, in.get(),
                                             out.get(), answer);
    if (asked == kOk) *providerStatus = answer;
    return asked;
  });
}

KtStatus KtBusWaitForDelivery(KtDatabase database, uint32_t milliseconds) {
  return Answer([&] {
    return Database::Find(database)->WaitForDelivery(milliseconds) ? kOk : KTBUS_TIMEOUT;
  });
}

KtStatus KtBusObserve(KtDatabase database, KtBusObserver observer, void* context) {
  return Answer([&] { return Database::Find(database)->observers().Set(observer, context); });
}
