#include "home_screen/inquiry.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "simulator/foundation/objects.hpp"

namespace home_screen {
namespace {

// The lines that the library writes while this lives.
class Listening {
 public:
  explicit Listening(Player& player)
      : player_(player), before_(player.library().value<bool>("enableDebugLogging")) {
    player.device().log.take();
    player.setDebugLogging(true);
  }
  Listening(const Listening&) = delete;
  Listening& operator=(const Listening&) = delete;
  ~Listening() { player_.setDebugLogging(before_); }

  Lines heard() { return player_.device().log.take(); }

 private:
  Player& player_;
  bool before_;
};

}  // namespace

std::vector<ListedGroup> listGroups(const simulator::LoadedLibrary& library) {
  const simulator::AutoreleasePool pool;
  std::vector<ListedGroup> groups;
  id listed = library.function<id()>("loadABGroups")();
  for (id item : simulator::as<simulator::Array>(listed, "NSArray")->items) {
    const auto* group = simulator::as<simulator::Dictionary>(item, "NSDictionary");
    const auto* number = simulator::as<simulator::Number>(simulator::find(group, "id"), "NSNumber");
    groups.push_back({number->integer, simulator::toUtf8(simulator::find(group, "name"))});
  }
  return groups;
}

std::vector<std::int64_t> numbersIn(const simulator::LoadedLibrary& library,
                                    const std::string& collection) {
  std::vector<std::int64_t> numbers;
  id object = library.value<id>(collection);
  if (object == nullptr) return numbers;
  for (id item : simulator::as<simulator::Array>(object, "NSArray")->items) {
    numbers.push_back(simulator::as<simulator::Number>(item, "NSNumber")->integer);
  }
  return numbers;
}

Arrival askAboutMessage(Player& player, const std::string& sender) {
  Listening listening(player);
  constexpr int message = 1;
  const bool presented = player.device().bulletinBoard.arrives(message, sender);
  Lines log = listening.heard();
  auto gate = readGateLog(log);
  if (!gate) throw std::runtime_error("the library's log does not tell of the message");
  return {presented, std::move(log), std::move(*gate)};
}

std::string askForTail(Player& player, const std::string& number) {
  Listening listening(player);
  const simulator::AutoreleasePool pool;
  const auto text = simulator::own(simulator::makeString(number));
  player.library().function<bool(id)>("phoneNumberBelongsToPrivilegedPerson")(text.get());
  return tailCompared(listening.heard()).value_or("");
}

ScheduleAnswer askAboutSchedule(Player& player, date::sys_seconds moment) {
  Listening listening(player);
  ScheduleAnswer answer;
  answer.active = player.device().bulletinBoard.scheduleActiveAt(moment);
  const Lines log = listening.heard();
  answer.phoneSays = std::find(log.begin(), log.end(), "HL: original active check: y") != log.end();
  if (const auto weekday = textAfter(log, "HL: checking for weekday ")) {
    answer.weekday = static_cast<int>(parseInteger(*weekday).value_or(0));
  }
  return answer;
}

std::string weekdayName(int weekday) {
  static constexpr const char* names[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                          "Thursday", "Friday", "Saturday"};
  return weekday >= 1 && weekday <= 7 ? names[weekday - 1] : fmt::format("day {}", weekday);
}

std::string scheduleText(const simulator::BulletinBoard& board) {
  const auto boundaries = board.scheduleBoundaries();
  std::string text;
  for (std::size_t i = 0; i + 1 < boundaries.size(); i += 2) {
    text += (text.empty() ? "" : ", ") +
            simulator::toText(simulator::DailyPeriod{boundaries[i], boundaries[i + 1]});
  }
  return text;
}

}  // namespace home_screen
