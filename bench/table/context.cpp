#include "bench/table/context.h"

#include <initializer_list>

namespace kt::bench {
namespace {

using nlohmann::json;

std::string TextOf(const json& context, const char* name) {
  const auto found = context.find(name);
  return found != context.end() && found->is_string() ? found->get<std::string>() : "";
}

// What there is of the parts, with commas between, as a line.
std::string Line(std::initializer_list<std::string> parts) {
  std::string line;
  for (const std::string& part : parts) {
    if (part.empty()) continue;
    if (!line.empty()) line += ", ";
    line += part;
  }
  return line.empty() ? line : line + "\n";
}

}  // namespace

std::string Context::Text() const {
  return Line({date, commit.empty() ? "" : "commit " + commit, compiler}) +
         Line({cpu, cpus == 0 ? "" : std::to_string(cpus) + (cpus == 1 ? " CPU" : " CPUs")});
}

Context ReadContext(const json& result) {
  Context read;
  const auto context = result.find("context");
  if (context == result.end() || !context->is_object()) return read;
  read.date = TextOf(*context, "date");
  read.commit = TextOf(*context, "commit");
  read.compiler = TextOf(*context, "compiler");
  read.cpu = TextOf(*context, "cpu");
  const auto cpus = context->find("num_cpus");
  if (cpus != context->end() && cpus->is_number_integer()) read.cpus = cpus->get<int>();
  return read;
}

}  // namespace kt::bench
