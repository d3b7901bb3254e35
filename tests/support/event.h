// Event paths and notices for tests of the dispatch.
#pragma once

#include <functional>
#include <string_view>
#include <utility>

#include "dispatch/event_path.h"
#include "fake/fake_framework.h"

namespace support {

// A path that calls a body.
class BodyPath {
 public:
  using Body = std::function<KtStatus(const KtEventRecord&)>;

  BodyPath(std::string_view name, Body body,
           KtDatabase database = fake::Framework::Get().database(),
           KtProvider context = fake::Framework::Get().provider())
      : body_(std::move(body)), path_(this, &Call, name, database, context) {}

  CKtEventPath& operator*() { return path_; }

 private:
  static KtStatus Call(void* owner, const CKtEventView* view, std::uint64_t, std::uint64_t) {
    return static_cast<BodyPath*>(owner)->body_(*view->record);
  }

  Body body_;
  CKtEventPath path_;
};

inline KtEventRecord Notice(const char* name,
                            KtDatabase database = fake::Framework::Get().database()) {
  return KtEventRecord{0, name, nullptr, database};
}

}  // namespace support
