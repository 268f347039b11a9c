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
#include <vector>

#include "home_screen/completion.hpp"
#include "home_screen/history.hpp"
#include "home_screen/scenario/player.hpp"
#include "home_screen/session/interruption.hpp"
#include "home_screen/session/saved_phone.hpp"
#include "home_screen/show/text.hpp"

namespace home_screen {
namespace {

// ---- Completion --------------------------------------------------------------------------------

std::function<Completions(std::string_view)> completer;  // of a line up to the cursor
Lines candidates;  // which the line editor asks for one by one

// Called until it answers null; the editor frees the words.
char* nextCandidate(const char*, int) {
  if (candidates.empty()) return nullptr;
  char* const word = ::strdup(candidates.back().c_str());
  candidates.pop_back();
  return word;
}

// The editor's own idea of a word, from `start` on, may be a part of ours: behind a space in
// quotes.
char** completeWord(const char* word, int start, int end) {
  const auto [wordStart, words] =
      completer(std::string_view(rl_line_buffer, static_cast<std::size_t>(end)));
  candidates.clear();
  for (const std::string& each : words) {
    candidates.push_back(each.substr(static_cast<std::size_t>(start) - wordStart));
  }
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
  Shell(Session& session, bool trace, std::vector<ShellQuestion> questions)
      : session_(session),
        questions_(std::move(questions)),
        player_(session),
        trace_(trace),
        reader_(file_, peopleOf(session), questionNames()) {
    if (trace) session.keepLogging();
  }

  ExitStatus run() {
    if (interactive_) beginToEdit();
    while (auto line = interactive_ ? editedLine() : pipedLine()) {
      try {
        if (!answer(*line)) break;
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

  void beginToEdit() {
    std::setlocale(LC_CTYPE, "");
    completer = [this, names = questionNames()](std::string_view line) {
      return complete(line, session_, names);
    };
    rl_attempted_completion_function = &completeWord;
    rl_completer_word_break_characters = const_cast<char*>(" ");
    for (const std::string& line : history_.lines()) ::add_history(line.c_str());
    Keys::take();
    fmt::print(
        "Statements and questions; `help` lists them, Tab completes, `quit` or Ctrl-D "
        "leaves.\n");
  }

  std::optional<std::string> editedLine() {
    auto line = typedLine();
    if (line && !line->empty()) {
      ::add_history(line->c_str());
      history_.add(*line);
    }
    return line;
  }

  // Whether to read on.
  bool answer(const std::string& line) {
    std::string first;
    std::istringstream(line) >> first;
    if (first == "quit") return false;
    if (first == "help") {
      showHelp(line);
    } else if (first == "save") {
      reader_.readLine("");  // which it counts as well
      save(line);
    } else if (const ShellQuestion* question = findQuestion(first)) {
      ask(*question, line);
    } else if (const auto statement = reader_.readLine(line)) {
      play(*statement);
    }
    return true;
  }

  // What the language has itself comes first: it can be expected.
  const ShellQuestion* findQuestion(const std::string& name) const {
    if (findCommand(name) != nullptr) return nullptr;
    const auto found = std::ranges::find(questions_, name, &ShellQuestion::name);
    return found == questions_.end() ? nullptr : &*found;
  }

  void showHelp(const std::string& line) {
    std::string name;
    std::istringstream(line) >> name >> name;
    if (name != "help" && findQuestion(name) == nullptr && findCommand(name) == nullptr) {
      reader_.readLine(name);  // complains
    }
    reader_.readLine("");  // what it need not see still counts as a line
    if (const Command* command = findCommand(name)) {
      fmt::print("  {}\n", describeCommand(*command));
    } else if (const ShellQuestion* question = findQuestion(name)) {
      question->ask(session_, {"--help"});
    } else {
      showAllHelp();
    }
  }

  Lines questionNames() const {
    Lines names;
    for (const ShellQuestion& question : questions_) names.push_back(question.name);
    return names;
  }

  void showAllHelp() const {
    fmt::print("Questions about the phone in hand (NAME --help tells more):\n");
    for (const auto& [name, usage, help, ask] : questions_) {
      fmt::print("  {:<39}{}\n", usage.empty() ? name : fmt::format("{} {}", name, usage), help);
    }
    fmt::print("\n{}\nThe shell itself:\n", describeCommands());
    for (const auto& [usage, help] : {std::pair("help [COMMAND]", "this list, or its part"),
                                      std::pair("save DIR", "writes the phone to a new folder"),
                                      std::pair("quit", "leaves, as Ctrl-D does")}) {
      fmt::print("  {:<39}{}\n", usage, help);
    }
  }

  void ask(const ShellQuestion& question, const std::string& line) {
    Lines words;
    for (const Word& word : reader_.readForeignLine(line)) words.push_back(word.text);
    start();
    if (!interactive_) showText(Outcome{reader_.line(), line, {}, {}, false, {}}, false);
    words.erase(words.begin());
    try {
      question.ask(session_, std::move(words));
    } catch (const BadWords& error) {
      throw reader_.complaint(error);
    }
    session_.takeLog();
  }

  void start() {
    if (std::exchange(started_, true)) return;
    show(player_.start());
  }

  void play(const Statement& statement) {
    if (statement.command->kind != Command::Kind::beforeStart) start();
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
  std::vector<ShellQuestion> questions_;
  const History history_;
  Player player_;
  bool trace_;
  ScenarioReader reader_;
  bool started_ = false;
  ExitStatus result_ = asExpected;
};

}  // namespace

ExitStatus runShell(Session& session, bool trace, std::vector<ShellQuestion> questions) {
  return Shell(session, trace, std::move(questions)).run();
}

}  // namespace home_screen
