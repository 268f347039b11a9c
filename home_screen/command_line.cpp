#include "home_screen/command_line.hpp"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <set>
#include <stdexcept>

#include "home_screen/scenario/commands.hpp"
#include "home_screen/session/nearest.hpp"
#include "home_screen/session/what_if.hpp"

namespace home_screen {
namespace {

constexpr std::string_view examplesHeading = "Examples:\n";

std::vector<const CLI::App*> commandsOf(const CLI::App& program) {
  return program.get_subcommands([](const CLI::App*) { return true; });
}

Lines namesOf(const CLI::App& program) {
  Lines names;
  for (const CLI::App* command : commandsOf(program)) names.push_back(command->get_name());
  return names;
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& command) {
  return command.get_options([](const CLI::Option* option) { return option->nonpositional(); });
}

Lines longNamesOf(const CLI::Option& option) {
  Lines names;
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

Lines optionNames(const CLI::App& command) {
  Lines names;
  for (const CLI::Option* option : optionsOf(command)) {
    for (std::string& name : longNamesOf(*option)) names.push_back(std::move(name));
  }
  return names;
}

// ---- Mistakes ----------------------------------------------------------------------------------

// The command that was chosen; else the program, which may be a single command itself.
const CLI::App& chosenIn(const CLI::App& program) {
  const auto chosen = program.get_subcommands();
  return chosen.empty() ? program : *chosen.front();
}

std::string unknownOption(const CLI::App& program, const std::string& word) {
  const CLI::App& chosen = chosenIn(program);
  const std::string name = word.substr(0, word.find('='));
  Lines known = optionNames(chosen);
  if (&chosen != &program) std::ranges::copy(optionNames(program), std::back_inserter(known));
  if (std::ranges::count(known, name) > 0) return name + " belongs behind the command";
  return fmt::format("{}: no option {}{}", chosen.get_name(), name, didYouMean(name, known));
}

std::string unknownWord(const CLI::App& program, const std::string& word) {
  const CLI::App& chosen = chosenIn(program);
  if (&chosen != &program || namesOf(program).empty()) {
    return fmt::format("{}: \"{}\" is a word too many", chosen.get_name(), word);
  }
  return fmt::format("no command {}{}", word, didYouMeanOneOf(word, namesOf(program)));
}

// ---- The manual page ---------------------------------------------------------------------------

std::string troff(std::string_view text) {
  std::string escaped = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
  for (const char letter : text) {
    if (letter == '\\') {
      escaped += "\\e";
    } else if (letter == '-') {
      escaped += "\\-";
    } else {
      escaped += letter;
    }
  }
  return escaped;
}

std::string optionEntry(const CLI::Option& option) {
  std::string names;
  for (const std::string& name : option.get_snames()) names += "-" + name + ", ";
  names += fmt::format("{}", fmt::join(longNamesOf(option), ", "));
  const bool hasValue = !option.get_type_name().empty();
  return fmt::format(".TP\n\\fB{}\\fR{}\n{}\n", troff(names),
                     hasValue ? " \\fI" + troff(option.get_type_name()) + "\\fR" : "",
                     troff(option.get_description()));
}

std::string optionEntries(const CLI::App& command) {
  std::string text;
  for (const CLI::Option* option : optionsOf(command)) {
    if (option != command.get_help_ptr()) text += optionEntry(*option);
  }
  return text;
}

std::string positionalsOf(const CLI::App& command) {
  std::string text;
  for (const CLI::Option* option :
       command.get_options([](const CLI::Option* each) { return each->get_positional(); })) {
    const std::string name = " " + option->get_name(true);
    text += option->get_required() ? name : " [" + name.substr(1) + "]";
  }
  return text;
}

std::string commandEntry(const CLI::App& command) {
  return fmt::format(".SS {}{}\n{}\n{}", troff(command.get_name()), troff(positionalsOf(command)),
                     troff(command.get_description()), optionEntries(command));
}

std::string verbatim(const std::string& text) {
  std::string lines = ".nf\n";
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    lines += troff(std::string_view(text).substr(at, end - at)) + "\n";
    at = end + 1;
  }
  return lines + ".fi\n";
}

// ---- Completion --------------------------------------------------------------------------------

// What bash is to offer for a value.
std::string generatorFor(const CLI::App& program, const std::string& valueName) {
  if (valueName == value::folder) return "-A directory";
  if (valueName == value::file || valueName == value::scenario) return "-A file";
  if (valueName == value::timeZone) {
    return "-W \"$(sed -n 's/^[^#\\t]*\\t[^\\t]*\\t\\([^\\t]*\\).*/\\1/p' "
           "/usr/share/zoneinfo/zone.tab 2>/dev/null)\"";
  }
  const Lines words = valueName == value::command ? namesOf(program) : wordsFor(valueName);
  return fmt::format("-W \"{}\"", fmt::join(words, " "));
}

// The values of each option, as cases for the word before.
std::string valueCases(const CLI::App& program) {
  std::set<std::string> cases;
  const auto add = [&](const CLI::App& command) {
    for (const CLI::Option* option : optionsOf(command)) {
      if (option->get_type_name().empty()) continue;
      Lines names = longNamesOf(*option);
      for (const std::string& name : option->get_snames()) names.push_back("-" + name);
      cases.insert(fmt::format("    {}) offer {}; return ;;\n", fmt::join(names, "|"),
                               generatorFor(program, option->get_type_name())));
    }
  };
  add(program);
  for (const CLI::App* command : commandsOf(program)) add(*command);
  return fmt::format("{}", fmt::join(cases, ""));
}

// The options of each command, and the values of its words.
std::string commandCases(const CLI::App& program) {
  std::string text;
  for (const CLI::App* command : commandsOf(program)) {
    Lines options = optionNames(*command);
    std::ranges::copy(optionNames(program), std::back_inserter(options));
    std::string words;
    for (const CLI::Option* word :
         command->get_options([](const CLI::Option* each) { return each->get_positional(); })) {
      words += "[[ $word == -* ]] || offer " + generatorFor(program, word->get_name(true)) + "; ";
    }
    text += fmt::format("    {}) offer -W \"{}\"; {};;\n", command->get_name(),
                        fmt::join(options, " "), words);
  }
  return text;
}

}  // namespace

Lines wordsFor(const std::string& valueName) {
  if (valueName == value::colour) return {"auto", "always", "never"};
  if (valueName == value::mode) return modeWords();
  if (valueName == value::setting) {
    Lines keys;
    for (const char* key : settingsKeys) keys.push_back(std::string(key) + "=");
    return keys;
  }
  return {};
}

void addExamples(CLI::App& command, const Examples& examples) {
  command.footer(fmt::format("{}  {}", examplesHeading, fmt::join(examples, "\n  ")));
}

std::string describeExitStatuses() {
  std::string text = "Exit status:\n";
  for (const auto& [status, meaning] : exitStatuses)
    text += fmt::format("  {}  {}\n", status, meaning);
  return text;
}

std::string describeMistake(const CLI::App& program, const CLI::ParseError& error) {
  const Lines left = program.remaining(true);
  const auto option = std::ranges::find_if(
      left, [](const std::string& word) { return word.size() > 1 && word.starts_with('-'); });
  if (option != left.end()) return unknownOption(program, *option);
  if (!left.empty()) return unknownWord(program, left.front());
  const CLI::App& chosen = chosenIn(program);
  if (&chosen != &program || namesOf(program).empty()) {
    return chosen.get_name() + ": " + error.what();
  }
  if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::RequiredError)) return error.what();
  return fmt::format("no command; expected one of {}", fmt::join(namesOf(program), ", "));
}

std::string helpFor(const CLI::App& program, const std::string& command) {
  const auto format = [&](const CLI::App& app, const std::string& name) {
    return app.get_formatter()->make_help(&app, name, CLI::AppFormatMode::Normal);
  };
  if (command.empty()) return format(program, program.get_name());
  for (const CLI::App* each : commandsOf(program)) {
    if (each->get_name() == command) return format(*each, program.get_name() + " " + command);
  }
  throw std::runtime_error("no command " + command + didYouMeanOneOf(command, namesOf(program)));
}

std::string manualPage(const CLI::App& program) {
  const std::string name = troff(program.get_name());
  std::string page = fmt::format(
      ".TH HUSHLANE\\-SIM 1\n.SH NAME\n{0} \\- {1}\n.SH SYNOPSIS\n.B {0}\n"
      "\\fICOMMAND\\fR [\\fIOPTION\\fR]...\n.SH COMMANDS\n",
      name, troff(program.get_description()));
  for (const CLI::App* command : commandsOf(program)) page += commandEntry(*command);
  page += ".SH OPTIONS\nOf every command:\n" + optionEntries(program);
  page += ".TP\n\\fB\\-h, \\-\\-help\\fR\nthe help of the command\n";
  page += ".SH SCENARIOS\n" + verbatim(describeCommands());
  page += ".SH EXIT STATUS\n" + verbatim(describeExitStatuses());
  page += ".SH EXAMPLES\n";
  for (const CLI::App* command : commandsOf(program)) {
    const std::string footer = command->get_footer();
    page += verbatim(footer.substr(footer.find(examplesHeading) + examplesHeading.size()));
  }
  return page;
}

std::string completionScript(const CLI::App& program) {
  return fmt::format(R"(# bash completion of {0}, made by: {0} help --completion
_hushlane_sim() {{
  local word=${{COMP_WORDS[COMP_CWORD]}} before=${{COMP_WORDS[COMP_CWORD-1]}} command= at
  COMPREPLY=()
  offer() {{
    local found
    mapfile -t found < <(compgen "$@" -- "$word")
    COMPREPLY+=("${{found[@]}}")
    [[ $1 == -A ]] && compopt -o filenames
    [[ ${{found[0]-}} == *= ]] && compopt -o nospace
  }}
  for ((at = 1; at < COMP_CWORD; ++at)); do
    case ${{COMP_WORDS[at]}} in {1}) command=${{COMP_WORDS[at]}}; break ;; esac
  done
  case $before in
{2}  esac
  case $command in
    '') offer -W "{3}" ;;
{4}  esac
}}
complete -F _hushlane_sim {0}
)",
                     program.get_name(), fmt::join(namesOf(program), "|"), valueCases(program),
                     fmt::join(
                         [&] {
                           Lines words = namesOf(program);
                           std::ranges::copy(optionNames(program), std::back_inserter(words));
                           return words;
                         }(),
                         " "),
                     commandCases(program));
}

}  // namespace home_screen
