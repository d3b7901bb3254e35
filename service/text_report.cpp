#include "text_report.h"

#include "host_system.h"
#include "property_text.h"
#include "status_text.h"
#include "text_table.h"

namespace ktsvc {
namespace {

std::string AccountName(const std::string& account) {
  return account.empty() ? "(the service)" : NameText(account);
}

}  // namespace

std::string ProvidersText(const std::vector<ProviderReport>& providers) {
  TextTable table;
  for (const ProviderReport& provider : providers) {
    table.Add({NameText(provider.name), std::string(StateName(provider.state)),
               NameText(provider.version.value_or("-")),
               provider.file.empty() ? "(no file)" : PathText(provider.file)});
  }
  std::string text = "Providers\n";
  const std::vector<std::string> lines = table.Lines("  ");
  for (std::size_t i = 0; i < providers.size(); ++i) {
    text += lines[i] + "\n";
    for (const ProviderFailure& failure : providers[i].failures) {
      text += "      " + failure.what + "\n";
    }
  }
  return text + "\n";
}

std::string ControlText(const TraceLevelAnswer& answer) {
  TextTable table;
  if (!answer.object) {
    table.Add({"not sent", std::string("there is no object of type ") + kSystemType});
  } else {
    table.Add({"sent", "set the trace level to " + std::to_string(answer.level) + " (code " +
                           std::to_string(kTraceLevelCode) + ", system interface)"});
    table.Add({"to", std::string(kSystemType) + " " + GuidText(answer.object->guid)});
    if (StatusFails(answer.bus)) {
      table.Add({"refused", "by the bus, " + StatusText(answer.bus)});
    } else {
      table.Add({"status", StatusText(answer.provider)});
      for (const Property& property : answer.output) {
        table.Add({"answer", NameText(property.name) + " " + TypeName(property.type) + " " +
                                 ValueText(property) +
                                 (property.name == "tracelevel" ? ", the previous level" : "")});
      }
    }
  }
  return "Control\n" + table.Text("  ") + "\n";
}

std::string LedgerText(const std::vector<LedgerRow>& rows) {
  if (IsClean(rows)) {
    return "Ledger\n  nothing kept: everything that was handed out came back\n\n";
  }
  TextTable table;
  table.Add({"PROVIDER", "KIND", "KEPT", "WRONGLY FREED", "HANDED OUT"});
  for (const LedgerRow& row : rows) {
    if (!IsClean(row)) {
      table.Add({AccountName(row.account), row.kind, std::to_string(row.kept),
                 std::to_string(row.wrongFrees), std::to_string(row.total)});
    }
  }
  return "Ledger\n" + table.Text("  ") + "\n";
}

}  // namespace ktsvc
