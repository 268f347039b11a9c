#include "home_screen/shell.hpp"

// The line editor's header needs the standard one before it.
#include <editline/readline.h>
#include <fmt/format.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <iostream>
#include <sstream>

#include "home_screen/report.hpp"
#include "home_screen/terminal.hpp"

namespace home_screen {
namespace {

constexpr std::string_view shellWords[] = {"help", "quit"};

constexpr std::string_view preferenceKeys[] = {
    "allowedMessageGroup", "maxNumOfDigitsToCompare", "schedulerWeekday_1",
    "schedulerWeekday_2",  "schedulerWeekday_3",      "schedulerWeekday_4",
    "schedulerWeekday_5",  "schedulerWeekday_6",      "schedulerWeekday_7"};

constexpr std::string_view notifications[] = {"manualdndenabled", "reloadsettings",
                                              "weekdaysettingschanged"};

// ---- Completion --------------------------------------------------------------------------------

// The literal words in a usage such as "dnd on|off" or "contact NAME [phone P]...".
Lines literalsIn(std::string_view usage) {
  Lines words;
  std::string word;
  for (const char letter : std::string(usage.substr(usage.find(' ') + 1)) + " ") {
    const bool belongs = letter == '-' || (letter >= 'a' && letter <= 'z');
    if (belongs) {
      word += letter;
    } else if (!word.empty()) {
      if (word != "-") words.push_back(word);
      word.clear();
    }
  }
  return words;
}

Lines possibleWords(std::string_view before) {
  Lines words;
  const auto add = [&words](const auto& names) {
    words.insert(words.end(), names.begin(), names.end());
  };
  const std::size_t start = before.find_first_not_of(' ');
  if (start == std::string_view::npos) {
    for (const Command& command : commandTable()) words.emplace_back(command.name);
    add(std::span(shellWords));
    return words;
  }
  const std::string_view name = before.substr(start, before.find(' ', start) - start);
  if (name == "set" || name == "unset") {
    add(std::span(preferenceKeys));
  } else if (name == "post") {
    add(std::span(notifications));
  } else if (name == "help") {
    for (const Command& command : commandTable()) words.emplace_back(command.name);
  } else if (const Command* command = findCommand(name)) {
    add(command->usage.find(' ') == std::string_view::npos ? Lines() : literalsIn(command->usage));
  }
  return words;
}

Lines& candidates() {
  static Lines words;
  return words;
}

// Called by the line editor until it answers null; the editor frees the words.
char* nextCandidate(const char* beginning, int state) {
  static std::size_t next = 0;
  if (state == 0) next = 0;
  while (next < candidates().size()) {
    const std::string& word = candidates()[next++];
    if (word.starts_with(beginning)) return ::strdup(word.c_str());
  }
  return nullptr;
}

char** complete(const char* word, int start, int) {
  candidates() = possibleWords(std::string_view(rl_line_buffer, static_cast<std::size_t>(start)));
  rl_attempted_completion_over = 1;  // no file names
  return rl_completion_matches(word, &nextCandidate);
}

// ---- Lines -------------------------------------------------------------------------------------

class LineSource {
 public:
  LineSource() : interactive_(::isatty(STDIN_FILENO) != 0 && ::isatty(STDOUT_FILENO) != 0) {
    if (!interactive_) return;
    std::setlocale(LC_CTYPE, "");
    rl_attempted_completion_function = &complete;
    fmt::print("The scenario language; `help` lists it, Tab completes, `quit` or Ctrl-D leaves.\n");
  }

  bool interactive() const { return interactive_; }

  std::optional<std::string> next() { return interactive_ ? nextFromEditor() : nextFromStream(); }

 private:
  static std::optional<std::string> nextFromEditor() {
    std::fflush(stdout);
    char* typed = ::readline("hushlane> ");
    if (typed == nullptr) {
      fmt::print("\n");
      return std::nullopt;
    }
    std::string line = typed;
    ::free(typed);
    if (!line.empty()) ::add_history(line.c_str());
    return line;
  }

  static std::optional<std::string> nextFromStream() {
    std::string line;
    if (!std::getline(std::cin, line)) return std::nullopt;
    return line;
  }

  bool interactive_;
};

// ---- The shell ---------------------------------------------------------------------------------

class Shell {
 public:
  Shell(Player& player, bool trace)
      : player_(player), trace_(trace), reader_(file(), peopleOf(player.device())) {}

  ShellResult run() {
    while (const auto line = lines_.next()) {
      try {
        const std::string first = word(*line, 0);
        if (first == "quit") break;
        // What the reader does not see still counts as a line.
        const bool help = first == "help";
        if (help) showHelp(word(*line, 1));
        if (const auto statement = reader_.readLine(help ? std::string() : *line)) play(*statement);
      } catch (const ScenarioError& error) {
        complain(error.what());
        result_ = ShellResult::wrongLine;
      }
    }
    return lines_.interactive() ? ShellResult::asExpected : result_;
  }

 private:
  std::string file() const { return lines_.interactive() ? "shell" : "standard input"; }

  // "" when there are not as many.
  static std::string word(const std::string& line, int index) {
    std::istringstream words(line);
    std::string found;
    while (index-- >= 0) {
      if (!(words >> found)) return "";
    }
    return found;
  }

  static void showHelp(const std::string& name) {
    if (const Command* command = findCommand(name)) {
      fmt::print("  {}\n", describeCommand(*command));
    } else {
      fmt::print("{}", describeCommands());
    }
  }

  void play(const Statement& statement) {
    if (!started_ && statement.command->kind != Command::Kind::beforeStart) {
      started_ = true;
      show(player_.start());
    }
    show(player_.run(statement));
  }

  void show(const Outcome& outcome) {
    lines_.interactive() ? reportResult(outcome, trace_) : reportText(outcome, trace_);
    if (!outcome.failure) return;
    complainAboutFailure(outcome, file());
    result_ = std::max(result_, ShellResult::expectationFailed);
  }

  Player& player_;
  bool trace_;
  LineSource lines_;
  ScenarioReader reader_;
  bool started_ = false;
  ShellResult result_ = ShellResult::asExpected;
};

}  // namespace

ShellResult runShell(Player& player, bool trace) { return Shell(player, trace).run(); }

}  // namespace home_screen
