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

void showJson(const Outcome& outcome) {
  print({{"line", outcome.line},
         {"command", outcome.command},
         {"output", outcome.output},
         {"log", outcome.log}},
        -1);
}

}  // namespace home_screen
