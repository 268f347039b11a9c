// hushlane-sim: the simulated phone's home screen, for people. Loads the library as the phone's
// loader does, and never links it.
//
// Exit status: 0 as expected; 1 an expectation failed; 2 wrong usage, a wrong scenario, or no
// memory, no temporary directory or no output; 3 the device directory or a file in it can't be
// read. What a signal ends, ends as one that the signal killed: 128 and its number, as a shell sees
// it.
//
// Nothing is left behind: session/worker.hpp says how.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <new>
#include <sstream>
#include <string>
#include <system_error>

#include "home_screen/ask/settings_page.hpp"
#include "home_screen/built_in.hpp"
#include "home_screen/demo.hpp"
#include "home_screen/scenario/player.hpp"
#include "home_screen/session/saved_phone.hpp"
#include "home_screen/session/scratch_phone.hpp"
#include "home_screen/session/worker.hpp"
#include "home_screen/shell.hpp"
#include "home_screen/show/json.hpp"
#include "home_screen/show/settings_page.hpp"
#include "home_screen/show/terminal.hpp"
#include "home_screen/show/text.hpp"

namespace home_screen {
namespace {

struct Options {
  Choice choice;
  std::string scenario;
  std::string folder;
  std::string sender;
  std::string at;
  Situation situation;
  int days = 14;
  bool trace = false;
  bool json = false;
};

std::string fileBesideProgram(const char* name) {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

std::string defaultLibrary() {
  const char* const chosen = std::getenv("HUSHLANE_LIBRARY");
  if (chosen != nullptr && *chosen != '\0') return chosen;
  return fileBesideProgram("libhushlane.so");
}

// ---- Endings -----------------------------------------------------------------------------------

// What is being done, for complaints that don't say it themselves; and one that is made while there
// is memory for it.
std::string activity = "hushlane-sim";
std::string outOfMemory = activity + ": out of memory\n";

ExitStatus complainAboutOutput(int problem) {
  complain("standard output: " + std::generic_category().message(problem));
  return wrongUsage;
}

// The result of `work`, or of the exception that ends it.
int statusOf(const std::function<int()>& work) try {
  const int status = work();
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  return complainAboutOutput(errno);
} catch (const PhoneError& error) {
  complain(error.what());
  return unreadableDevice;
} catch (const std::bad_alloc&) {
  std::fflush(stdout);
  std::fputs(outOfMemory.c_str(), stderr);
  return wrongUsage;
} catch (const std::system_error& error) {
  if (std::ferror(stdout) != 0) return complainAboutOutput(error.code().value());
  complain(activity + ": " + error.what());
  return wrongUsage;
} catch (const std::exception& error) {
  complain(error.what());
  return wrongUsage;
}

// Where an exception can't pass: a function of the platform that never raises, a destructor, the
// start of a thread. To a phone's process the want of memory is the end as well.
[[noreturn]] void endAtException() {
  if (const std::exception_ptr exception = std::current_exception()) {
    std::_Exit(statusOf([&]() -> int { std::rethrow_exception(exception); }));
  }
  if (std::uncaught_exceptions() == 0) std::abort();
  complain(activity + ": a failure where none may pass, such as no memory");
  std::_Exit(wrongUsage);
}

// ---- Commands ----------------------------------------------------------------------------------

std::string nameOf(const std::string& scenario) {
  return scenario == "-" ? "standard input" : scenario;
}

std::vector<Statement> readScenarioFile(const std::string& file, People people) {
  if (file == "-") {
    auto scenario = readScenario(std::cin, "standard input", std::move(people));
    refuseBrokenInput();
    return scenario;
  }
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

ExitStatus playFile(Session& session, const Options& options) {
  if (options.trace) session.keepLogging();
  const auto scenario = readScenarioFile(options.scenario, peopleOf(session));
  const int failures = play(scenario, session, [&options](const Outcome& outcome) {
    options.json ? showJson(outcome) : showText(outcome, options.trace);
    complainAboutFailure(outcome, nameOf(options.scenario));
  });
  return failures > 0 ? expectationFailed : asExpected;
}

// Without a scenario, the phone of the examples.
ExitStatus makePhone(Session& session, const Options& options) {
  std::istringstream builtIn(phoneScenario);
  const auto scenario = options.scenario.empty() ? readScenario(builtIn, "phone.scenario", {})
                                                 : readScenarioFile(options.scenario, {});
  const int failures = play(scenario, session, [&options](const Outcome& outcome) {
    complainAboutFailure(outcome, nameOf(options.scenario));
  });
  if (failures > 0) return expectationFailed;
  showSaved(savePhone(session, options.folder));
  return asExpected;
}

// ---- Questions ---------------------------------------------------------------------------------

enum Taken : unsigned { sender = 1, days = 2, doNotDisturb = 4, json = 8, moment = 16 };

struct Question {
  const char* name;
  const char* help;
  unsigned takes;
  void (*answer)(Session&, const Options&);
};

constexpr Question questions[] = {
    {"explain", "why a message is presented or held back", sender | doNotDisturb | json | moment,
     [](Session& session, const Options& options) {
       const Explanation explanation = askToExplain(session, options.sender);
       options.json ? showJson(explanation) : showText(explanation);
     }},
    {"who", "who would get through", doNotDisturb | moment,
     [](Session& session, const Options&) { showText(askWho(session)); }},
    {"calendar", "when Do Not Disturb comes and goes", days | moment,
     [](Session& session, const Options& options) {
       showText(askCalendar(session, options.days));
     }},
    {"settings", "the page of the phone's Settings app", 0,
     [](Session& session, const Options&) {
       showText(openSettingsPage(session.device(), fileBesideProgram("libhushlane-pane.so"),
                                 settingsDescription()));
     }},
};

// ---- The command line --------------------------------------------------------------------------

void addPhone(CLI::App& command, Options& options) {
  command
      .add_option("--device", options.choice.phone,
                  "a copy of this phone or backup; else an empty one")
      ->type_name("DIR");
  command
      .add_option_function<std::string>(
          "--schedule",
          [&options](const std::string& text) {
            options.choice.schedule = parseSchedule(text);
            if (options.choice.schedule) return;
            throw CLI::ValidationError(
                "--schedule", text + " is no schedule; expected such as 22:00-07:00, or off");
          },
          "instead of the stored: 22:00-07:00[,...], or off")
      ->type_name("PERIODS")
      ->join(',');
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
  if ((takes & moment) != 0) addMoment(command, options);
  if ((takes & doNotDisturb) != 0) {
    command.add_flag("--dnd", options.situation.doNotDisturb, "Do Not Disturb switched on by hand");
  }
  if ((takes & json) != 0) command.add_flag("--json", options.json, "one object");
}

using Use = std::function<ExitStatus(Session&)>;

// Reads the command line, and uses a scratch phone as it says.
int run(int argc, char** argv) {
  Options options;
  options.choice.library = defaultLibrary();
  Use use;

  CLI::App app("A phone on a desk: shows which messages get through while Do Not Disturb is on.");
  app.name("hushlane-sim");
  app.set_version_flag("--version", "hushlane-sim " HUSHLANE_VERSION);
  app.add_option("--library", options.choice.library,
                 "the library; else $HUSHLANE_LIBRARY, else its own")
      ->type_name("FILE");
  app.require_subcommand(1);
  app.fallthrough();

  // A command of the program: what it does in a session on the chosen phone.
  const auto add = [&](const char* name, const char* help, const Use& chosen) {
    CLI::App* command = app.add_subcommand(name, help);
    command->callback([&use, name, chosen] {
      activity = name;
      outOfMemory = activity + ": out of memory\n";
      use = chosen;
    });
    return command;
  };

  add("demo", "a built-in phone and evening",
      [](Session& session) { return runDemo(session) > 0 ? expectationFailed : asExpected; });

  CLI::App* playing = add("play", "plays a scenario file",
                          [&](Session& session) { return playFile(session, options); });
  playing->add_option("SCENARIO", options.scenario, "the file; - is standard input")
      ->required()
      ->type_name("");
  addScenarioOptions(*playing, options);
  playing->add_flag("--json", options.json, "one object a line for each command");

  CLI::App* making = add("new", "writes a phone to start from",
                         [&](Session& session) { return makePhone(session, options); });
  making->add_option("DIR", options.folder, "a new folder, or an empty one")
      ->required()
      ->type_name("");
  making
      ->add_option("SCENARIO", options.scenario, "makes it, - from standard input; else an example")
      ->type_name("");

  for (const Question& question : questions) {
    CLI::App* command = add(question.name, question.help, [&](Session& session) {
      options.situation.time = parseLocalTime(options.at);
      session.start(options.situation);
      question.answer(session, options);
      return asExpected;
    });
    addQuestionOptions(*command, question.takes, options);
  }

  CLI::App* shell = add("shell", "the scenario language at a prompt",
                        [&](Session& session) { return runShell(session, options.trace); });
  addScenarioOptions(*shell, options);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? asExpected : wrongUsage;
  }
  return inScratchFolder(options.choice.phone, [&](const std::filesystem::path& folder) {
    std::set_terminate(&endAtException);
    return statusOf([&] {
      return onScratchPhone(options.choice, folder, &complain, [&](Session& session) {
        session.showProgress = [line = ProgressLine()](const Progress& progress) mutable {
          line.show(progress);
        };
        return use(session);
      });
    });
  });
}

// ---- The process -------------------------------------------------------------------------------

// A closed stream would be the next file that is opened, and take what is meant for people. In its
// place comes one that can be neither written nor read, so that either is a failure.
void occupyClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(stream, F_GETFD) >= 0) continue;
    ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

}  // namespace
}  // namespace home_screen

int main(int argc, char** argv) {
  using namespace home_screen;
  occupyClosedStreams();
  return statusOf([&] { return run(argc, argv); });
}
