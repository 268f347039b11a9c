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
#include <algorithm>
#include <array>
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
#include "home_screen/command_line.hpp"
#include "home_screen/demo.hpp"
#include "home_screen/scenario/player.hpp"
#include "home_screen/scenario/warnings.hpp"
#include "home_screen/session/nearest.hpp"
#include "home_screen/session/saved_phone.hpp"
#include "home_screen/session/scratch_folder.hpp"
#include "home_screen/session/scratch_phone.hpp"
#include "home_screen/session/whole_file.hpp"
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
  Situation situation;
  std::string output;
  int days = 14;
  bool trace = false;
  bool json = false;
  bool atPrompt = false;  // asked in the shell
};

// One of our libraries: beside the program, as they are built, or where they are installed.
std::string ownLibrary(const char* name) {
  const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  if (std::filesystem::exists(folder / name)) return folder / name;
  return folder / HUSHLANE_LIBRARIES_FROM_PROGRAMS / name;
}

std::string defaultLibrary() {
  const char* const chosen = std::getenv("HUSHLANE_LIBRARY");
  if (chosen != nullptr && *chosen != '\0') return chosen;
  return ownLibrary("libhushlane.so");
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
} catch (const ScenarioError& error) {
  for (const std::string& complaint : error.complaints()) complain(complaint);
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
  const std::string file = nameOf(options.scenario);
  for (const std::string& warning : warningsAbout(scenario, file)) complain(warning);
  const int failures = play(scenario, session, [&](const Outcome& outcome) {
    options.json ? showJson(outcome) : showText(outcome, options.trace);
    complainAboutFailure(outcome, file);
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

void writeSettings(const Session& session, const Options& options) {
  const std::string content = settingsFile(session.device());
  if (options.output == "-") {
    if (::isatty(STDOUT_FILENO) != 0) {
      throw std::runtime_error("standard output: is a terminal; expected a file or a pipe");
    }
    std::fwrite(content.data(), 1, content.size(), stdout);
    return;
  }
  const std::filesystem::path& original = session.original.folder;
  if (!original.empty() && liesInside(options.output, original)) {
    throw std::runtime_error(options.output + ": lies inside " + original.string() +
                             ", where nothing is written");
  }
  replaceFile(options.output, content);
  if (std::ranges::count(session.original.lacking, PhonePart::settings) > 0) {
    complain(options.output + ": holds only what was set here; not in this backup: " +
             describe(PhonePart::settings));
  }
}

enum Taken : unsigned {
  sender = 1,
  days = 2,
  moment = 4,
  doNotDisturb = 8,
  json = 16,
  output = 32
};

struct Question {
  const char* name;
  const char* help;
  unsigned takes;
  void (*answer)(Session&, const Options&);
  Examples examples;
};

template <class Answer>
void show(const Answer& answer, const Options& options) {
  options.json ? showJson(answer) : showText(answer);
}

constexpr Question questions[] = {
    {"explain",
     "why a message is presented or held back",
     sender | moment | doNotDisturb | json,
     [](Session& session, const Options& options) {
       show(askToExplain(session, options.sender), options);
     },
     {"hushlane-sim explain +15550100163 --device examples/phone --at 2026-11-22T01:00 "
      "--time-zone Etc/UTC",
      "hushlane-sim explain mara@quill.example --device examples/phone --at 23:30 "
      "--time-zone Etc/UTC --mode contacts"}},
    {"who",
     "who would get through",
     moment | doNotDisturb | json,
     [](Session& session, const Options& options) {
       const Who who = askWho(session);
       options.json ? showJson(who) : showText(who, options.atPrompt);
     },
     {"hushlane-sim who --device examples/phone --at 23:30 --time-zone Europe/Berlin",
      "hushlane-sim who --device examples/phone --at now --time-zone Etc/UTC --dnd --mode "
      "group=Clinic"}},
    {"calendar",
     "when Do Not Disturb comes and goes",
     moment | days | json,
     [](Session& session, const Options& options) {
       show(askCalendar(session, options.days), options);
     },
     {"hushlane-sim calendar --device examples/phone --at now --time-zone Asia/Tokyo --next 7",
      "hushlane-sim calendar --device examples/phone --at 2026-10-24 --time-zone Europe/Berlin"}},
    {"groups",
     "the groups that can be let through",
     json,
     [](Session& session, const Options& options) { show(askGroups(session), options); },
     {"hushlane-sim groups --device examples/phone",
      "hushlane-sim groups --device examples/phone --json"}},
    {"digits",
     "what each number of compared digits would do",
     json,
     [](Session& session, const Options& options) { show(askDigits(session), options); },
     {"hushlane-sim digits --device examples/phone",
      "hushlane-sim digits --device examples/phone --mode group=Clinic"}},
    {"settings",
     "the page of the phone's Settings app, or its file",
     output,
     [](Session& session, const Options& options) {
       if (!options.output.empty()) return writeSettings(session, options);
       showText(openSettingsPage(session.device(), ownLibrary("libhushlane-pane.so"),
                                 settingsDescription()));
     },
     {"hushlane-sim settings --device examples/phone",
      "hushlane-sim settings --mode everyone -o org.mernwick.hushlane.plist"}},
};

// ---- The command line --------------------------------------------------------------------------

// An option whose text is read at once; `read` throws std::runtime_error for a wrong one.
CLI::Option* addRead(CLI::App& command, const std::string& name, const char* valueName,
                     const char* help, const std::function<void(const std::string&)>& read) {
  const auto readAll = [name, read](const CLI::results_t& texts) {
    try {
      for (const std::string& text : texts) read(text);
      return true;
    } catch (const std::runtime_error& error) {
      throw CLI::ValidationError(name, error.what());
    }
  };
  return command.add_option(name, readAll, help)->type_name(valueName);
}

void addPhone(CLI::App& command, Options& options) {
  command
      .add_option("--device", options.choice.phone,
                  "a copy of this phone or backup; else an empty one")
      ->type_name(value::folder);
  addRead(
      command, "--schedule", "PERIODS", "instead of the stored: 22:00-07:00[,...], or off",
      [&options](const std::string& text) {
        options.choice.schedule = parseSchedule(text);
        if (options.choice.schedule) return;
        throw std::runtime_error(text + " is no schedule; expected such as 22:00-07:00, or off");
      })
      ->join(',');
}

void addMoment(CLI::App& command, Options& options) {
  Situation& situation = options.situation;
  addRead(command, "--at", "WHEN",
          "now, 23:30, 2026-11-22 or both, on its own clock;\n"
          "else now, and without --device 2026-11-21 20:00",
          [&situation](const std::string& text) {
            situation.when = parseWhen(text);
            if (situation.when) return;
            throw std::runtime_error(
                text + " is no time; expected now, 23:30, 2026-11-22 or \"2026-11-22 23:30\"");
          });
  addRead(
      command, "--time-zone", value::timeZone,
      "the phone's, such as Europe/Berlin;\nelse the machine's, and without --device Etc/UTC",
      [&situation](const std::string& name) {
        situation.timeZone = name;
        if (isTimeZone(name)) return;
        const std::string hint = didYouMean(name, timeZones());
        throw std::runtime_error(name + " is no time zone" +
                                 (hint.empty() ? "; expected one such as Europe/Berlin" : hint));
      });
}

void addWhatIf(CLI::App& command, Options& options) {
  Situation& situation = options.situation;
  addRead(
      command, "--set", value::setting, "what if the setting were that; may come often",
      [&situation](const std::string& text) { situation.settings.push_back(parseSetting(text)); })
      ->take_all();
  addRead(command, "--mode", value::mode,
          "what if they got through: everyone, nobody,\n"
          "favourites, contacts or group=NAME-OR-ID",
          [&situation](const std::string& text) { situation.mode = parseMode(text); });
}

void addScenarioOptions(CLI::App& command, Options& options) {
  addPhone(command, options);
  command.add_flag("--trace", options.trace, "keeps debug logging on and shows the log");
}

// Those that say what is asked, not of which phone.
void addAnswerOptions(CLI::App& command, unsigned takes, Options& options) {
  if ((takes & sender) != 0) {
    command.add_option("SENDER", options.sender, "a number or an address")
        ->required()
        ->type_name("");
  }
  if ((takes & days) != 0) {
    command.add_option("--next", options.days, "1 to 366 days, today first; else 14")
        ->type_name("DAYS")
        ->check(CLI::Range(1, 366).description(""));
  }
  if ((takes & output) != 0) {
    command
        .add_option("-o,--output", options.output,
                    "writes the file that the phone reads;\n- is standard output")
        ->type_name(value::file);
  }
  if ((takes & json) != 0) command.add_flag("--json", options.json, "one object");
}

void addSituation(CLI::App& command, unsigned takes, Options& options) {
  if ((takes & moment) != 0) addMoment(command, options);
  addWhatIf(command, options);
  if ((takes & doNotDisturb) != 0) {
    command.add_flag("--dnd", options.situation.doNotDisturb, "Do Not Disturb switched on by hand");
  }
}

// A phone of the user's own stands where the machine does; so does any that is asked about now.
void takeMachineTime(const Choice& choice, Situation& situation) {
  situation.machineTime = choice.phone || (situation.when && situation.when->isNow());
  if (!situation.machineTime || !situation.timeZone.empty()) return;
  if (const auto zone = machineTimeZone()) {
    situation.timeZone = *zone;
  } else {
    complain(
        "the machine's time zone has no name that can be told; Etc/UTC is taken, unless "
        "--time-zone says another");
  }
}

// `takes` as of the question.
void prepare(Session& session, unsigned takes, Options& options) {
  if ((takes & moment) != 0) takeMachineTime(options.choice, options.situation);
  session.prepare(options.situation);
}

// The questions as they can be asked in the shell: with the options that say what is asked.
std::vector<ShellQuestion> shellQuestions() {
  std::vector<ShellQuestion> all;
  for (const Question& question : questions) {
    const auto ask = [&question](Session& session, Lines words) {
      Options options;
      options.atPrompt = true;
      CLI::App command(question.help, question.name);
      command.set_help_flag("-h,--help", "this help");
      addAnswerOptions(command, question.takes, options);
      try {
        std::ranges::reverse(words);
        command.parse(std::move(words));
      } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) throw BadWords(describeMistake(command, error));
        command.exit(error);
        return;
      }
      question.answer(session, options);
    };
    all.push_back(
        {question.name, (question.takes & sender) != 0 ? "SENDER" : "", question.help, ask});
  }
  return all;
}

using Use = std::function<ExitStatus(Session&)>;

// What the command line says: a use of a phone, or help.
struct Chosen {
  Use use;
  std::function<std::string(const CLI::App&)> text;  // what is printed, without any phone
};

void addPhoneCommands(CLI::App& app, Options& options, Chosen& chosen) {
  // A command of the program: what it does in a session on the chosen phone.
  const auto add = [&](const char* name, const char* help, const Examples& examples,
                       const Use& use) -> CLI::App& {
    CLI::App* command = app.add_subcommand(name, help);
    addExamples(*command, examples);
    command->callback([&chosen, name, use] {
      activity = name;
      outOfMemory = activity + ": out of memory\n";
      chosen.use = use;
    });
    return *command;
  };

  add("demo", "a built-in phone and evening",
      {"hushlane-sim demo", "hushlane-sim demo --color never"},
      [](Session& session) { return runDemo(session) > 0 ? expectationFailed : asExpected; });

  CLI::App& playing = add("play", "plays a scenario file",
                          {"hushlane-sim play examples/group.scenario",
                           "echo 'message +15550100142' | hushlane-sim play - --trace"},
                          [&](Session& session) { return playFile(session, options); });
  playing.add_option("SCENARIO", options.scenario, "the file; - is standard input")
      ->required()
      ->type_name("");
  addScenarioOptions(playing, options);
  playing.add_flag("--json", options.json, "one object a line for each command");
  playing.footer(describeCommands() + "\n" + playing.get_footer());

  CLI::App& making =
      add("new", "writes a phone to start from",
          {"hushlane-sim new my-phone",
           "echo 'contact Mara phone +15550100142' | hushlane-sim new phone-of-mine -"},
          [&](Session& session) { return makePhone(session, options); });
  making.add_option("DIR", options.folder, "a new folder, or an empty one")
      ->required()
      ->type_name("");
  making
      .add_option("SCENARIO", options.scenario, "makes it, - from standard input; else an example")
      ->type_name("");

  for (const Question& question : questions) {
    CLI::App& command = add(question.name, question.help, question.examples, [&](Session& session) {
      prepare(session, question.takes, options);
      session.start();
      question.answer(session, options);
      return asExpected;
    });
    addAnswerOptions(command, question.takes, options);
    addPhone(command, options);
    addSituation(command, question.takes, options);
  }

  CLI::App& shell =
      add("shell", "statements and questions at a prompt",
          {"hushlane-sim shell --device examples/phone --at 23:30 --time-zone Etc/UTC",
           "printf 'dnd on\\nmessage +15550100142\\n' | hushlane-sim shell"},
          [&](Session& session) {
            prepare(session, moment, options);
            return runShell(session, options.trace, shellQuestions());
          });
  addScenarioOptions(shell, options);
  addSituation(shell, moment | doNotDisturb, options);
}

void addHelp(CLI::App& app, Chosen& chosen) {
  CLI::App* help = app.add_subcommand("help", "the help of a command");
  addExamples(*help,
              {"hushlane-sim help who", "hushlane-sim help --completion > hushlane-sim.bash"});
  auto command = std::make_shared<std::string>();
  auto manual = std::make_shared<bool>();
  auto completion = std::make_shared<bool>();
  help->add_option(value::command, *command, "else of the program")->type_name("");
  help->add_flag("--man", *manual, "the manual page, for man");
  help->add_flag("--completion", *completion, "the completion, for bash");
  help->callback([&chosen, command, manual, completion] {
    chosen.text = [=](const CLI::App& program) {
      return *manual       ? manualPage(program)
             : *completion ? completionScript(program)
                           : helpFor(program, *command);
    };
  });
  CLI::App* version = app.add_subcommand("version", "the program's version");
  addExamples(*version, {"hushlane-sim version", "hushlane-sim --version"});
  version->callback([&chosen] {
    chosen.text = [](const CLI::App& program) { return program.version() + "\n"; };
  });
}

void addCommonOptions(CLI::App& app, Options& options) {
  app.name("hushlane-sim");
  app.set_version_flag("--version", "hushlane-sim " HUSHLANE_VERSION, "the program's version");
  app.set_help_flag("-h,--help", "this help");
  app.add_option("--library", options.choice.library,
                 "the library; else $HUSHLANE_LIBRARY, else its own")
      ->type_name(value::file);
  addRead(app, "--color", value::colour,
          "auto, always or never; auto is on a terminal,\nwithout NO_COLOR and not TERM=dumb",
          [](const std::string& text) {
            const Lines words = wordsFor(value::colour);
            const auto index =
                static_cast<std::size_t>(std::ranges::find(words, text) - words.begin());
            if (index == words.size()) {
              throw std::runtime_error(text + " is no choice" + didYouMeanOneOf(text, words));
            }
            chooseColour(std::array{Colour::automatic, Colour::always, Colour::never}[index]);
          });
  app.require_subcommand(1);
  app.fallthrough();
}

// Reads the command line, and does as it says.
int run(int argc, char** argv) {
  Options options;
  options.choice.library = defaultLibrary();
  Chosen chosen;
  CLI::App app("a phone on a desk: shows which messages get through while Do Not Disturb is on");
  addCommonOptions(app, options);
  addPhoneCommands(app, options, chosen);
  addHelp(app, chosen);
  addExamples(app, {"hushlane-sim demo",
                    "hushlane-sim who --device examples/phone --at 23:30 --time-zone Etc/UTC"});
  app.footer(describeExitStatuses() + "\n" + app.get_footer());

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    complain(describeMistake(app, error));
    return wrongUsage;
  }
  if (chosen.text) {
    std::fputs(chosen.text(app).c_str(), stdout);
    return asExpected;
  }
  return inScratchFolder(options.choice.phone, [&](const std::filesystem::path& folder) {
    std::set_terminate(&endAtException);
    return statusOf([&] {
      return onScratchPhone(options.choice, folder, &complain, [&](Session& session) {
        session.showProgress = [line = ProgressLine()](const Progress& progress) mutable {
          line.show(progress);
        };
        return chosen.use(session);
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
