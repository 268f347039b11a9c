#include "home_screen/ask/exported.hpp"

#include <fmt/core.h>

#include <nlohmann/json.hpp>

#include "simulator/device.hpp"
#include "simulator/foundation/objects.hpp"

namespace home_screen {
namespace {

const std::vector<id>& itemsOf(id collection) {
  return simulator::as<simulator::Array>(collection)->items;
}

const simulator::Number* asNumber(id object) { return simulator::as<simulator::Number>(object); }

std::string textOf(std::int64_t value, const simulator::Clock&) { return std::to_string(value); }

std::string textOf(bool value, const simulator::Clock&) { return value ? "true" : "false"; }

std::string textOf(id object, const simulator::Clock& clock) {
  if (object == nullptr) return "absent";
  if (const auto* date = simulator::as<simulator::Date>(object)) {
    const auto moment = simulator::Clock::fromReferenceDate(date->sinceReferenceDate);
    return formatTime("%F %T", clock.local(moment));
  }
  auto items = nlohmann::json::array();
  for (id item : itemsOf(object)) {
    if (const auto* number = asNumber(item)) {
      items.push_back(number->integer);
    } else {
      items.push_back(simulator::toUtf8(item));
    }
  }
  return items.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

std::vector<ListedGroup> listGroups(const Session& session) {
  const simulator::AutoreleasePool pool;
  std::vector<ListedGroup> groups;
  for (id item : itemsOf(session.library().loadABGroups())) {
    const auto* group = simulator::as<simulator::Dictionary>(item);
    groups.push_back({asNumber(simulator::find(group, "id"))->integer,
                      simulator::toUtf8(simulator::find(group, "name"))});
  }
  return groups;
}

bool askMatcher(const Session& session, const std::optional<std::string>& sender) {
  const simulator::AutoreleasePool pool;
  const auto text = simulator::own(sender ? simulator::makeString(*sender) : nullptr);
  return session.library().phoneNumberBelongsToPrivilegedPerson(text.get());
}

std::string askForInterval(const Session& session) {
  id interval = session.library().getBBBehaviorOverrideEffectiveInterval();
  if (interval == nullptr) return "nothing";
  const std::string text = simulator::intervalText(interval);
  return text.empty() ? simulator::describe(interval) : text;
}

std::vector<int> suppressedWeekdays(const Session& session) {
  std::vector<int> weekdays;
  if (id days = session.library().daysForSuppressingScheduler) {
    for (id day : itemsOf(days)) weekdays.push_back(static_cast<int>(asNumber(day)->integer));
  }
  return weekdays;
}

Lines describeValues(const Session& session) {
  const simulator::Clock& clock = session.device().clock;
  Lines lines;
#define HUSHLANE_ROW(name) \
  lines.push_back(fmt::format("{}={}", #name, textOf(session.library().name, clock)));
  HUSHLANE_VARIABLES(HUSHLANE_ROW)
#undef HUSHLANE_ROW
  return lines;
}

}  // namespace home_screen
