#include "home_screen/shell.hpp"

// The line editor's header needs the standard one before it.
#include <editline/readline.h>
#include <fmt/core.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cwchar>
#include <iostream>
#include <sstream>
#include <utility>

#include "home_screen/scenario/player.hpp"
#include "home_screen/session/interruption.hpp"
#include "home_screen/session/saved_phone.hpp"
#include "home_screen/show/text.hpp"

namespace home_screen {
namespace {

// ---- Completion --------------------------------------------------------------------------------

Lines commandNames() {
  Lines names;
  for (const Command& command : commandTable()) names.emplace_back(command.name);
  return names;
}

Lines possibleWords(std::string_view before) {
  const std::size_t start = before.find_first_not_of(' ');
  if (start == std::string_view::npos) {
    Lines words = commandNames();
    words.insert(words.end(), {"help", "quit", "save"});
    return words;
  }
  const std::string_view name = before.substr(start, before.find(' ', start) - start);
  if (name == "help") return commandNames();
  const Command* command = findCommand(name);
  return command == nullptr ? Lines() : possibleArguments(*command);
}

Lines candidates;  // for the word at the cursor, which the line editor asks for one by one

// Called until it answers null; the editor frees the words.
char* nextCandidate(const char* beginning, int) {
  while (!candidates.empty()) {
    const std::string word = std::move(candidates.back());
    candidates.pop_back();
    if (word.starts_with(beginning)) return ::strdup(word.c_str());
  }
  return nullptr;
}

char** complete(const char* word, int start, int) {
  candidates = possibleWords(std::string_view(rl_line_buffer, static_cast<std::size_t>(start)));
  rl_attempted_completion_over = 1;  // no file names
  return rl_completion_matches(word, &nextCandidate);
}

// ---- Keys --------------------------------------------------------------------------------------

// The editor itself would read on after a signal.
class Keys {
 public:
  // From now on Ctrl-C gives up a line or a question.
  static void take() {
    rl_catch_signals = 0;
    rl_getc_function = &next;
    struct sigaction action {};
    action.sa_handler = [](int signal) {
      if (signal == SIGINT) interrupted = true;
    };
    action.sa_flags = SA_RESTART;
    for (const int signal : signals) ::sigaction(signal, &action, nullptr);
  }

 private:
  static constexpr int signals[] = {SIGINT, SIGCONT, SIGWINCH};
  static constexpr auto incomplete = static_cast<std::size_t>(-2);

  // The next character, or -1 at the end of the input and when the line is given up.
  static int next(FILE*) {
    std::mbstate_t state{};
    wchar_t character = 0;
    for (char unit = 0; waitForKey() && ::read(STDIN_FILENO, &unit, 1) == 1;) {
      const std::size_t length = std::mbrtowc(&character, &unit, 1, &state);
      if (length == incomplete) continue;
      return length <= 1 ? static_cast<int>(character) : L'\uFFFD';
    }
    return -1;
  }

  static bool waitForKey() {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    sigset_t awaited{};
    sigset_t before{};
    ::sigemptyset(&awaited);
    for (const int signal : signals) ::sigaddset(&awaited, signal);
    ::sigprocmask(SIG_BLOCK, &awaited, &before);
    while (!interrupted && ::ppoll(&input, 1, nullptr, &before) < 0 && errno == EINTR) {
      if (interrupted) break;
      rl_resize_terminal();
      rl_forced_update_display();
    }
    ::sigprocmask(SIG_SETMASK, &before, nullptr);
    return !interrupted;
  }
};

// ---- Lines -------------------------------------------------------------------------------------

// An empty one when it is given up.
std::optional<std::string> typedLine() {
  std::fflush(stdout);
  interrupted = false;
  char* typed = ::readline("hushlane> ");
  if (typed == nullptr) {
    fmt::print("{}\n", interrupted ? "^C" : "");
    if (interrupted.exchange(false)) return "";
    return std::nullopt;
  }
  std::string line = typed;
  ::free(typed);
  if (!line.empty()) ::add_history(line.c_str());
  return line;
}

std::optional<std::string> pipedLine() {
  std::string line;
  if (std::getline(std::cin, line)) return line;
  refuseBrokenInput();
  return std::nullopt;
}

// ---- The shell ---------------------------------------------------------------------------------

class Shell {
 public:
  Shell(Session& session, bool trace)
      : session_(session), player_(session), trace_(trace), reader_(file_, peopleOf(session)) {
    if (trace) session.keepLogging();
  }

  ExitStatus run() {
    if (interactive_) {
      std::setlocale(LC_CTYPE, "");
      rl_attempted_completion_function = &complete;
      Keys::take();
      fmt::print(
          "The scenario language; `help` lists it, Tab completes, `quit` or Ctrl-D leaves.\n");
    }
    while (auto line = interactive_ ? typedLine() : pipedLine()) {
      std::string first;
      std::string second;
      std::istringstream(*line) >> first >> second;
      if (first == "quit") break;
      if (first == "help") showHelp(second);
      if (first == "save") save(*line);
      if (first == "help" || first == "save") line = "";  // which the reader counts as well
      try {
        if (const auto statement = reader_.readLine(*line)) play(*statement);
      } catch (const ScenarioError& error) {
        complain(error.what());
        result_ = wrongUsage;
      } catch (const GivenUp&) {
        fmt::print("\n");  // behind the ^C that the terminal shows
        complain("given up");
      }
    }
    return interactive_ ? asExpected : result_;
  }

 private:
  static void showHelp(const std::string& name) {
    const Command* command = findCommand(name);
    fmt::print("{}", command
                         ? fmt::format("  {}\n", describeCommand(*command))
                         : describeCommands() + "\nsave DIR writes the phone to a new folder.\n");
  }

  void save(const std::string& line) try {
    const Words words = splitIntoWords(line);
    if (words.size() != 2) throw BadWords("not one folder; expected save DIR");
    showSaved(savePhone(session_, words[1].text));
  } catch (const BadWords& error) {
    complainAboutSaving(error.what());
  } catch (const SaveError& error) {
    complainAboutSaving(error.what());
  }

  void complainAboutSaving(const std::string& problem) {
    complain(problem);
    result_ = wrongUsage;
  }

  void play(const Statement& statement) {
    if (!started_ && statement.command->kind != Command::Kind::beforeStart) {
      started_ = true;
      show(player_.start());
    }
    show(player_.run(statement));
  }

  void show(const Outcome& outcome) {
    interactive_ ? showResult(outcome, trace_) : showText(outcome, trace_);
    complainAboutFailure(outcome, file_);
    if (outcome.failure) result_ = std::max(result_, expectationFailed);
  }

  const bool interactive_ = ::isatty(STDIN_FILENO) != 0 && ::isatty(STDOUT_FILENO) != 0;
  const std::string file_ = interactive_ ? "shell" : "standard input";
  Session& session_;
  Player player_;
  bool trace_;
  ScenarioReader reader_;
  bool started_ = false;
  ExitStatus result_ = asExpected;
};

}  // namespace

ExitStatus runShell(Session& session, bool trace) { return Shell(session, trace).run(); }

}  // namespace home_screen
