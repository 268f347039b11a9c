#include "simulator/context/clock.hpp"

#include <date/tz.h>

#include <algorithm>
#include <cmath>

namespace simulator {
namespace {

constexpr date::sys_seconds referenceDate =
    date::sys_days(date::year_month_day(date::year(2001) / 1 / 1));

// No calendar reaches further than this many seconds from the reference date, some 30,000 years.
constexpr double furthest = 9e11;

}  // namespace

Clock::Clock()
    : now_(date::sys_days(date::year(2026) / 11 / 21) + std::chrono::hours(20)),
      zone_(date::locate_zone("Etc/UTC")) {}

void Clock::setTimeZone(const std::string& name) { zone_ = date::locate_zone(name); }

std::string Clock::timeZone() const { return zone_.load()->name(); }

date::sys_seconds Clock::instant(date::local_seconds local) const {
  const date::local_info info = zone_.load()->get_info(local);
  if (info.result == date::local_info::nonexistent) return info.first.end;
  return date::sys_seconds(local.time_since_epoch() - info.first.offset);
}

date::local_seconds Clock::local(date::sys_seconds moment) const {
  return zone_.load()->to_local(moment);
}

double Clock::sinceReferenceDate(date::sys_seconds moment) {
  return static_cast<double>((moment - referenceDate).count());
}

date::sys_seconds Clock::fromReferenceDate(double seconds) {
  if (std::isnan(seconds)) return referenceDate;
  const double held = std::clamp(std::floor(seconds), -furthest, furthest);
  return referenceDate + std::chrono::seconds(static_cast<std::int64_t>(held));
}

}  // namespace simulator
