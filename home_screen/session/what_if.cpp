#include "home_screen/session/what_if.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <optional>

#include "home_screen/session/nearest.hpp"
#include "home_screen/session/session.hpp"
#include "simulator/device.hpp"
#include "simulator/foundation/property_list.hpp"

namespace home_screen {
namespace {

using simulator::Group;

constexpr std::int64_t modeValues[] = {
    HushlaneAllowedMessageGroupEveryone, HushlaneAllowedMessageGroupNobody,
    HushlaneAllowedMessageGroupFavorites, HushlaneAllowedMessageGroupAllContacts};

simulator::PreferenceValue valueFor(const std::string& key, const std::string& text) {
  if (key == modeKey || key == digitsKey) {
    const auto integer = parseInteger(text);
    if (integer && *integer == static_cast<std::int32_t>(*integer)) return *integer;
    throw WrongSetting(key + ": " + text + " is no 32-bit integer" +
                       (key == modeKey ? " (--mode takes names)" : ""));
  }
  if (text == "true" || text == "false") return text == "true";
  throw WrongSetting(key + ": " + text + " is neither true nor false" +
                     didYouMean(text, {"true", "false"}));
}

// Those that the library takes for groups: other IDs have another meaning, or none.
std::vector<Group> groupsOf(const simulator::Device& phone) {
  std::vector<Group> groups = phone.addressBook.groups();
  std::erase_if(groups, [](const Group& group) { return group.id <= 0; });
  return groups;
}

std::string listOf(const std::vector<Group>& groups) {
  constexpr std::size_t most = 5;
  if (groups.empty()) return "; it has none";
  Lines names;
  for (const Group& group : groups) names.push_back(fmt::format("{} ({})", group.name, group.id));
  const bool more = names.size() > most;
  if (more) names.resize(most);
  return fmt::format("; it has {}{}", fmt::join(names, ", "), more ? ", ..." : "");
}

std::int64_t findGroup(const simulator::Device& phone, const std::string& nameOrId) {
  const std::vector<Group> groups = groupsOf(phone);
  const auto id = parseInteger(nameOrId);
  Lines names;
  std::vector<std::int64_t> found;
  for (const Group& group : groups) {
    if (group.id == id) return group.id;
    names.push_back(group.name);
    if (group.name == nameOrId) found.push_back(group.id);
  }
  if (found.size() == 1) return found.front();
  if (found.size() > 1) {
    throw WrongSetting(fmt::format("--mode: {} groups are called {}; expected an ID of {}",
                                   found.size(), nameOrId, fmt::join(found, ", ")));
  }
  const auto nearest = nearestOf(names, nameOrId);
  throw WrongSetting("--mode: the phone has no group " + nameOrId +
                     (nearest ? "; did you mean group=" + *nearest + "?" : listOf(groups)));
}

void refuseNoMode(const simulator::Device& phone, std::int64_t value) {
  const std::vector<Group> groups = groupsOf(phone);
  std::vector<std::int64_t> known(std::begin(modeValues), std::end(modeValues));
  for (const Group& group : groups) known.push_back(group.id);
  if (std::ranges::count(known, value) > 0) return;
  const auto gap = [value](std::int64_t other) { return std::abs(other - value); };
  throw WrongSetting(
      fmt::format("{}: {} is neither a mode nor a group of the phone; did you mean {}?", modeKey,
                  value, *std::ranges::min_element(known, {}, gap)));
}

}  // namespace

Setting parseSetting(const std::string& text) {
  const std::size_t sign = text.find('=');
  const std::string key = text.substr(0, sign);
  if (std::ranges::count(settingsKeys, key) == 0) {
    throw WrongSetting(key + " is no setting" +
                       didYouMeanOneOf(key, {std::begin(settingsKeys), std::end(settingsKeys)}));
  }
  if (sign == std::string::npos) throw WrongSetting(key + " has no value; expected KEY=VALUE");
  return {key, valueFor(key, text.substr(sign + 1))};
}

ModeChoice parseMode(const std::string& text) {
  const std::string& group = modeWords().back();
  if (text == group) throw WrongSetting("group= names no group; expected a name or a record ID");
  if (text.starts_with(group)) return {0, text.substr(group.size())};
  const auto word = std::ranges::find(modeWords(), text);
  const auto index = static_cast<std::size_t>(word - modeWords().begin());
  if (index < std::size(modeValues)) return {modeValues[index], ""};
  throw WrongSetting(text + " is no mode" + didYouMeanOneOf(text, modeWords()));
}

const Lines& modeWords() {
  static const Lines words = {"everyone", "nobody", "favourites", "contacts", "group="};
  return words;
}

void change(simulator::Device& phone, const std::vector<Setting>& settings) {
  for (const auto& [key, value] : settings) {
    if (key == modeKey) refuseNoMode(phone, std::get<std::int64_t>(value));
    phone.preferences.set(simulator::settingsDomain, key, value);
  }
}

void change(simulator::Device& phone, const ModeChoice& mode) {
  const std::int64_t value = mode.group.empty() ? mode.value : findGroup(phone, mode.group);
  phone.preferences.set(simulator::settingsDomain, modeKey, value);
}

std::string settingsFile(const simulator::Device& phone) {
  const auto stored = phone.preferences.domain(simulator::settingsDomain);
  const auto none = simulator::own(simulator::makeDictionary());
  const auto bytes = simulator::writePropertyList(stored ? stored.get() : none.get(),
                                                  simulator::PropertyListForm::binary);
  return {bytes.begin(), bytes.end()};
}

}  // namespace home_screen
