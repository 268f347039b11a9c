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

#include "home_screen/demo.hpp"
#include "home_screen/player.hpp"
#include "home_screen/report.hpp"
#include "home_screen/scratch_phone.hpp"
#include "simulator/device.hpp"

namespace home_screen {
namespace {

enum ExitStatus { asExpected = 0, expectationFailed = 1, wrongUsage = 2, unreadableDevice = 3 };

struct Options {
  std::filesystem::path library;
  std::string scenario;
  std::optional<std::filesystem::path> device;
  bool trace = false;
  bool json = false;
};

std::filesystem::path defaultLibrary() {
  if (const char* chosen = std::getenv("HUSHLANE_LIBRARY")) return chosen;
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "libhushlane.so";
}

std::string describeCommands() {
  std::string text = "The scenario language, one command a line, # starts a comment:\n";
  for (const Command& command : commandTable()) {
    text += fmt::format("  {:<39}{}\n", command.usage, command.help);
  }
  return text;
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

int runPlay(const Options& options) {
  const ScratchPhone scratch(options.device);
  try {
    simulator::Device device(scratch.root());
    device.check();
    const std::vector<Statement> scenario = readScenarioFile(options.scenario, peopleOf(device));

    Player player(device, options.library, options.trace);
    const int failures = play(scenario, player, [&options](const Outcome& outcome) {
      options.json ? reportJson(outcome) : reportText(outcome, options.trace);
      if (outcome.failure) complainAboutFailure(outcome, displayName(options.scenario));
    });
    return failures == 0 ? asExpected : expectationFailed;
  } catch (const simulator::DeviceError& error) {
    complain(scratch.namingOriginal(error.what()));
    return unreadableDevice;
  }
}

int run(int argc, char** argv) {
  Options options;
  options.library = defaultLibrary();

  CLI::App app("A phone on a desk: shows which messages get through while Do Not Disturb is on.");
  app.name("hushlane-sim");
  app.set_version_flag("--version", "hushlane-sim " HUSHLANE_VERSION);
  app.add_option("--library", options.library,
                 "the library to load; else the environment's HUSHLANE_LIBRARY, else "
                 "libhushlane.so beside this program")
      ->type_name("FILE");
  app.require_subcommand(1);
  app.fallthrough();

  const CLI::App* demo = app.add_subcommand("demo", "a built-in phone and evening");
  CLI::App* playing = app.add_subcommand("play", "plays a scenario file");
  playing->add_option("SCENARIO", options.scenario, "the file; - is standard input")
      ->required()
      ->type_name("");
  playing->add_option("--device", options.device, "plays on a copy of this phone")
      ->type_name("DIR");
  playing->add_flag("--trace", options.trace, "keeps debug logging on and shows the log");
  playing->add_flag("--json", options.json, "one object a line for each command");
  playing->footer(describeCommands());

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? asExpected : wrongUsage;
  }

  if (demo->parsed()) {
    return runDemo(options.library) == 0 ? asExpected : expectationFailed;
  }
  return runPlay(options);
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
