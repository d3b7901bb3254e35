#include "soak/load.h"

#include <utility>

namespace soak {

Load::Load(const LoadWish& wish) {
  const stress::Driver driver(wish.socket);
  field_.socket = wish.socket;
  field_.disk = driver.IdOf("qelm_ktvm_disk");
  field_.system = driver.IdOf("qelm_system");
  field_.failing = true;
  field_.pause = wish.pause;
  field_.took = [this](std::chrono::duration<double, std::milli> time) {
    ++requests_;
    const std::lock_guard lock(mutex_);
    timings_.Add(time);
  };
  crowd_.emplace(field_, wish.clients, false);
  ktctl::Place place;
  place.socket = wish.socket;
  walk::WalkWish walk;
  walk.walk.seed = wish.seed;
  walker_.emplace(ktctl::Connection{{place}, {}}, walk);
  crowd_->Start();
  walking_ = std::thread([this, pause = wish.pause] { Walk(pause); });
}

Load::~Load() {
  field_.done = true;
  if (walking_.joinable()) {
    walking_.join();
  }
}

void Load::Walk(std::chrono::milliseconds pause) {
  const auto count = [this] {
    generated_ = walker_->report().calls;
    walkFaults_ = walker_->report().faultCount;
  };
  bool goesOn = walker_->Explore([&] {
    count();
    return !field_.done;
  });
  while (goesOn && !field_.done) {
    goesOn = walker_->Step();
    count();
    std::this_thread::sleep_for(pause);
  }
  walker_->Finish();
  count();
}

stress::Timings Load::TakeTimings() {
  const std::lock_guard lock(mutex_);
  return std::exchange(timings_, {});
}

void Load::Finish() {
  field_.done = true;
  walking_.join();
  crowd_->Finish();
  faults_ = walker_->report().faults;
  for (const auto& client : crowd_->clients()) {
    faults_.insert(faults_.end(), client->errors().begin(), client->errors().end());
  }
  crowd_->Leave();
}

std::vector<std::string> Load::Faults() const {
  return faults_;
}

}  // namespace soak
