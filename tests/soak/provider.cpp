// A provider for the soak alone: from inside the service it makes calls of the other providers
// fail, restarts one of them, and tells how much memory is in use. What it takes stands in ids.h.
//
// It is no example: a provider has no business with the host's side of the framework.

#include <malloc.h>

#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>

#include "bus_snapshot.h"
#include "host_system.h"
#include "module_frame.h"
#include "property_value.h"
#include "property_writer.h"
#include "provider_host.h"
#include "soak/fault_gate.h"
#include "soak/ids.h"

namespace test_module {
namespace {

constexpr KtStatus kInvalid = 0x80070057U;

// Bytes of the run-time library's that are in use; 0 where a sanitizer has an allocator of its own.
std::uint64_t MemoryInUse() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

// What lives from Initialize to Shutdown.
class Inside {
 public:
  explicit Inside(KtDatabase database) : database_(database), gate_({&faults_}) {}

  KtStatus Fail(const ktsvc::PropertyList& input) {
    const ktsvc::Property* const count = ktsvc::FindProperty(input, "one_in");
    if (count == nullptr || count->type != TYPE_UINT32) {
      return kInvalid;
    }
    faults_.FailOneIn(std::get<std::uint32_t>(count->elements.front()));
    return 0;
  }

  KtStatus Restart(const ktsvc::PropertyList& input, ktsvc::PropertyList& output) {
    const ktsvc::Property* const wish = ktsvc::FindProperty(input, "restart");
    if (wish == nullptr || wish->type != TYPE_BOOLEAN) {
      return kInvalid;
    }
    const std::lock_guard lock(mutex_);
    const soak::FaultGate::Truce truce(faults_);
    TakeDown();
    if (std::get<bool>(wish->elements.front())) {
      BringUp();
    }
    output.push_back({"failures", TYPE_UINT32, 0, {failures_}});
    return 0;
  }

  KtStatus Figures(ktsvc::PropertyList& output) const {
    const auto add = [&output](const char* name, std::uint64_t value) {
      output.push_back({name, TYPE_UINT64, 0, {value}});
    };
    add("memory", MemoryInUse());
    add("calls", faults_.calls());
    add("failed", faults_.failed());
    return 0;
  }

  void TakeDown() {
    if (host_) {
      host_->StopAll();
      failures_ += host_->AnyFailed() ? 1U : 0U;
      host_.reset();
    }
  }

 private:
  void BringUp() {
    host_.emplace(database_, progress_);
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment
    const char* const modules = std::getenv(soak::kModulesVariable);
    host_->Start(soak::kRestarted, ktsvc::PathFromText(modules == nullptr ? "" : modules));
  }

  const KtDatabase database_;
  soak::FaultGate faults_;
  const ktcheck::CallGate gate_;
  std::mutex mutex_;
  ktsvc::Progress progress_{true};
  std::optional<ktsvc::ProviderHost> host_;
  std::uint32_t failures_ = 0;
};

std::unique_ptr<Inside> inside;

KtStatus Publish(KtDatabase database, KtProvider provider) {
  inside = std::make_unique<Inside>(database);
  KtObjId object{};
  ObCreateObject(database, provider, soak::kObjectType, &object);
  return ObRegisterInterface(database, &object, provider, &soak::kInterface);
}

KtStatus Work(const KtObjId* /*objectId*/, std::uint32_t /*selector*/, std::uint32_t controlCode,
              KtPropset input, KtPropset output, std::uint32_t /*value6*/, std::uint32_t /*value7*/,
              std::uint64_t /*value8*/, std::uint64_t /*value9*/, std::uint64_t /*value10*/,
              std::uint64_t /*value11*/, std::uint64_t* /*providerOut*/) {
  try {
    const ktsvc::PropertyList in = ktsvc::ReadPropertySet(input);
    ktsvc::PropertyList out;
    KtStatus status = 0x80004001U;
    if (controlCode == soak::kFail) {
      status = inside->Fail(in);
    } else if (controlCode == soak::kRestart) {
      status = inside->Restart(in, out);
    } else if (controlCode == soak::kFigures) {
      status = inside->Figures(out);
    }
    ktsvc::AddToPropertySet(output, out);
    return status;
  } catch (const std::exception&) {
    return 0x8007000EU;
  }
}

KtStatus Leave(std::uint64_t /*argument*/) {
  inside->TakeDown();
  inside.reset();
  return 0;
}

}  // namespace

const KtWchar* const kProviderName = KT_W("soak");
const KtProviderTable kProviderTable{Work, Publish, Leave, GetAttr, ChangeNotify, Version};

}  // namespace test_module
