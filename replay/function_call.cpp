#include "replay/function_call.h"

#include <bit>
#include <stdexcept>

#include "property_writer.h"

namespace ktreplay {
namespace {

constexpr KtStatus kNotImplemented = 0x80004001U;

template <typename T>
std::uint64_t WordOf(T* pointer) noexcept {
  return std::bit_cast<std::uintptr_t>(pointer);
}

ktsvc::OwnedSet SetOf(const Value& value) {
  return ktsvc::MakePropertySet(value.properties.value_or(ktsvc::PropertyList()));
}

}  // namespace

FunctionCall::FunctionCall(const Item& enter, KtDatabase database, KtProvider provider)
    : function_(enter.function), provider_name_(enter.provider) {
  const auto need = [&](std::size_t count) { Set(count, enter); };
  const auto& given = enter.arguments;
  if (function_ == "Control") {
    need(12);
    if (given[0].ids.size() != 1 || given[9].ids.size() != 1) {
      throw std::runtime_error("it is a Control without an object or an interface");
    }
    object_.guid = given[0].ids.front();
    interface_ = given[9].ids.front();
    input_ = SetOf(given[3]);
    output_ = SetOf(given[4]);
    words_[0] = {KTBUS_WORD_OBJECT, 0, WordOf(&object_)};
    words_[3] = {KTBUS_WORD_PROPSET, 0, WordOf(input_.get())};
    words_[4] = {KTBUS_WORD_PROPSET, 0, WordOf(output_.get())};
    words_[9] = {KTBUS_WORD_GUID, 0, WordOf(&interface_)};
    words_[11] = {KTBUS_WORD_OUT_UINT64, 0, WordOf(&served_by_)};
  } else if (function_ == "Initialize") {
    need(2);
    words_[0] = {KTBUS_WORD_DATABASE, 0, WordOf(database)};
    words_[1] = {KTBUS_WORD_PROVIDER, 0, WordOf(provider)};
  } else if (function_ == "ChangeNotify") {
    need(4);
    event_name_ = given[3].text.value_or("");
    input_ = SetOf(given[3]);
    event_.kind = static_cast<std::uintptr_t>(given[3].number);
    event_.name = event_name_.c_str();
    event_.properties = input_.get();
    event_.database = database;
    words_[3] = {KTBUS_WORD_EVENT, 0, WordOf(&event_)};
  } else if (function_ == "Version") {
    need(1);
    words_[0] = {KTBUS_WORD_OUT_WIDE_TEXT, 0, WordOf(&version_)};
  } else if (function_ == "GetAttr") {
    need(4);
  } else if (function_ == "Shutdown") {
    need(1);
  } else {
    throw std::runtime_error("it is a call of \"" + function_ + "\", which no provider has");
  }
  call_.size = sizeof(call_);
  call_.inward = 1;
  call_.function = function_.c_str();
  call_.provider = provider_name_.c_str();
  call_.thread = enter.thread;
  call_.arguments = words_.data();
  call_.argumentCount = words_.size();
  call_.resultKind = KTBUS_WORD_STATUS;
}

void FunctionCall::Set(std::size_t count, const Item& enter) {
  if (enter.arguments.size() != count) {
    throw std::runtime_error("it is a " + function_ + " with " +
                             std::to_string(enter.arguments.size()) + " arguments");
  }
  for (const Value& value : enter.arguments) {
    words_.push_back({value.kind, 0, value.number});
  }
}

void FunctionCall::Make(const KtProviderTable& table) noexcept {
  try {
    call_.result = Dispatch(table);
  } catch (...) {
    call_.result = KTBUS_PROVIDER_THREW;
    call_.outcome = KTBUS_CALL_THREW;
  }
}

KtStatus FunctionCall::Dispatch(const KtProviderTable& table) {
  const auto number = [this](std::size_t i) { return words_[i].value; };
  const auto number32 = [this](std::size_t i) {
    return static_cast<std::uint32_t>(words_[i].value);
  };
  if (function_ == "Control" && table.Control != nullptr) {
    return table.Control(&object_, number32(1), number32(2), input_.get(), output_.get(),
                         number32(5), number32(6), number(7), number(8), number(9), number(10),
                         &served_by_);
  }
  if (function_ == "Initialize" && table.Initialize != nullptr) {
    return table.Initialize(std::bit_cast<KtDatabase>(static_cast<std::uintptr_t>(number(0))),
                            std::bit_cast<KtProvider>(static_cast<std::uintptr_t>(number(1))));
  }
  if (function_ == "ChangeNotify" && table.ChangeNotify != nullptr) {
    return table.ChangeNotify(number(0), number(1), number(2), number(3));
  }
  if (function_ == "Version" && table.Version != nullptr) {
    return table.Version(&version_);
  }
  if (function_ == "GetAttr" && table.GetAttr != nullptr) {
    return table.GetAttr(number(0), number(1), number(2), number(3));
  }
  if (function_ == "Shutdown" && table.Shutdown != nullptr) {
    return table.Shutdown(number(0));
  }
  return kNotImplemented;
}

}  // namespace ktreplay
