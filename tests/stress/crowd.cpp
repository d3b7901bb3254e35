#include "stress/crowd.h"

#include <algorithm>
#include <chrono>
#include <string>

namespace stress {
namespace {

constexpr std::chrono::milliseconds kPause{20};

}  // namespace

Crowd::Crowd(Field& field, std::size_t clients, bool oneIsLazy)
    : field_(field), driver_(field.socket) {
  for (std::size_t i = 0; i < clients; ++i) {
    clients_.push_back(
        std::make_unique<Client>(field, static_cast<unsigned>(i), oneIsLazy && i == 0));
  }
}

Crowd::~Crowd() {
  field_.done = true;
  for (const auto& client : clients_) {
    client->HangUp();
  }
  Join();
}

void Crowd::Start() {
  for (const auto& client : clients_) {
    threads_.emplace_back([&client] { client->Work(); });
  }
}

// The end is raised again and again, for who is full when it comes misses it.
void Crowd::Finish(const std::function<void()>& fill) {
  field_.done = true;
  Join();
  const auto drain = [this](bool lazy) {
    for (const auto& client : clients_) {
      if (client->lazy() == lazy) {
        threads_.emplace_back([&client] { client->Drain(); });
      }
    }
  };
  drain(false);
  if (fill) {
    fill();
  }
  drain(true);
  const std::string end = std::string(R"({"name":")") + StreamReader::kEnd + "\"}";
  const auto isDrained = [](const auto& client) { return client->Drained(); };
  while (!std::all_of(clients_.begin(), clients_.end(), isDrained)) {
    driver_.Raise(end);
    std::this_thread::sleep_for(kPause);
  }
  Join();
}

void Crowd::Leave() {
  clients_.clear();
  while (driver_.Metric("ktsvc_stream_subscribers") != 0) {
    std::this_thread::sleep_for(kPause);
  }
}

void Crowd::Join() {
  for (std::thread& thread : threads_) {
    thread.join();
  }
  threads_.clear();
}

}  // namespace stress
