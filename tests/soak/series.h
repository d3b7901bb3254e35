// A figure over time, and whether it grows: the rule by which a soak is judged.
//
// What a leak does is judged, not what a busy service does: figures jump, fall when something is
// restarted, and rise while caches fill. Therefore
//   - the beginning is passed over (kWarmUp of the time, ten minutes at most);
//   - the rest is cut into at most kPieces pieces of as many samples, and the median of each
//   counts;
//   - the slope is the median of the slopes between all pairs of pieces (Theil and Sen), which a
//     third of wild values does not move; its rise is what it makes over the whole time judged;
//   - the step is the median of the last quarter less that of the second quarter, which should be
//     half of the rise;
//   - it grows when the rise is more than is allowed AND the step more than half of that. A saw's
//     teeth have slopes and no step, a single jump back and forth has a step and no rise.
// What is allowed: `floor`, which is noise whatever the time, so that a short run raises no alarm;
// `part` of the median of the second quarter; and `hourly` for each hour judged, which in long runs
// is what counts.
//
// A run is judged life by life: a service that was stopped and started anew begins anew.
//
// Threads: pure functions.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace soak {

struct Point {
  double seconds = 0;  // since the life began
  double value = 0;
};

struct Allowance {
  double floor = 0;   // in the figure's unit
  double part = 0;    // of the level
  double hourly = 0;  // in the figure's unit
};

struct Judgement {
  bool judged = false;  // false: too short to say anything
  bool grows = false;
  double before = 0;   // the median of the second quarter
  double after = 0;    // that of the last
  double hourly = 0;   // the slope, in units an hour
  double rise = 0;     // what it makes over the time judged
  double allowed = 0;  // the largest rise that is no growth
};

inline constexpr double kWarmUp = 1.0 / 6;
inline constexpr double kLongestWarmUp = 600;  // seconds
inline constexpr std::size_t kPieces = 240;
inline constexpr std::size_t kFewest = 16;  // pieces, below which nothing is said

// Points in the order of time.
Judgement Judge(const std::vector<Point>& points, const Allowance& allowance);

// The middle value (of an even number the mean of both); 0 for none.
double Median(std::vector<double> values);

}  // namespace soak
