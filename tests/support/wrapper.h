// A wrapper that tells when it goes, and does at that moment what a test wants it to.
#pragma once

#include <functional>
#include <utility>

#include "objmodel/object.h"

namespace support {

class Wrapper : public CKtObject {
 public:
  explicit Wrapper(const KtObjId& id, std::function<void()> farewell = {})
      : CKtObject(id), farewell_(std::move(farewell)) {}
  ~Wrapper() noexcept(false) override {
    if (farewell_) farewell_();
  }
  Wrapper(const Wrapper&) = delete;
  Wrapper& operator=(const Wrapper&) = delete;

 private:
  std::function<void()> farewell_;
};

}  // namespace support
