// BusLife: one database of the embedded framework with modules of the build in it, as a service
// would run them: loaded from their files, initialised, shut down in reverse, unloaded.
//
// Threads: one thread.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ktbus3/ktbus3.h"
#include "objmodel/property_set.h"
#include "provider_module.h"

class BusLife {
 public:
  BusLife();
  ~BusLife();  // stops what still runs
  BusLife(const BusLife&) = delete;
  BusLife& operator=(const BusLife&) = delete;

  // Loads the module of that name from the build's module folder and initialises it. Fails the
  // test when that does not succeed.
  void Start(const std::string& name);

  // Shuts all down and unloads them; expects every shutdown to succeed.
  void StopAll();

  // The version that the provider of that name gives, made narrow.
  std::string Version(const std::string& name);

  // Raises an event as the service itself, and waits until it is delivered.
  void Raise(const std::string& event);
  void WaitForDelivery();

  // Sends a control as a client does. Returns the framework's status where it is one, else the
  // provider's.
  KtStatus Send(const KtObjId& object, const KtGuid& interface_id, std::uint32_t code,
                const CKtPropertySet& input, const CKtPropertySet& output);

  std::vector<KtObjId> ObjectsOf(const std::string& type) const;
  std::vector<KtObjId> ChildrenOf(const KtObjId& parent) const;
  std::string TypeOf(const KtObjId& object) const;
  // The object's properties by name, as text without their types.
  std::map<std::string, std::string> PropertiesOf(const KtObjId& object) const;
  // The object of the type with that "Name". Fails the test when there is none.
  KtObjId Find(const std::string& type, const std::string& name) const;

  [[nodiscard]] KtDatabase database() const noexcept { return database_; }

 private:
  struct Loaded {
    std::string name;
    std::unique_ptr<ktsvc::ProviderModule> module;
    KtProvider provider = nullptr;
  };

  KtDatabase database_ = nullptr;
  std::vector<Loaded> loaded_;
};

// What all providers have kept, the test's own account left out, is nothing.
::testing::AssertionResult ProvidersKeptNothing();
