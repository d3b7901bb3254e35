// Which of a number of things a run works on: all of them in turn, in an order by chance that is
// the same for everybody, so that no contestant finds its neighbour warm.
#pragma once

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <random>
#include <vector>

namespace kt::bench {

class Order {
 public:
  explicit Order(std::size_t count) : places_(count) {
    std::iota(places_.begin(), places_.end(), std::size_t{0});
    // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp): the same order in each run, to be compared.
    std::mt19937 random(1);
    std::shuffle(places_.begin(), places_.end(), random);
  }

  std::size_t Next() noexcept {
    if (at_ == places_.size()) at_ = 0;
    return places_[at_++];
  }

 private:
  std::vector<std::size_t> places_;
  std::size_t at_ = 0;
};

}  // namespace kt::bench
