// The provider whole, from the host's six functions to the framework's calls, on a machine of the
// tests' own and the tests' framework.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fake/fake_test.h"
#include "ktbus3/ktbus3.h"
#include "machine.h"

class BlockDevTest : public fake::FrameworkTest {
 protected:
  void SetUp() override;
  void ReleaseModuleState() override;

  KtStatus Start();
  KtStatus Stop();

  // Sends the control to the group and returns its status; the answer is in output_.
  KtStatus Rescan(const KtObjId& group);
  KtStatus Rescan() { return Rescan(Group("disks")); }

  // The same with the test's own set for the answer; any thread.
  KtStatus Send(const KtObjId& group, KtPropset output);

  // The group of that name. Fails the test when there is none.
  KtObjId Group(const std::string& name) const;
  // The one object of the type whose "Name" it is; the null id when there is none.
  KtObjId Named(const std::string& type, const std::string& name) const;
  // The value as text; "(none)" when the object does not have the property.
  std::string Value(const KtObjId& id, const std::string& property) const;
  std::uint32_t TypeCode(const KtObjId& id, const std::string& property) const;
  std::string Answer(const std::string& property) const;
  std::vector<KtObjId> ChildrenOf(const std::string& group) const;

  KtPropset output_ = nullptr;
};
