// Two stand-ins under the property interface. One remembers the record that a setter hands down and
// answers what the test wants; the other hands out records of a set with something changed in them.
#pragma once

#include <functional>
#include <string>
#include <utility>

#include "objmodel/property_set_base.h"

class RecordingProperties : public CKtPropertySetBase {
 public:
  using CKtPropertySetBase::GetProp;

  bool GetProp(const char*, cuvo_property*&, bool) const override { return false; }
  KtStatus AddProperty(const cuvo_property&) override { return answer_; }
  KtStatus AddProperty(const CKtProperty& property) override {
    name_ = property.name;
    type_ = property.type;
    flags_ = property.flags;
    length_ = property.length;
    value_ = property.value;
    if (look_) look_(property);
    return answer_;
  }
  std::string ToString(const char*, bool, bool) const override { return {}; }

  KtStatus answer_ = 0;
  std::function<void(const cuvo_property&)> look_;
  std::string name_;
  std::uint32_t type_ = 0;
  std::uint32_t flags_ = 0;
  std::uint32_t length_ = 0;
  const void* value_ = nullptr;
};

class TamperedProperties : public CKtPropertySetBase {
 public:
  using CKtPropertySetBase::GetProp;

  TamperedProperties(KtPropset set, std::function<void(cuvo_property&)> tamper)
      : set_(set), tamper_(std::move(tamper)) {}

  bool GetProp(const char* name, cuvo_property*& found, bool) const override {
    if (PsFindProperty(set_, name, &found) != 0) return false;
    tamper_(*found);
    return true;
  }
  KtStatus AddProperty(const cuvo_property&) override { return 0; }
  KtStatus AddProperty(const CKtProperty&) override { return 0; }
  std::string ToString(const char*, bool, bool) const override { return {}; }

 private:
  KtPropset set_;
  std::function<void(cuvo_property&)> tamper_;
};
