#include "blockdev_test.h"

#include "base/guid_order.h"
#include "base/owned.h"
#include "blockdev/device_server.h"
#include "provider/api_table.h"
#include "provider/module_state.h"

using kt::blockdev::kRescanControl;
using kt::blockdev::kRescanInterface;
using kt::blockdev::kRescanSelector;

namespace {

std::string ValueOf(const std::vector<fake::Property>& properties, const std::string& name) {
  for (const fake::Property& property : properties) {
    if (property.name == name) return property.text;
  }
  return "(none)";
}

}  // namespace

void BlockDevTest::SetUp() {
  FrameworkTest::SetUp();
  kt::ResetApiState();
  TheMachine() = Machine{};
  output_ = framework_.MakePropset();
}

void BlockDevTest::ReleaseModuleState() {
  kt::ReleaseModule();
  kt::ResetApiState();
}

KtStatus BlockDevTest::Start() {
  return __KtApiInitialize(framework_.database(), framework_.provider());
}

KtStatus BlockDevTest::Stop() {
  return __KtApiShutdown(0);
}

KtStatus BlockDevTest::Rescan(const KtObjId& group) {
  output_ = framework_.MakePropset();
  return Send(group, output_);
}

KtStatus BlockDevTest::Send(const KtObjId& group, KtPropset output) {
  std::uint64_t provider = 0;
  return __KtApiControl(&group, kRescanSelector, kRescanControl, framework_.MakePropset(), output,
                        0, 0, 0, 0, reinterpret_cast<std::uintptr_t>(&kRescanInterface), 0,
                        &provider);
}

KtObjId BlockDevTest::Group(const std::string& name) const {
  const KtObjId id = Named("QELM_GenericGroup", name);
  EXPECT_FALSE(kt::IsNullId(id)) << "no group " << name;
  return id;
}

KtObjId BlockDevTest::Named(const std::string& type, const std::string& name) const {
  for (const KtObjId& id : framework_.ObjectsOf(type)) {
    if (Value(id, "Name") == name) return id;
  }
  return kt::kNullObjId;
}

std::string BlockDevTest::Value(const KtObjId& id, const std::string& property) const {
  return ValueOf(framework_.PropertiesOf(id), property);
}

std::uint32_t BlockDevTest::TypeCode(const KtObjId& id, const std::string& property) const {
  for (const fake::Property& candidate : framework_.PropertiesOf(id)) {
    if (candidate.name == property) return candidate.type;
  }
  return 0;
}

std::string BlockDevTest::Answer(const std::string& property) const {
  return ValueOf(framework_.PropertiesOf(output_), property);
}

std::vector<KtObjId> BlockDevTest::ChildrenOf(const std::string& group) const {
  const KtObjId id = Group(group);
  KtObjId* list = nullptr;
  std::uint32_t count = 0;
  if (ObGetChildObjects(framework_.database(), &id, &list, &count) != 0) return {};
  const kt::FrameworkBlock<KtObjId> owner(list);
  return {list, list + count};
}
