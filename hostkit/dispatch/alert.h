// CKtAlert is one alert that can be raised: a name, message lines, properties, and the object it is
// about. Its kind must have been published (CKtAlertObject) before.
//
//   CKtAlert alert("alert.example.disk.failing", disk_id);
//   alert.SetMessage("The disk reports errors.");
//   alert.AddProp("count", errors, 0);
//   alert.Raise();
//
// Threads:   one at a time; no lock of its own.
// Ownership: unlike a plain property set, an alert owns its set: it makes it on first need and
//            destroys it at the end. The object id is copied.
// Failure:   traced, then thrown as a 32-bit status.
#pragma once

#include <cstdint>
#include <string>

#include "ktbus3/ktbus3.h"
#include "objmodel/property_set.h"

class CKtAlert : public CKtPropertySet {
 public:
  // For SetMessage: use the next number of the alert's own counter, which starts at 0.
  static constexpr std::uint32_t kNextNumber = 10000;

  // An alert about no object, or about one.
  explicit CKtAlert(std::string name);
  CKtAlert(std::string name, const KtObjId& object);
  ~CKtAlert() override;
  CKtAlert(const CKtAlert&) = delete;
  CKtAlert& operator=(const CKtAlert&) = delete;

  // Adds the message line "AlertMsg" + number, or replaces it. A number of the caller's own leaves
  // the counter alone. Returns 0.
  KtStatus SetMessage(const std::string& text, std::uint32_t number = kNextNumber);

  // As of any property set; the set is created first when there is none yet.
  KtStatus AddProperty(const cuvo_property& property) override;
  KtStatus AddProperty(const CKtProperty& property) override;
  KtStatus SetProperty(const CKtProperty& property) override;

  // Raises the alert with a copy of its properties, an empty set when it has none. Returns the
  // host's status; throws a failing one. May be called again.
  KtStatus Raise();

 private:
  void CreateOnFirstNeed();

  KtObjId object_{};
  bool has_object_ = false;
  std::string name_;
  std::uint32_t message_counter_ = 0;
};
