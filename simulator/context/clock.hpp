// The phone's clock and time zone. They stand still until somebody moves them.
//
// Any thread may read; one thread sets.
#pragma once

#include <atomic>
#include <chrono>
#include <string>

namespace date {
struct local_t;
class time_zone;
}  // namespace date

namespace simulator {

// A time as the clock on the wall shows it, wherever that is: date::local_seconds.
using LocalSeconds = std::chrono::time_point<date::local_t, std::chrono::seconds>;

class Clock {
 public:
  Clock();  // 2026-11-21 20:00:00 (a Saturday), UTC

  // Throws std::runtime_error for a name that the time-zone database does not hold. Keeps the
  // moment, not the local time.
  void setTimeZone(const std::string& name);
  std::string timeZone() const;

  void set(LocalSeconds local) { now_ = instant(local); }
  void set(std::chrono::sys_seconds moment) { now_ = moment; }
  void advance(std::chrono::seconds by) { now_ = now() + by; }
  std::chrono::sys_seconds now() const { return now_; }

  // A local time that a clock change repeats means its first occurrence; one that a clock change
  // skips means the moment of the change.
  std::chrono::sys_seconds instant(LocalSeconds local) const;
  LocalSeconds local(std::chrono::sys_seconds moment) const;

  // Seconds since 2001-01-01 00:00:00 UTC, as NSDate counts, and back.
  static double sinceReferenceDate(std::chrono::sys_seconds moment);
  static std::chrono::sys_seconds fromReferenceDate(double seconds);

 private:
  std::atomic<std::chrono::sys_seconds> now_;
  std::atomic<const date::time_zone*> zone_;
};

}  // namespace simulator
