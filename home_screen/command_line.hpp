// What the program takes on its command line: tables of CLI11, from which the help, the complaints
// about mistakes, the manual page and the completion are made.
//
// The thread of the program.
#pragma once

#include <array>
#include <string>

#include "home_screen/session/notation.hpp"

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace home_screen {

// What each option's value may be, by the name that help gives it. Others are any text.
namespace value {
inline constexpr const char* folder = "DIR";
inline constexpr const char* file = "FILE";
inline constexpr const char* scenario = "SCENARIO";
inline constexpr const char* colour = "HOW";
inline constexpr const char* mode = "MODE";
inline constexpr const char* setting = "KEY=VALUE";
inline constexpr const char* timeZone = "ZONE";
inline constexpr const char* command = "COMMAND";
}  // namespace value

// The words that begin a value of that name, as far as they are few.
Lines wordsFor(const std::string& valueName);

// Commands as they can be typed beside the folder of the examples.
using Examples = std::array<const char*, 2>;

// To the end of the command's help.
void addExamples(CLI::App& command, const Examples& examples);

// The status and what it says.
inline constexpr std::pair<int, const char*> exitStatuses[] = {
    {0, "all is as expected"},
    {1, "an expectation of a scenario did not come true"},
    {2, "wrong usage, a wrong scenario, no memory, temporary directory or output"},
    {3, "the phone's directory or a file in it can't be read"}};
std::string describeExitStatuses();

// One line: what is wrong, and what may have been meant.
std::string describeMistake(const CLI::App& program, const CLI::ParseError& error);

// The help of a command of the program, or of the program itself for "". Throws std::runtime_error
// for a command that it doesn't have.
std::string helpFor(const CLI::App& program, const std::string& command);

// In the language of troff, for man.
std::string manualPage(const CLI::App& program);

// For bash.
std::string completionScript(const CLI::App& program);

}  // namespace home_screen
