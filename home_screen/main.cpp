// hushlane-sim: the simulated phone's home screen, for people. Loads the library as the phone's
// loader does, and never links it.
//
// Exit status: 0 as expected; 1 an expectation failed; 2 wrong usage or a wrong scenario; 3 the
// device directory or a file in it can't be read.

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <system_error>

#include "home_screen/demo.hpp"
#include "home_screen/scenario/player.hpp"
#include "home_screen/session/scratch_phone.hpp"
#include "home_screen/shell.hpp"
#include "home_screen/show/json.hpp"
#include "home_screen/show/terminal.hpp"
#include "home_screen/show/text.hpp"

namespace home_screen {
namespace {

struct Options {
  Choice choice;
  std::string scenario;
  std::string sender;
  std::string at;
  Situation situation;
  int days = 14;
  bool trace = false;
  bool json = false;
};

std::string defaultLibrary() {
  const char* const chosen = std::getenv("HUSHLANE_LIBRARY");
  if (chosen != nullptr && *chosen != '\0') return chosen;
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "libhushlane.so";
}

// ---- Commands ----------------------------------------------------------------------------------

std::vector<Statement> readScenarioFile(const std::string& file, People people) {
  if (file == "-") return readScenario(std::cin, "standard input", std::move(people));
  std::error_code ignored;
  if (std::filesystem::is_directory(file, ignored)) {
    throw ScenarioError(file + ": is a directory; expected a scenario file");
  }
  std::ifstream stream(file);
  if (!stream) {
    throw ScenarioError(file + ": " + std::generic_category().message(errno) +
                        "; expected a scenario file");
  }
  return readScenario(stream, file, std::move(people));
}

int playFile(Session& session, const Options& options) {
  if (options.trace) session.keepLogging();
  const auto scenario = readScenarioFile(options.scenario, peopleOf(session));
  return play(scenario, session, [&options](const Outcome& outcome) {
    options.json ? showJson(outcome) : showText(outcome, options.trace);
    complainAboutFailure(outcome, options.scenario == "-" ? "standard input" : options.scenario);
  });
}

// ---- Questions ---------------------------------------------------------------------------------

enum Taken : unsigned { sender = 1, days = 2, doNotDisturb = 4, json = 8 };

struct Question {
  const char* name;
  const char* help;
  unsigned takes;
  void (*answer)(Session&, const Options&);
};

constexpr Question questions[] = {
    {"explain", "why a message is presented or held back", sender | doNotDisturb | json,
     [](Session& session, const Options& options) {
       const Explanation explanation = askToExplain(session, options.sender);
       options.json ? showJson(explanation) : showText(explanation);
     }},
    {"who", "who would get through", doNotDisturb,
     [](Session& session, const Options&) { showText(askWho(session)); }},
    {"calendar", "when Do Not Disturb comes and goes", days,
     [](Session& session, const Options& options) {
       showText(askCalendar(session, options.days));
     }},
};

// ---- The command line --------------------------------------------------------------------------

void addPhone(CLI::App& command, Options& options) {
  command.add_option("--device", options.choice.phone, "a copy of this phone; else an empty phone")
      ->type_name("DIR");
}

void addScenarioOptions(CLI::App& command, Options& options) {
  addPhone(command, options);
  command.add_flag("--trace", options.trace, "keeps debug logging on and shows the log");
  command.footer(describeCommands());
}

void addMoment(CLI::App& command, Options& options) {
  command.add_option("--at", options.at, "the phone's local time; else 2026-11-21 20:00 UTC")
      ->type_name("WHEN")
      ->check([](const std::string& text) {
        return parseLocalTime(text) ? ""
                                    : text + " is no local time; expected \"YYYY-MM-DD HH:MM\"";
      });
  command
      .add_option("--time-zone", options.situation.timeZone, "the phone's time zone; else Etc/UTC")
      ->type_name("NAME")
      ->check([](const std::string& name) {
        return isTimeZone(name) ? ""
                                : name + " is no time zone; expected one such as Europe/Berlin";
      });
}

void addQuestionOptions(CLI::App& command, unsigned takes, Options& options) {
  if ((takes & sender) != 0) {
    command.add_option("SENDER", options.sender, "a number or an address")
        ->required()
        ->type_name("");
  }
  if ((takes & days) != 0) {
    command.add_option("--next", options.days, "so many days, today first; else 14")
        ->type_name("DAYS")
        ->check(CLI::Range(1, 366));
  }
  addPhone(command, options);
  addMoment(command, options);
  if ((takes & doNotDisturb) != 0) {
    command.add_flag("--dnd", options.situation.doNotDisturb, "Do Not Disturb switched on by hand");
  }
  if ((takes & json) != 0) command.add_flag("--json", options.json, "one object");
}

int run(int argc, char** argv) {
  Options options;
  options.choice.library = defaultLibrary();
  int status = asExpected;

  CLI::App app("A phone on a desk: shows which messages get through while Do Not Disturb is on.");
  app.name("hushlane-sim");
  app.set_version_flag("--version", "hushlane-sim " HUSHLANE_VERSION);
  app.add_option("--library", options.choice.library,
                 "the library; else $HUSHLANE_LIBRARY, else its own")
      ->type_name("FILE");
  app.require_subcommand(1);
  app.fallthrough();

  // A command of the program: what it does in a session on the chosen phone.
  const auto add = [&](const char* name, const char* help,
                       const std::function<void(Session&)>& use) {
    CLI::App* command = app.add_subcommand(name, help);
    command->callback([&options, use] {
      onScratchPhone(options.choice, &complain, [&use](Session& session) {
        session.showProgress = [line = ProgressLine()](const Progress& progress) mutable {
          line.show(progress);
        };
        use(session);
      });
    });
    return command;
  };

  add("demo", "a built-in phone and evening", [&](Session& session) {
    if (runDemo(session) > 0) status = expectationFailed;
  });

  CLI::App* playing = add("play", "plays a scenario file", [&](Session& session) {
    if (playFile(session, options) > 0) status = expectationFailed;
  });
  playing->add_option("SCENARIO", options.scenario, "the file; - is standard input")
      ->required()
      ->type_name("");
  addScenarioOptions(*playing, options);
  playing->add_flag("--json", options.json, "one object a line for each command");

  for (const Question& question : questions) {
    CLI::App* command = add(question.name, question.help, [&](Session& session) {
      options.situation.time = parseLocalTime(options.at);
      session.start(options.situation);
      question.answer(session, options);
    });
    addQuestionOptions(*command, question.takes, options);
  }

  CLI::App* shell = add("shell", "the scenario language at a prompt",
                        [&](Session& session) { status = runShell(session, options.trace); });
  addScenarioOptions(*shell, options);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? asExpected : wrongUsage;
  }
  return status;
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
  } catch (const PhoneError& error) {
    complain(error.what());
    return unreadableDevice;
  } catch (const std::exception& error) {
    complain(error.what());
    return wrongUsage;
  }
}
