#include "bench/operations/control_work.h"

#include <map>
#include <stdexcept>

namespace kt::bench {

LoadedModule& ModuleWith(std::uint32_t handlers) {
  static std::map<std::uint32_t, LoadedModule> modules;
  const auto [place, fresh] = modules.try_emplace(handlers);
  if (fresh) place->second.MakeHandlers(handlers, 2);
  return place->second;
}

Control::Control(LoadedModule& module, std::vector<KtObjId> objects)
    : objects_(std::move(objects)), order_(objects_.size()), table_(module.table()) {
  if (PsCreatePropset(&input_) != 0 || PsCreatePropset(&output_) != 0) {
    throw std::runtime_error("no property sets");
  }
}

Control::~Control() {
  PsDestroyPropset(output_);
  PsDestroyPropset(input_);
}

bool Control::Works() {
  for (std::size_t i = 0; i < objects_.size(); ++i) {
    if (Send(i) != AnswerOf(static_cast<std::uint32_t>(i))) return false;
  }
  return provider_ != 0;
}

bool ControlOfAnyObject::Works() {
  return Send(0) == kAnyAnswer && Send(objects_.size() - 1) == kAnyAnswer;
}

}  // namespace kt::bench
