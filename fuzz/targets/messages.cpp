// Messages: the toolkit's formatting and the service's rendering against plain ones, with
// insertions of any name and type.
//
// Input: a message (catalog, number, text), then insertions as properties
// (support/property_source.h), then insertions by number through the framework's own functions.

#include <optional>
#include <string>
#include <utility>

#include "api/random_properties.h"
#include "base/owned.h"
#include "ktbus3/ktbus3_host.h"
#include "objmodel/i18n_fm.h"
#include "objmodel/property_set.h"
#include "property_text.h"
#include "property_writer.h"
#include "support/byte_source.h"
#include "support/ledger_check.h"
#include "support/plain_property_text.h"
#include "support/plain_text.h"
#include "support/property_source.h"
#include "support/require.h"

namespace {

using kt::fuzz::ByteSource;
using kt::fuzz::Require;
using kt::fuzz::RequireSame;
using ktsvc::FormatMessage;
using ktsvc::Property;
using ktsvc::PropertyList;

// The number behind the first character of a name, as the C library reads numbers: blanks and one
// sign may come first, what follows the digits does not count, and it stays within 32 bits.
std::int64_t PlainNumber(const std::string& name) {
  std::size_t at = 1;
  const auto is_one_of = [&](std::string_view set) {
    return at < name.size() && set.find(name[at]) != std::string_view::npos;
  };
  while (is_one_of(" \t\n\v\f\r")) ++at;
  const bool negative = is_one_of("-");
  if (is_one_of("+-")) ++at;
  if (!is_one_of("0123456789")) return -1;
  std::int64_t number = 0;
  for (; is_one_of("0123456789"); ++at) {
    number = std::min<std::int64_t>(number * 10 + (name[at] - '0'), 1LL << 40U);
  }
  if (negative) number = -number;
  return std::clamp<std::int64_t>(number, INT32_MIN, INT32_MAX);
}

std::string PlainFormat(const std::string& text, const PropertyList& insertions) {
  std::string result = text;
  for (const Property& insertion : insertions) {
    std::string value;
    if (insertion.type == TYPE_STR) {
      value = std::get<std::string>(insertion.elements.at(0));
    } else if (insertion.type == TYPE_WSTR) {
      value = kt::fuzz::PlainNarrow(std::get<ktsvc::KtWString>(insertion.elements.at(0)));
    } else if (insertion.type == TYPE_I18N) {
      value = std::get<ktsvc::Message>(insertion.elements.at(0)).name;
    }
    if (value.empty()) continue;
    const std::string mark = "%" + std::to_string(PlainNumber(insertion.name));
    for (std::size_t at = 0; at + mark.size() <= result.size(); ++at) {
      if (result.compare(at, mark.size(), mark) != 0) continue;
      result.replace(at, mark.size(), value);
      break;
    }
  }
  return result;
}

// The service's: %% is one percent sign, %N the insertion pN of one value; all else stays.
std::string PlainRendering(const FormatMessage& message) {
  const std::string& text = message.message.name;
  std::string result;
  std::size_t at = 0;
  while (at < text.size()) {
    if (text[at] != '%') {
      result += text[at++];
      continue;
    }
    std::size_t end = at + 1;
    while (end < text.size() && text[end] >= '0' && text[end] <= '9') ++end;
    const std::string digits = text.substr(at + 1, end - at - 1);
    if (digits.empty()) {
      result += '%';
      at += text.compare(at, 2, "%%") == 0 ? 2 : 1;
      continue;
    }
    const Property* found = nullptr;
    for (const Property& each : message.insertions.value_or(PropertyList())) {
      if (each.name == "p" + digits && each.elements.size() == 1) {
        found = ktsvc::FindProperty(*message.insertions, each.name);
      }
    }
    if (found == nullptr) {
      result += text.substr(at, end - at);
    } else if (const auto* const plain = std::get_if<std::string>(&found->elements.front());
               plain != nullptr && !kt::fuzz::FromUtf8(*plain).malformed) {
      result += *plain;  // without the quotes that a value has elsewhere
    } else if (const auto* const wide = std::get_if<ktsvc::KtWString>(&found->elements.front());
               wide != nullptr && !kt::fuzz::FromUtf16(*wide).malformed) {
      result += kt::fuzz::PlainNarrow(*wide);
    } else {
      return {};  // any other value: how it is written is the service's own affair
    }
    at = end;
  }
  return result;
}

// Insertions by number, as providers make them; the model follows.
void AddByNumber(ByteSource& source, KtPropset set, PropertyList& model) {
  const std::uint32_t number = source.Flag() ? source.Number32() : source.Byte();
  const std::string name = "p" + std::to_string(number);
  Property property{name, TYPE_STR, 0, {}};
  KtStatus status = 0;
  if (source.Flag()) {
    const ktsvc::KtWString text = source.WideTextWithoutZero();
    property.type = TYPE_WSTR;
    property.elements.emplace_back(text);
    status = I18nAddInsertionWideString(set, number, text.c_str());
  } else {
    const std::string text = source.TextWithoutZero();
    property.elements.emplace_back(text);
    status = I18nAddInsertionString(set, number, text.c_str());
  }
  Require(status == 0 || status == 0x41000012, "an insertion is added or replaced");
  for (Property& each : model) {
    if (each.name != name) continue;
    each = std::move(property);
    return;
  }
  model.push_back(std::move(property));
}

void TryMessage(ByteSource& source) {
  const ktsvc::Message message = kt::fuzz::ReadMessage(source);
  PropertyList insertions = kt::fuzz::ReadProperties(source, 1);
  const ktsvc::OwnedSet set = ktsvc::MakePropertySet(insertions);
  while (!source.Empty()) AddByNumber(source, set.get(), insertions);
  Require(ktsvc_test::Same(insertions, ktsvc::ReadPropertySet(set.get())),
          "the set holds the insertions as they were added");

  const KtI18NDef definition{message.catalog, message.id, 0, message.name.c_str()};
  const CKtI18NFM built(KtI18NFormatString{definition, set.get()});
  const std::string expected = PlainFormat(message.name, insertions);
  RequireSame(expected, built.Format(), "the message is formatted as the plain formatter does");
  RequireSame(kt::fuzz::PlainMessageText(message), built.ToString(), "its trace form is plain");

  CKtI18NFM other{KtI18NDef{}};
  other = built;
  CKtI18NFM moved(std::move(other));
  RequireSame(expected, moved.Format(), "a copy that was moved says the same");

  // Through a property and back.
  CKtPropertySet holder;
  holder.Create();
  kt::ScopedPropset scope(holder);
  scope->AddProp("message", moved, 0);
  cuvo_property* found = nullptr;
  scope->GetProp("message", found, false);
  CKtI18NFM read;
  CKtPropertySetBase::GetProp("message", read, found);
  RequireSame(expected, read.Format(), "a message that was a property says the same");

  const FormatMessage rendered{message, insertions};
  const std::string plain = PlainRendering(rendered);
  if (!plain.empty()) {
    RequireSame(plain, ktsvc::RenderMessage(rendered), "the service renders as the plain one");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const kt::fuzz::LedgerCheck ledger;
  ByteSource source(data, size);
  TryMessage(source);
  ledger.RequireSettled("when all messages are gone");
  return 0;
}
