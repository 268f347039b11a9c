#include "home_screen/calendar.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <array>
#include <optional>

#include "home_screen/inquiry.hpp"
#include "home_screen/terminal.hpp"

namespace home_screen {
namespace {

using std::chrono::minutes;

constexpr minutes cellLength(30);
constexpr int cellsInDay = 48;
constexpr minutes usualDay(24 * 60);

// Minutes of each kind.
struct Tally {
  int on = 0;
  int suppressed = 0;
  int off = 0;

  void add(const ScheduleAnswer& answer) {
    ++(answer.active ? on : answer.suppressed() ? suppressed : off);
  }
  int all() const { return on + suppressed + off; }
};

char symbolOf(const Tally& cell) {
  if (cell.all() == 0) return ' ';
  if (cell.on == cell.all()) return '#';
  if (cell.on > 0) return '+';
  return cell.suppressed > 0 ? '-' : '.';
}

struct Day {
  date::local_days date;
  std::array<Tally, cellsInDay> cells;
  Tally whole;
};

struct Event {
  date::local_seconds local;
  std::string what;
  std::string why;
};

// Why one answer follows another.
std::string reasonBetween(const ScheduleAnswer& before, const ScheduleAnswer& after) {
  const std::string day = weekdayName(after.weekday);
  if (before.phoneSays != after.phoneSays) {
    return after.phoneSays ? "the schedule begins" : "the schedule ends";
  }
  return fmt::format("it is {}, {}", day,
                     after.active ? "which is not suppressed" : "which is suppressed");
}

std::string lengthText(minutes length) {
  return fmt::format("{}h{:02}m", length.count() / 60, length.count() % 60);
}

class Almanac {
 public:
  explicit Almanac(Player& player) : player_(player), clock_(player.device().clock) {}

  void look(int numberOfDays) {
    const auto today = date::floor<date::days>(clock_.local(clock_.now()));
    const auto end = clock_.instant(today + date::days(numberOfDays));
    for (auto moment = clock_.instant(today); moment < end; moment += minutes(1)) lookAt(moment);
  }

  const std::vector<Day>& days() const { return days_; }
  const std::vector<Event>& events() const { return events_; }

 private:
  void lookAt(date::sys_seconds moment) {
    const auto local = clock_.local(moment);
    const ScheduleAnswer answer = askAboutSchedule(player_, moment);
    tally(local, answer);
    if (moment >= clock_.now() && before_) note(local, answer);
    before_ = answer;
    localBefore_ = local;
  }

  void tally(date::local_seconds local, const ScheduleAnswer& answer) {
    const auto date = date::floor<date::days>(local);
    if (days_.empty() || days_.back().date < date) days_.push_back({date, {}, {}});
    Day& day = days_.back();
    day.cells[static_cast<std::size_t>((local - date) / cellLength)].add(answer);
    day.whole.add(answer);
  }

  void note(date::local_seconds local, const ScheduleAnswer& answer) {
    const auto expected = localBefore_ + minutes(1);
    if (local != expected) {
      events_.push_back({expected, "clocks",
                         fmt::format("{} to {}", local > expected ? "forward" : "back",
                                     date::format("%R", local))});
    }
    if (answer.active != before_->active) {
      events_.push_back({local, answer.active ? "on" : "off", reasonBetween(*before_, answer)});
    }
  }

  Player& player_;
  const simulator::Clock& clock_;
  std::vector<Day> days_;
  std::vector<Event> events_;
  std::optional<ScheduleAnswer> before_;
  date::local_seconds localBefore_;
};

void showDay(const Day& day) {
  std::string bar;
  for (const Tally& cell : day.cells) bar += symbolOf(cell);
  std::string note = day.whole.on == 0 ? "-" : lengthText(minutes(day.whole.on));
  const minutes length(day.whole.all());
  if (length != usualDay) note += " of " + lengthText(length);
  fmt::print("{} |{}| {}\n", date::format("%a %d %b", day.date), toned(bar, Tone::strong), note);
}

void showBars(const std::vector<Day>& days) {
  fmt::print("{:10} ", "");
  for (int hour = 0; hour < 24; hour += 3) fmt::print(" {:<5}", fmt::format("{:02}", hour));
  fmt::print(" 24\n");
  for (const Day& day : days) showDay(day);
  fmt::print(
      "\n# on   + on for a part   . off   - off, as the weekday is suppressed\n"
      "Each half hour belongs to the weekday of its own date, also past midnight.\n");
}

void showSettings(Player& player) {
  const std::string schedule = scheduleText(player.device().bulletinBoard);
  Lines suppressed;
  for (const std::int64_t day : numbersIn(player.library(), "daysForSuppressingScheduler")) {
    suppressed.push_back(weekdayName(static_cast<int>(day)));
  }
  fmt::print("Schedule   {}\nSuppressed {}\nTime zone  {}\n\n",
             schedule.empty() ? "none stored" : schedule,
             suppressed.empty() ? "no day" : fmt::format("{}", fmt::join(suppressed, ", ")),
             player.device().clock.timeZone());
}

}  // namespace

void showCalendar(Player& player, int days) {
  const simulator::Clock& clock = player.device().clock;
  Almanac almanac(player);
  almanac.look(days);
  showSettings(player);
  showBars(almanac.days());

  const bool activeNow = askAboutSchedule(player, clock.now()).active;
  fmt::print("\n{}  {:<8}now\n", formatMoment(clock.local(clock.now())), activeNow ? "on" : "off");
  for (const Event& event : almanac.events()) {
    fmt::print("{}  {:<8}{}\n", formatMoment(event.local), event.what, event.why);
  }
  if (almanac.events().empty()) fmt::print("Nothing changes in these days.\n");
}

}  // namespace home_screen
