#include "service.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <exception>
#include <optional>
#include <stdexcept>
#include <utility>

#include "host_system.h"
#include "json_report.h"
#include "ktbus3/ktbus3_host.h"
#include "life.h"
#include "module_locator.h"
#include "output.h"
#include "replay/recorder.h"
#include "status_text.h"
#include "text_report.h"
#include "tree_report.h"

namespace ktsvc {
namespace {

constexpr const char* kReadyEvent = "event.qelm.dom.initialization.ktsvc.complete";
constexpr std::chrono::seconds kDeliveryLimit{60};
constexpr std::uint32_t kDeliverySliceMs = 100;
constexpr std::uint32_t kLowestControlLevel = 1;  // the control refuses 0

// The bus of one life. The trace ends with it.
class Bus {
 public:
  explicit Bus(const Options& options) {
    KtSetTraceLevel(options.traceLevel);
    if (!options.traceFile.empty()) {
      const KtStatus status = KtBusTraceToFile(PathText(options.traceFile).c_str());
      if (StatusFails(status)) {
        throw CommandLineEnd("ktsvc: --trace-file: " + PathText(options.traceFile) +
                                 " cannot be opened for writing\n",
                             kExitUsage);
      }
    } else {
      KtBusTraceToStderr(options.quiet ? 0 : 1);
    }
    RequireOk(KtBusOpenDatabase(&database_), "KtBusOpenDatabase");
  }
  ~Bus() {
    KtBusCloseDatabase(database_);
    KtBusTraceToStderr(0);
    KtBusTraceToFile(nullptr);
  }
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;

  [[nodiscard]] KtDatabase database() const noexcept { return database_; }

 private:
  KtDatabase database_ = nullptr;
};

// The recording of one life, where it is asked for: from before the first provider is loaded until
// the last one is gone.
class Recording {
 public:
  // `failed` becomes true at the end when the recording is not whole.
  Recording(const Options& options, Progress& progress, bool& failed)
      : progress_(progress), failed_(failed) {
    if (options.record.empty()) {
      return;
    }
    name_ = PathText(options.record);
    try {
      recorder_.emplace(options.record, std::string("ktsvc ") + KTSVC_VERSION,
                        [this](const std::string& why) {
                          progress_.Fail("the recording " + name_ + " ends here: " + why);
                        });
    } catch (const std::exception& error) {
      throw CommandLineEnd("ktsvc: --record: " + name_ + ": " + error.what() + "\n", kExitUsage);
    }
  }
  ~Recording() {
    if (!recorder_) {
      return;
    }
    const ktreplay::RecordingEnd end = recorder_->Stop();
    failed_ = failed_ || !end.failure.empty();
    progress_.Say("recorded " + std::to_string(end.items) + " items, " + std::to_string(end.bytes) +
                  " bytes, in " + name_);
  }
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

 private:
  Progress& progress_;
  bool& failed_;
  std::string name_;
  std::optional<ktreplay::Recorder> recorder_;
};

// One life, step by step. Text goes out as it becomes known, JSON at the end.
class Run {
 public:
  Run(const Options& options, Progress& progress, StopSignal& stop,
      std::unique_ptr<Management> management)
      : options_(options), progress_(progress), stop_(stop), management_(std::move(management)) {}

  int Go() {
    {
      const Bus bus(options_);
      if (management_ != nullptr) {
        management_->Watch(bus.database());
      }
      const Recording recording(options_, progress_, failed_);
      ProviderHost host(bus.database(), progress_,
                        [this](const std::string& provider) { return InFlight(provider); });
      const ManagementEnd end(management_.get());
      const HangUpScope hangUp(
          stop_, options_.once ? std::function<void()>() : [this] { ReopenLogs(); });
      Live(bus.database(), host);
      if (management_ != nullptr) {
        management_->RefuseWork();
      }
      if (stop_.Requested()) {
        progress_.SayStopping("stopping: " + stop_.Reason());
      }
      host.StopAll();
      life_.providers = host.Reports();
      failed_ = failed_ || host.AnyFailed();
    }
    // Modules are unloaded and the database is closed: what is out now stays out.
    life_.ledger = ReadLedger();
    failed_ = failed_ || !IsClean(life_.ledger);
    life_.exitStatus = failed_ ? kExitFailed : kExitOk;
    Section(LedgerText(life_.ledger));
    if (options_.json) {
      output_.Write(LifeJson(life_).dump(2) + "\n");
    }
    if (output_.error() != 0) {
      throw std::runtime_error(std::string("the results cannot be written: ") +
                               std::generic_category().message(output_.error()));
    }
    return life_.exitStatus;
  }

 private:
  // Does it on SIGHUP, where that is not the end, as long as it lives.
  class HangUpScope {
   public:
    HangUpScope(StopSignal& stop, std::function<void()> call) : stop_(stop) {
      stop_.OnHangUp(std::move(call));
    }
    ~HangUpScope() { stop_.OnHangUp(nullptr); }
    HangUpScope(const HangUpScope&) = delete;
    HangUpScope& operator=(const HangUpScope&) = delete;

   private:
    StopSignal& stop_;
  };

  // Lets go of the providers and of the bus before they go, whatever happens.
  class ManagementEnd {
   public:
    explicit ManagementEnd(Management* management) noexcept : management_(management) {}
    ~ManagementEnd() {
      if (management_ != nullptr) {
        management_->Stop();
      }
    }
    ManagementEnd(const ManagementEnd&) = delete;
    ManagementEnd& operator=(const ManagementEnd&) = delete;

   private:
    Management* const management_;
  };

  [[nodiscard]] std::vector<std::string> InFlight(const std::string& provider) const {
    return management_ == nullptr ? std::vector<std::string>{} : management_->InFlight(provider);
  }

  // A rotation has moved the files away.
  void ReopenLogs() const noexcept {
    try {
      std::vector<std::string> names;
      if (management_ != nullptr) {
        management_->ReopenLogs(names);
      }
      const std::string trace = PathText(options_.traceFile);
      if (!trace.empty()) {
        if (StatusFails(KtBusTraceToFile(trace.c_str()))) {
          progress_.Fail("the trace file " + trace +
                         " cannot be opened anew; lines go on to the former file");
        } else {
          names.push_back(trace);
        }
      }
      std::string list;
      for (const std::string& name : names) {
        list.append(list.empty() ? "" : ", ").append(name);
      }
      progress_.Say("SIGHUP: " + (list.empty() ? "there is no log file to open anew"
                                               : "the log files are opened anew: " + list));
    } catch (const std::exception&) {
      return;  // no memory: the files go on as they are, and the next signal may do better
    }
  }

  void Section(const std::string& text) {
    if (!options_.json) {
      output_.Write(text);
    }
  }

  void Live(KtDatabase database, ProviderHost& host) {
    LoadAll(host);
    Section(ProvidersText(host.Reports()));
    if (!stop_.Requested()) {
      RequireOk(KtBusRaiseEvent(database, kReadyEvent, nullptr), "KtBusRaiseEvent");
      if (options_.once) {
        LiveOnce(database);
      } else {
        Serve(host);
      }
    }
    if (options_.once && stop_.Requested()) {
      progress_.Fail("ended before its time: " + stop_.Reason());
      failed_ = true;
    }
  }

  void LoadAll(ProviderHost& host) {
    const std::filesystem::path folder =
        options_.moduleFolder.empty() ? DefaultModuleFolder() : options_.moduleFolder;
    for (const std::string& word : options_.providers) {
      if (stop_.Requested()) {
        return;
      }
      host.Start(word, folder);
    }
  }

  void Serve(const ProviderHost& host) {
    const auto reports = host.Reports();
    const auto running = std::count_if(reports.begin(), reports.end(), [](const auto& report) {
      return report.state == ProviderState::kRunning;
    });
    if (running == 0) {
      progress_.Fail("no provider runs, so there is nothing to serve");
      return;
    }
    if (management_ != nullptr && !management_->Serve(host)) {
      failed_ = true;
      return;
    }
    progress_.SayServing("serving " + std::to_string(running) +
                         (running == 1 ? " provider" : " providers") + "; Ctrl-C stops");
    stop_.Wait();
  }

  void LiveOnce(KtDatabase database) {
    WaitForDelivery(database);
    if (stop_.Requested()) {
      return;
    }
    life_.control = SendTraceLevel(database, std::max(options_.traceLevel, kLowestControlLevel));
    failed_ = failed_ || (life_.control->object && !life_.control->Served());
    Section(ControlText(*life_.control));
    life_.snapshot = TakeSnapshot(database);
    Section(TypesText(*life_.snapshot));
    Section(ObjectsText(*life_.snapshot));
  }

  void WaitForDelivery(KtDatabase database) {
    const auto limit = std::chrono::steady_clock::now() + kDeliveryLimit;
    progress_.WaitsFor("events to be delivered");
    while (!stop_.Requested()) {
      const KtStatus status = KtBusWaitForDelivery(database, kDeliverySliceMs);
      if (!StatusFails(status)) {
        break;
      }
      if (status != KTBUS_TIMEOUT) {
        throw BusError("KtBusWaitForDelivery", status);
      }
      if (std::chrono::steady_clock::now() > limit) {
        progress_.Fail("a provider has not taken its events within " +
                       std::to_string(kDeliveryLimit.count()) + " s; going on without");
        failed_ = true;
        break;
      }
    }
    progress_.WaitsFor("");
  }

  const Options& options_;
  Progress& progress_;
  StopSignal& stop_;
  const std::unique_ptr<Management> management_;
  Output output_;
  Life life_;
  bool failed_ = false;
};

}  // namespace

int RunService(const Options& options, Progress& progress, StopSignal& stop,
               const ManagementMaker& makeManagement) {
  if (!options.registry.empty()) {
    UseRegistryFolder(options.registry);
  }
  auto management = makeManagement ? makeManagement(options, progress) : nullptr;
  return Run(options, progress, stop, std::move(management)).Go();
}

}  // namespace ktsvc
