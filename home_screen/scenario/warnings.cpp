#include "home_screen/scenario/warnings.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <iterator>
#include <optional>

#include "home_screen/session/nearest.hpp"
#include "simulator/frameworks/preferences.hpp"

namespace home_screen {
namespace {

const std::string ownDomain = std::string(simulator::settingsDomain) + ".";

// Of all names, with or without the library's domain.
std::string shortName(const std::string& notification) {
  return notification.starts_with(ownDomain) ? notification.substr(ownDomain.size()) : notification;
}

bool changesSettings(const Statement& statement) {
  const std::string_view name = statement.command->name;
  return name == "set" || name == "unset" || name == "clear";
}

bool loadsSettings(const Statement& statement) {
  if (statement.command->name != "post") return false;
  const std::string name = shortName(statement.arguments.front().text);
  return name == "reloadsettings" || name == "weekdaysettingschanged";
}

std::optional<std::string> warningAbout(const Statement& statement) {
  if (statement.arguments.empty()) return std::nullopt;
  const std::string& word = statement.arguments.front().text;
  const bool isPost = statement.command->name == "post";
  if (!isPost && !changesSettings(statement)) return std::nullopt;
  const Lines known = isPost ? Lines(std::begin(ownNotifications), std::end(ownNotifications))
                             : Lines(std::begin(settingsKeys), std::end(settingsKeys));
  const std::string name = isPost ? shortName(word) : word;
  if (std::ranges::count(known, name) > 0) return std::nullopt;
  return fmt::format("{} \"{}\"{}", isPost ? "nobody observes" : "nothing reads the preference",
                     word, didYouMean(name, known));
}

}  // namespace

Lines warningsAbout(const std::vector<Statement>& scenario, const std::string& file) {
  Lines warnings;
  const auto warn = [&](const Statement& statement, const std::string& text) {
    warnings.push_back(fmt::format("{}:{}: warning: {}", file, statement.line, text));
  };
  const Statement* unloaded = nullptr;  // the first change that no load has followed
  for (const Statement& statement : scenario) {
    if (const auto warning = warningAbout(statement)) warn(statement, *warning);
    if (changesSettings(statement) && unloaded == nullptr) unloaded = &statement;
    if (loadsSettings(statement)) unloaded = nullptr;
  }
  if (unloaded != nullptr) {
    warn(*unloaded, fmt::format("\"{}\" is never loaded; \"post reloadsettings\" would do that",
                                unloaded->text));
  }
  return warnings;
}

}  // namespace home_screen
