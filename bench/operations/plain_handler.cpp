#include <random>

#include "bench/operations/control.h"

namespace kt::bench {
namespace {

class Answering : public PlainHandler {
 public:
  explicit Answering(std::uint32_t index) : index_(index) {}
  KtStatus Handle(PlainRequest& /*request*/) override { return AnswerOf(index_); }

 private:
  std::uint32_t index_;
};

class Passing : public PlainHandler {
 public:
  KtStatus Handle(PlainRequest& request) override { return request.selector == ~0U ? 1 : kPass; }
};

}  // namespace

std::unique_ptr<PlainHandler> MakePlainHandler(std::uint32_t index) {
  return std::make_unique<Answering>(index);
}

std::unique_ptr<PlainHandler> MakePlainFilter() {
  return std::make_unique<Passing>();
}

std::vector<KtObjId> PlainObjects(std::size_t count) {
  // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp): the same objects in each run, to be compared.
  std::mt19937_64 random(7);
  std::vector<KtObjId> objects(count);
  for (KtObjId& object : objects) {
    const std::array<std::uint64_t, 2> words{random(), random()};
    std::memcpy(&object, words.data(), sizeof(object));
  }
  return objects;
}

}  // namespace kt::bench
