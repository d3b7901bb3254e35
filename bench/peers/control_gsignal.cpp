// GSignal: an object for each path with one handler of its own; the emission finds it by the
// instance. There are no filters in it.
#include <benchmark/benchmark.h>
#include <glib-object.h>

#include "bench/operations/control.h"
#include "bench/support/operation.h"
#include "bench/support/order.h"

namespace kt::bench {
namespace {

guint WorkSignal() {
  static const guint signal =
      g_signal_new("bench-work", G_TYPE_OBJECT, G_SIGNAL_RUN_LAST, 0, nullptr, nullptr, nullptr,
                   G_TYPE_UINT, 3, G_TYPE_POINTER, G_TYPE_UINT, G_TYPE_UINT);
  return signal;
}

guint Answer(GObject* /*object*/, gpointer /*request*/, guint /*selector*/, guint /*code*/,
             gpointer context) {
  return AnswerOf(GPOINTER_TO_UINT(context));
}

class GSignal {
 public:
  explicit GSignal(std::size_t handlers) : signal_(WorkSignal()), order_(handlers) {
    for (std::size_t i = 0; i < handlers; ++i) {
      auto* const object = static_cast<GObject*>(g_object_new(G_TYPE_OBJECT, nullptr));
      g_signal_connect(object, "bench-work", G_CALLBACK(&Answer), GUINT_TO_POINTER(i));
      objects_.push_back(object);
    }
  }
  ~GSignal() {
    for (GObject* const object : objects_) g_object_unref(object);
  }
  GSignal(const GSignal&) = delete;
  GSignal& operator=(const GSignal&) = delete;

  bool Works() { return Send(3) == AnswerOf(3) && Send(0) == AnswerOf(0); }
  void Run() { benchmark::DoNotOptimize(Send(order_.Next())); }

 private:
  KtStatus Send(std::size_t index) {
    guint answer = 0;
    PlainRequest request{nullptr, kSelector, kWork};
    g_signal_emit(objects_[index], signal_, 0, &request, kSelector, kWork, &answer);
    return answer;
  }

  guint signal_;
  std::vector<GObject*> objects_;
  Order order_;
};

const bool entered = Add<GSignal>("control/10000/gsignal", {}, 10'000U);

}  // namespace
}  // namespace kt::bench
