#include "home_screen/exported_state.hpp"

#include <fmt/format.h>

#include <cstdint>
#include <nlohmann/json.hpp>

#include "simulator/foundation/objects.hpp"

namespace home_screen {
namespace {

enum class Layout { integer, boolean, collection, date };

struct ExportedValue {
  const char* name;
  Layout layout;
};

constexpr ExportedValue exportedValues[] = {
    {"allowedMessageGroup", Layout::integer},
    {"maxNumOfDigitsToCompare", Layout::integer},
    {"enableDebugLogging", Layout::boolean},
    {"isDNDActive", Layout::boolean},
    {"privilegedMessageSenderIDs", Layout::collection},
    {"privilegedMessageSenderPhones", Layout::collection},
    {"privilegedMessageSenderEmails", Layout::collection},
    {"daysForSuppressingScheduler", Layout::collection},
    {"ctorTime", Layout::date},
    {"manualDNDEnabledTime", Layout::date},
};

std::string describeCollection(id object) {
  auto items = nlohmann::json::array();
  for (id item : simulator::as<simulator::Array>(object, "NSArray")->items) {
    if (const auto* number = simulator::as<simulator::Number>(item, "NSNumber")) {
      items.push_back(number->integer);
    } else {
      items.push_back(simulator::toUtf8(item));
    }
  }
  return items.dump();
}

std::string describeDate(id object, const simulator::Clock& clock) {
  const auto* moment = simulator::as<simulator::Date>(object, "NSDate");
  return formatLocalTime(
      clock.local(simulator::Clock::fromReferenceDate(moment->sinceReferenceDate)));
}

std::string describeValue(const simulator::LoadedLibrary& library, const simulator::Clock& clock,
                          const ExportedValue& value) {
  switch (value.layout) {
    case Layout::integer:
      return std::to_string(library.value<std::int64_t>(value.name));
    case Layout::boolean:
      return library.value<bool>(value.name) ? "true" : "false";
    case Layout::collection:
    case Layout::date:
      break;
  }
  id object = library.value<id>(value.name);
  if (object == nullptr) return "absent";
  return value.layout == Layout::date ? describeDate(object, clock) : describeCollection(object);
}

}  // namespace

Lines describeState(const simulator::LoadedLibrary& library, const simulator::Clock& clock) {
  Lines lines;
  for (const ExportedValue& value : exportedValues) {
    lines.push_back(fmt::format("{}={}", value.name, describeValue(library, clock, value)));
  }
  return lines;
}

}  // namespace home_screen
