// CallMaker: requests by chance, from a seed: right ones, and ones that are wrong in every way that
// a client can get them wrong.
//
// Threads: one thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ktcheck/value_maker.h"
#include "property_json.h"
#include "walk/call.h"
#include "walk/service_map.h"

namespace walk {

// A control that a provider is known to have.
struct KnownControl {
  Offer offer;
  std::uint32_t selector = 0;
  std::uint32_t code = 0;
  // Properties that it is known to take, in the form of the API, with a right value each.
  ktsvc::Json right = ktsvc::Json::array();
};

class CallMaker {
 public:
  explicit CallMaker(std::uint64_t seed) : dice_(seed) {}

  // What it makes calls for; both are copied.
  void Know(ServiceMap map, std::vector<KnownControl> controls);

  // Any request.
  Call Next();

  // The control as it should be sent, with its right properties or none.
  static Call Right(const KnownControl& control);

  // A control with this input; null for none.
  static Call Control(const Offer& offer, std::uint32_t selector, std::uint32_t code,
                      const ktsvc::Json& input);

 private:
  Call NextControl();
  Call NextStrangeControl();
  Call NextRead();
  Call NextEvent();
  Call NextOther();
  ktsvc::Json Input(const KnownControl& control);
  void Spoil(std::string& body);
  std::string Name();
  std::string StrangeText();
  std::string Object();
  std::string Interface();
  std::string Number();
  std::uint64_t Dice(std::uint64_t bound) { return dice_.Number(bound); }
  bool OneIn(std::uint64_t bound) { return Dice(bound) == 0; }
  const std::string& OneOf(const std::vector<std::string>& texts);

  ktcheck::ValueMaker dice_;
  ServiceMap map_;
  std::vector<KnownControl> controls_;
};

}  // namespace walk
