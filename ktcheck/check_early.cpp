// The check of what is asked of a module that is loaded and not yet initialised.

#include "ktcheck/call_gate.h"
#include "ktcheck/call_watch.h"
#include "ktcheck/checks.h"
#include "ktcheck/life.h"
#include "property_value.h"

namespace ktcheck {
namespace {

constexpr const char* kType = "ktcheck_early";
constexpr KtGuid kInterface{
    0x2C9E5B70, 0x81D4, 0x4A36, {0xB7, 0x0F, 0x63, 0xE8, 0x1D, 0x95, 0x4C, 0x2A}};
constexpr std::uint32_t kAnyCode = 1;

// An object that offers an interface in the module's name, so that controls find their way to it.
KtObjId Publish(Life& life) {
  KtObjId object{};
  KtObjId type{};
  const char* const no_superclass = nullptr;
  ktsvc::RequireOk(ObCreateTypeObject(life.database(), kType, &no_superclass, nullptr, &type),
                   "ObCreateTypeObject");
  ktsvc::RequireOk(ObCreateObject(life.database(), life.provider(), kType, &object),
                   "ObCreateObject");
  ktsvc::RequireOk(ObRegisterInterface(life.database(), &object, life.provider(), &kInterface),
                   "ObRegisterInterface");
  return object;
}

// Whatever the module answers is right, as long as it answers.
void AskEarly(Bench& bench, Life& life) {
  bench.Trying("Version before Initialize");
  KtWchar* version = nullptr;
  if (KtBusProviderVersion(life.provider(), &version) == 0) _KtFree(version);
  bench.Trying("GetAttr before Initialize");
  KtBusProviderGetAttr(life.provider(), 0, 0, 0, 0);
  const KtObjId object = Publish(life);
  if (bench.options().walk.MaySend(kAnyCode)) {
    bench.Trying("a control before Initialize");
    KtStatus answer = 0;
    KtBusSendControl(life.database(), &object, &kInterface, 0, kAnyCode, nullptr, nullptr, &answer);
  }
  ObDeleteObject(life.database(), &object);
  bench.Trying("a life in which the module was asked before Initialize");
}

}  // namespace

void CheckEarly(Bench& bench) {
  CallWatch calls(bench.options().subject.name, bench.Sink(), bench.clock());
  const CallGate gate({&calls});
  Life* asked = nullptr;
  Life life({bench.options().subject,
             bench.clock(),
             bench.Sink(),
             &calls,
             false,
             [&] { AskEarly(bench, *asked); },
             {}});
  asked = &life;
  life.Begin();
  life.End();
  if (life.tainted()) bench.EndHere();
}

}  // namespace ktcheck
