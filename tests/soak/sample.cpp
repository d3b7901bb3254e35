#include "soak/sample.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>

namespace soak {
namespace {

constexpr double kKiBInMiB = 1024;

// The sum of the samples of that family: lines "NAME VALUE" and "NAME{LABELS} VALUE".
double SumOf(std::string_view metrics, std::string_view name) {
  double sum = 0;
  while (!metrics.empty()) {
    const std::string_view line = metrics.substr(0, metrics.find('\n'));
    metrics.remove_prefix(std::min(line.size() + 1, metrics.size()));
    if (!line.starts_with(name)) {
      continue;
    }
    const std::string_view rest = line.substr(name.size());
    if (rest.starts_with('{') || rest.starts_with(' ')) {
      sum += std::strtod(std::string(line.substr(line.rfind(' ') + 1)).c_str(), nullptr);
    }
  }
  return sum;
}

}  // namespace

std::string NumberText(double number) {
  std::array<char, 40> text{};
  const int size = std::snprintf(text.data(), text.size(), "%.3f", number);
  std::string result(text.data(), static_cast<std::size_t>(size));
  result.erase(result.find_last_not_of('0') + 1);
  if (result.ends_with('.')) {
    result.pop_back();
  }
  return result == "-0" ? "0" : result;
}

std::string CsvHead() {
  std::string line;
  for (const Column& column : kColumns) {
    line.append(line.empty() ? "" : ",").append(column.name);
  }
  return line;
}

std::string CsvLine(const Sample& sample) {
  std::string line;
  for (const Column& column : kColumns) {
    line.append(line.empty() ? "" : ",").append(NumberText(sample.*column.value));
  }
  return line;
}

void ReadProcess(std::intptr_t process, Sample& sample) {
  const std::filesystem::path folder = "/proc/" + std::to_string(process);
  std::ifstream stream(folder / "status");
  for (std::string line; std::getline(stream, line);) {
    std::istringstream words(line);
    std::string name;
    double value = 0;
    words >> name >> value;
    if (name == "VmRSS:") {
      sample.resident = value / kKiBInMiB;
    } else if (name == "Threads:") {
      sample.threads = value;
    }
  }
  std::error_code gone;
  const std::filesystem::directory_iterator handles(folder / "fd", gone);
  if (!gone) {
    sample.handles = static_cast<double>(std::distance(begin(handles), end(handles)));
  }
}

void ReadMetrics(std::string_view metrics, Sample& sample) {
  sample.queue = SumOf(metrics, "ktsvc_provider_queue_depth");
  sample.kept = SumOf(metrics, "ktsvc_ledger_kept");
  sample.objects = SumOf(metrics, "ktsvc_objects");
  sample.streams = SumOf(metrics, "ktsvc_stream_subscribers");
}

}  // namespace soak
