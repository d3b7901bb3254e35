#include "bench/table/judgement.h"

#include <algorithm>

namespace kt::bench {
namespace {

using Value = std::optional<double>;

Value MedianOf(const Samples& samples, const std::string& name) {
  const auto found = samples.Find(name);
  if (!found) return std::nullopt;
  return found->median;
}

// Without a value, or to nothing, there is no ratio. No more than nothing is needed to reach
// nothing.
Value Ratio(Value left, Value right) {
  if (!left || !right) return std::nullopt;
  if (*right == 0) return *left == 0 ? Value(1) : std::nullopt;
  return *left / *right;
}

// What was reached, in the wish's own terms.
Value Reached(const Wish& wish, const Samples& samples) {
  const Value left = MedianOf(samples, wish.left);
  switch (wish.kind) {
    case Wish::Kind::kAtMost:
      return Ratio(left, MedianOf(samples, wish.right));
    case Wish::Kind::kFaster:
      return Ratio(MedianOf(samples, wish.right), left);
    case Wish::Kind::kGrowth:
      return Ratio(Ratio(left, MedianOf(samples, wish.left_from)),
                   Ratio(MedianOf(samples, wish.right), MedianOf(samples, wish.right_from)));
    case Wish::Kind::kBelow:
      return left;
  }
  return std::nullopt;
}

JudgedWish JudgeWish(const Wish& wish, const Samples& samples) {
  JudgedWish judged;
  judged.text = wish.text;
  judged.times = wish.kind != Wish::Kind::kBelow;
  const Value reached = Reached(wish, samples);
  if (!reached) return judged;
  judged.reached = *reached;
  const bool holds =
      wish.kind == Wish::Kind::kFaster ? *reached >= wish.factor : *reached <= wish.factor;
  judged.verdict = holds ? Verdict::kHolds : Verdict::kMissed;
  return judged;
}

JudgedRow JudgeRow(const Row& row, const Samples& samples) {
  JudgedRow judged{row.id, row.title, row.unit, {}, {}};
  const Value floor = MedianOf(samples, row.floor);
  for (const Contestant& contestant : row.contestants) {
    const auto measured = samples.Find(contestant.benchmark);
    const Value ratio = Ratio(measured ? Value(measured->median) : std::nullopt, floor);
    judged.contestants.push_back(
        {contestant.label, contestant.benchmark, contestant.ours, measured, ratio});
  }
  for (const Wish& wish : row.wishes) judged.wishes.push_back(JudgeWish(wish, samples));
  return judged;
}

}  // namespace

std::vector<JudgedRow> Judge(const std::vector<Row>& rows, const Samples& samples) {
  std::vector<JudgedRow> judged;
  for (const Row& row : rows) {
    JudgedRow one = JudgeRow(row, samples);
    if (std::any_of(one.contestants.begin(), one.contestants.end(),
                    [](const auto& contestant) { return contestant.measured.has_value(); })) {
      judged.push_back(std::move(one));
    }
  }
  return judged;
}

}  // namespace kt::bench
