// hushlane-sim: the simulated phone's home screen, for people. Loads the library as the phone's
// loader does, and never links it.
//
// Exit status: 0 as expected; 1 an expectation failed; 2 wrong usage or a wrong scenario; 3 the
// device directory or a file in it can't be read.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <system_error>

#include "home_screen/calendar.hpp"
#include "home_screen/demo.hpp"
#include "home_screen/explain.hpp"
#include "home_screen/player.hpp"
#include "home_screen/report.hpp"
#include "home_screen/scratch_phone.hpp"
#include "home_screen/shell.hpp"
#include "home_screen/who.hpp"
#include "simulator/device.hpp"

namespace home_screen {
namespace {

enum ExitStatus { asExpected = 0, expectationFailed = 1, wrongUsage = 2, unreadableDevice = 3 };

struct Options {
  std::filesystem::path library;
  std::string scenario;
  std::string sender;
  std::optional<std::filesystem::path> device;
  std::string at;
  std::string timeZone;
  bool doNotDisturb = false;
  int days = 14;
  bool trace = false;
  bool json = false;
};

std::filesystem::path defaultLibrary() {
  if (const char* chosen = std::getenv("HUSHLANE_LIBRARY")) return chosen;
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "libhushlane.so";
}

std::string displayName(const std::string& scenario) {
  return scenario == "-" ? "standard input" : scenario;
}

std::vector<Statement> readScenarioFile(const std::string& file, KnownPeople people) {
  if (file == "-") return readScenario(std::cin, displayName(file), std::move(people));
  std::error_code ignored;
  if (std::filesystem::is_directory(file, ignored)) {
    throw ScenarioError(fmt::format("{}: is a directory; expected a scenario file", file));
  }
  std::ifstream stream(file);
  if (!stream) {
    throw ScenarioError(fmt::format("{}: {}; expected a scenario file", file,
                                    std::generic_category().message(errno)));
  }
  return readScenario(stream, file, std::move(people));
}

// Runs `use(player)` on a scratch copy of the chosen phone; its result is the exit status.
template <class Use>
int onPhone(const Options& options, Use use) {
  const ScratchPhone scratch(options.device);
  try {
    simulator::Device device(scratch.root());
    device.check();
    for (const std::string& left : device.bulletinBoard.leftOut()) {
      complain(scratch.namingOriginal(left));
    }
    Player player(device, options.library, options.trace);
    return use(player);
  } catch (const simulator::DeviceError& error) {
    complain(scratch.namingOriginal(error.what()));
    return unreadableDevice;
  }
}

int runPlay(const Options& options) {
  return onPhone(options, [&options](Player& player) {
    const auto scenario = readScenarioFile(options.scenario, peopleOf(player.device()));
    const int failures = play(scenario, player, [&options](const Outcome& outcome) {
      options.json ? reportJson(outcome) : reportText(outcome, options.trace);
      if (outcome.failure) complainAboutFailure(outcome, displayName(options.scenario));
    });
    return failures == 0 ? asExpected : expectationFailed;
  });
}

int runInShell(const Options& options) {
  return onPhone(options, [&options](Player& player) {
    switch (runShell(player, options.trace)) {
      case ShellResult::wrongLine:
        return wrongUsage;
      case ShellResult::expectationFailed:
        return expectationFailed;
      case ShellResult::asExpected:
        break;
    }
    return asExpected;
  });
}

// Brings the phone to the chosen moment, with the library in it, and asks.
template <class Ask>
int askPhone(const Options& options, Ask ask) {
  return onPhone(options, [&](Player& player) {
    simulator::Device& device = player.device();
    if (!options.timeZone.empty()) device.clock.setTimeZone(options.timeZone);
    player.start();
    device.bulletinBoard.refresh();
    if (const auto time = parseLocalTime(options.at)) device.setLocalTime(*time);
    if (options.doNotDisturb) device.bulletinBoard.setManualDoNotDisturb(true);
    ask(player);
    return asExpected;
  });
}

int runExplain(const Options& options) {
  return askPhone(options, [&options](Player& player) {
    Explainer explainer(player);
    const Explanation explanation = explainer.explain(options.sender);
    const auto changes = explainer.changesFor(options.sender);
    const auto show = options.json ? &showExplanationAsJson : &showExplanation;
    show(explanation, changes, player.device().clock);
  });
}

void addMoment(CLI::App& command, Options& options) {
  command.add_option("--at", options.at, "the phone's local time; else 2026-11-21 20:00 UTC")
      ->type_name("WHEN")
      ->check([](const std::string& text) {
        return parseLocalTime(text)
                   ? std::string()
                   : fmt::format("{} is no local time; expected \"YYYY-MM-DD HH:MM\"", text);
      });
  command.add_option("--time-zone", options.timeZone, "the phone's time zone; else Etc/UTC")
      ->type_name("NAME")
      ->check([](const std::string& name) {
        return isTimeZone(name) ? std::string()
                                : name + " is no time zone; expected one such as Europe/Berlin";
      });
}

void addDoNotDisturb(CLI::App& command, Options& options) {
  command.add_flag("--dnd", options.doNotDisturb, "Do Not Disturb switched on by hand");
}

int run(int argc, char** argv) {
  Options options;
  options.library = defaultLibrary();

  CLI::App app("A phone on a desk: shows which messages get through while Do Not Disturb is on.");
  app.name("hushlane-sim");
  app.set_version_flag("--version", "hushlane-sim " HUSHLANE_VERSION);
  app.add_option("--library", options.library, "the library; else $HUSHLANE_LIBRARY, else its own")
      ->type_name("FILE");
  app.require_subcommand(1);
  app.fallthrough();

  const CLI::App* demo = app.add_subcommand("demo", "a built-in phone and evening");
  CLI::App* playing = app.add_subcommand("play", "plays a scenario file");
  playing->add_option("SCENARIO", options.scenario, "the file; - is standard input")
      ->required()
      ->type_name("");
  CLI::App* explaining = app.add_subcommand("explain", "why a message is presented or held back");
  explaining->add_option("SENDER", options.sender, "a number or an address")
      ->required()
      ->type_name("");
  CLI::App* asking = app.add_subcommand("who", "who would get through");
  CLI::App* calendar = app.add_subcommand("calendar", "when Do Not Disturb comes and goes");
  calendar->add_option("--next", options.days, "so many days, today first; else 14")
      ->type_name("DAYS")
      ->check(CLI::Range(1, 366));
  CLI::App* shell = app.add_subcommand("shell", "the scenario language at a prompt");

  for (CLI::App* command : {playing, explaining, asking, calendar, shell}) {
    command->add_option("--device", options.device, "a copy of this phone; else an empty phone")
        ->type_name("DIR");
  }
  for (CLI::App* command : {explaining, asking, calendar}) addMoment(*command, options);
  for (CLI::App* command : {explaining, asking}) addDoNotDisturb(*command, options);
  for (CLI::App* command : {playing, shell}) {
    command->add_flag("--trace", options.trace, "keeps debug logging on and shows the log");
    command->footer(describeCommands());
  }
  playing->add_flag("--json", options.json, "one object a line for each command");
  explaining->add_flag("--json", options.json, "one object");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? asExpected : wrongUsage;
  }

  if (demo->parsed()) {
    return runDemo(options.library) == 0 ? asExpected : expectationFailed;
  }
  if (explaining->parsed()) return runExplain(options);
  if (asking->parsed()) return askPhone(options, &showWho);
  if (calendar->parsed()) {
    return askPhone(options, [&options](Player& player) { showCalendar(player, options.days); });
  }
  return shell->parsed() ? runInShell(options) : runPlay(options);
}

}  // namespace
}  // namespace home_screen

int main(int argc, char** argv) {
  using namespace home_screen;
  try {
    const int status = run(argc, argv);
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
    complain("standard output: " + std::generic_category().message(errno));
    return wrongUsage;
  } catch (const simulator::DeviceError& error) {
    complain(error.what());
    return unreadableDevice;
  } catch (const std::exception& error) {
    complain(error.what());
    return wrongUsage;
  }
}
