#include <chrono>

#include "api/bus_figures.h"
#include "api/handlers.h"
#include "api/metrics_text.h"
#include "bus_snapshot.h"
#include "ktbus3/ktbus3_host.h"
#include "ledger.h"

namespace ktsvc::api {
namespace {

using Figures = std::map<std::string, BusFigures>;

void AddService(const Call& call, MetricsText& text) {
  const ApiContext& context = call.context;
  text.Family("ktsvc_info", "gauge", "The service that answers; always 1.");
  text.Sample(std::uint64_t{1}, {{"version", KTSVC_VERSION}});
  text.Family("ktsvc_start_time_seconds", "gauge", "When the service started, since 1970.");
  text.Sample(std::chrono::duration<double>(context.startedAt.time_since_epoch()).count());
  text.Family("ktsvc_stopping", "gauge", "1 when the service has been told to stop.");
  text.Sample(std::uint64_t{context.stopping() ? 1U : 0U});
  text.Family("ktsvc_trace_level", "gauge", "Lines of this level and above are traced.");
  text.Sample(std::uint64_t{KtBusTraceLevel()});
  text.Family("ktsvc_controls_in_flight", "gauge", "Controls that are running now.");
  text.Sample(std::uint64_t{context.activity->CountNow()});
  text.Family("ktsvc_stream_subscribers", "gauge", "Callers who follow a stream.");
  text.Sample(std::uint64_t{context.hub->Subscribers()});
  text.Family("ktsvc_stream_messages_total", "counter", "Messages published to streams.");
  text.Sample(context.hub->Published());
  text.Family("ktsvc_stream_lost_total", "counter",
              "Messages that subscribers or, on the way, streams lost.");
  text.Sample(context.hub->Lost());
  text.Family("ktsvc_audit_lost_total", "counter", "Entries that the audit log lost.");
  text.Sample(context.audit == nullptr ? std::uint64_t{0} : context.audit->lost());
  text.Family("ktsvc_requests_total", "counter", "Requests answered, by HTTP status.");
  for (unsigned status = RequestCounts::kLowest; status <= RequestCounts::kHighest; ++status) {
    if (const std::uint64_t count = call.memory.counts.Of(status); count != 0) {
      text.Sample(count, {{"status", std::to_string(status)}});
    }
  }
}

void AddTypes(const Call& call, MetricsText& text) {
  text.Family("ktsvc_objects", "gauge", "Objects on the bus, by exact type.");
  for (const TypeView& type : ReadTypes(call.context.database)) {
    text.Sample(type.objectCount, {{"type", type.name}});
  }
}

void AddProviders(const Call& call, MetricsText& text) {
  const std::vector<ProviderReport> reports = call.context.providers();
  text.Family("ktsvc_provider_running", "gauge", "1 for a provider that runs, else 0.");
  for (const ProviderReport& report : reports) {
    text.Sample(std::uint64_t{report.state == ProviderState::kRunning ? 1U : 0U},
                {{"provider", report.name}});
  }
  const auto forEach = [&](std::string_view name, std::string_view type, std::string_view help,
                           auto sample) {
    text.Family(name, type, help);
    for (const ProviderReport& report : reports) {
      sample(report.name, call.context.activity->Of(report.name));
    }
  };
  forEach("ktsvc_provider_requests_total", "counter", "Controls that the provider has served.",
          [&text](const std::string& name, const Activity::Figures& figures) {
            text.Sample(figures.served, {{"provider", name}});
          });
  forEach("ktsvc_provider_failures_total", "counter", "Of these, those whose status fails.",
          [&text](const std::string& name, const Activity::Figures& figures) {
            text.Sample(figures.failures, {{"provider", name}});
          });
  forEach("ktsvc_provider_slowest_seconds", "gauge", "The slowest control so far.",
          [&text](const std::string& name, const Activity::Figures& figures) {
            text.Sample(figures.slowest ? figures.slowest->duration.count() : 0.0,
                        {{"provider", name}});
          });
}

void AddBus(const Call& call, MetricsText& text) {
  struct Column {
    std::string_view name;
    std::string_view type;
    std::string_view help;
    std::uint64_t BusFigures::*value;
  };
  constexpr std::array kColumns{
      Column{"ktsvc_provider_controls_total", "counter", "Controls sent to the provider.",
             &BusFigures::controls},
      Column{"ktsvc_provider_exceptions_total", "counter", "Exceptions that left its functions.",
             &BusFigures::exceptions},
      Column{"ktsvc_provider_calls_in_flight", "gauge", "Calls of its functions that run now.",
             &BusFigures::callsInFlight},
      Column{"ktsvc_provider_notices_total", "counter", "Notices delivered to it.",
             &BusFigures::noticesDelivered},
      Column{"ktsvc_provider_queue_depth", "gauge", "Notices that wait for it.",
             &BusFigures::noticesWaiting},
      Column{"ktsvc_provider_subscriptions", "gauge", "Its subscriptions.",
             &BusFigures::subscriptions},
  };
  const Figures figures = ReadBusFigures(call.context.database);
  for (const Column& column : kColumns) {
    text.Family(column.name, column.type, column.help);
    for (const auto& [name, of] : figures) {
      text.Sample(of.*column.value, {{"provider", name}});
    }
  }
}

void AddLedger(MetricsText& text) {
  const std::vector<LedgerRow> rows = ReadLedger();
  const auto forEach = [&](std::string_view name, std::string_view type, std::string_view help,
                           std::uint64_t LedgerRow::*value) {
    text.Family(name, type, help);
    for (const LedgerRow& row : rows) {
      text.Sample(row.*value, {{"provider", row.account}, {"kind", row.kind}});
    }
  };
  forEach("ktsvc_ledger_kept", "gauge", "Handed out by the bus and not given back.",
          &LedgerRow::kept);
  forEach("ktsvc_ledger_total", "counter", "Handed out by the bus at all.", &LedgerRow::total);
  forEach("ktsvc_ledger_wrong_frees_total", "counter", "Given back through a wrong function.",
          &LedgerRow::wrongFrees);
}

}  // namespace

Response GetMetrics(const Call& call) {
  MetricsText text;
  AddService(call, text);
  AddTypes(call, text);
  AddProviders(call, text);
  AddBus(call, text);
  AddLedger(text);
  Response response;
  response.contentType = "text/plain; version=0.0.4; charset=utf-8";
  response.body = text.text();
  return response;
}

}  // namespace ktsvc::api
