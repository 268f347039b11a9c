#include "home_screen/show/json.hpp"

#include <fmt/core.h>

#include <nlohmann/json.hpp>

namespace home_screen {
namespace {

using Json = nlohmann::ordered_json;

Json toJson(const simulator::PreferenceValue& value) {
  return std::visit([](const auto& held) { return Json(held); }, value);
}

Lines namesOf(const std::vector<PhonePart>& parts) {
  Lines names;
  for (const PhonePart part : parts) names.push_back(describe(part));
  return names;
}

void print(const Json& object, int indent) {
  fmt::print("{}\n", object.dump(indent, ' ', true, Json::error_handler_t::replace));
}

std::string momentOf(LocalTime time) { return formatTime("%F %T", time); }

Json toJson(const std::vector<Who::Named>& people) {
  Json all = Json::array();
  for (const Who::Named& person : people) all.push_back({{"id", person.id}, {"name", person.name}});
  return all;
}

Json toJson(const std::vector<Who::SharedTail>& tails) {
  Json all = Json::array();
  for (const auto& [tail, people] : tails) {
    all.push_back({{"tail", tail}, {"people", toJson(people)}});
  }
  return all;
}

Json toJson(const Who::Person& person) {
  Json entries = Json::array();
  for (const Who::Entry& entry : person.entries) {
    entries.push_back({{"value", entry.value},
                       {"sender", entry.sender ? Json(*entry.sender) : Json()},
                       {"answer", answerName(entry.presented)},
                       {"reason", entry.why}});
  }
  return {{"id", person.id}, {"name", person.name}, {"entries", entries}};
}

// Minutes of each kind.
Json toJson(const Calendar::Tally& tally) {
  return {{"on", tally.on}, {"suppressed", tally.suppressed}, {"off", tally.off}};
}

}  // namespace

void showJson(const Explanation& explanation) {
  Json chain = Json::array();
  for (const Condition& condition : explanation.chain) {
    chain.push_back(
        {{"condition", condition.name}, {"value", condition.value}, {"source", condition.source}});
  }
  Json changes = Json::array();
  for (const Change& change : explanation.changes) {
    changes.push_back(
        {{"key", change.key}, {"value", toJson(change.value)}, {"meaning", change.meaning}});
  }
  print({{"sender", explanation.sender},
         {"at", formatTime("%F %T", explanation.at)},
         {"timeZone", explanation.timeZone},
         {"answer", answerName(explanation.presented)},
         {"chain", chain},
         {"changes", changes},
         {"unknown", namesOf(explanation.unknown)}},
        2);
}

void showJson(const Who& who) {
  Json people = Json::array();
  for (const Who::Person& person : who.people) people.push_back(toJson(person));
  print({{"at", momentOf(who.at)},
         {"doNotDisturb", who.doNotDisturb},
         {"letThrough", who.letThrough},
         {"digitsCompared", who.digitsCompared},
         {"people", people},
         {"sharedTails", toJson(who.sharedTails)},
         {"unknown", namesOf(who.unknown)}},
        2);
}

void showJson(const Calendar& calendar) {
  Json days = Json::array();
  for (const Calendar::Day& day : calendar.days) {
    Json halfHours = Json::array();
    for (const Calendar::Tally& tally : day.halfHours) halfHours.push_back(toJson(tally));
    days.push_back({{"date", formatTime("%F", day.date)},
                    {"minutes", toJson(day.whole)},
                    {"halfHours", halfHours}});
  }
  Json events = Json::array();
  for (const auto& [at, what, why] : calendar.events) {
    events.push_back({{"at", momentOf(at)}, {"what", what}, {"why", why}});
  }
  print({{"now", momentOf(calendar.now)},
         {"timeZone", calendar.timeZone},
         {"active", calendar.activeNow},
         {"schedule", calendar.schedule},
         {"suppressedDays", calendar.suppressedDays},
         {"days", days},
         {"events", events},
         {"unknown", namesOf(calendar.unknown)}},
        2);
}

void showJson(const std::vector<GroupSize>& groups) {
  Json all = Json::array();
  for (const GroupSize& group : groups) {
    all.push_back({{"id", group.id},
                   {"name", group.name},
                   {"members", group.members},
                   {"numbers", group.numbers},
                   {"addresses", group.addresses}});
  }
  print({{"groups", all}}, 2);
}

void showJson(const Digits& digits) {
  Json rows = Json::array();
  for (const Digits::Row& row : digits.rows) {
    rows.push_back({{"digits", row.digits},
                    {"through", row.through},
                    {"gained", toJson(row.gained)},
                    {"lost", toJson(row.lost)},
                    {"sharedTails", toJson(row.shared)}});
  }
  print({{"letThrough", digits.letThrough}, {"inForce", digits.inForce}, {"rows", rows}}, 2);
}

void showJson(const Outcome& outcome) {
  Json object = {{"line", outcome.line},
                 {"command", outcome.command},
                 {"output", outcome.output},
                 {"log", outcome.log}};
  if (outcome.expectation) object["asExpected"] = !outcome.failure;
  print(object, -1);
}

}  // namespace home_screen
