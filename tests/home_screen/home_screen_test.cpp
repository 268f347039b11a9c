// Runs the built program as people do, and looks at its exit status, output and complaints.

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "home_screen/scenario/commands.hpp"
#include "tests/support/scratch_folder.hpp"

namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void writeFile(const fs::path& file, const std::string& text) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << text;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

using Pairs = std::initializer_list<std::pair<const char*, const char*>>;

// Of a phone in the folder of the test.
const fs::path settings = "phone/var/mobile/Library/Preferences/org.mernwick.hushlane.plist";
const fs::path overrides = "phone/var/mobile/Library/BulletinBoard/BehaviorOverrides.plist";
const fs::path addressBook = "phone/var/mobile/Library/AddressBook/AddressBook.sqlitedb";

struct Result {
  int status;
  std::string output;
  std::string complaints;
};

class HomeScreen : public testing::Test {
 protected:
  HomeScreen() {
    fs::create_directory_symlink(HUSHLANE_SOURCE_DIR "/examples", folder / "examples");
    fs::create_directories(folder / "scratch");  // where the program makes its scratch phones
  }

  // A shell command, in a folder with the examples in it.
  Result runInShell(const std::string& command, const std::string& input = "") const {
    writeFile(folder / "input", input);
    const std::string line = fmt::format(
        "cd '{}' && export TMPDIR=\"$PWD/scratch\" XDG_STATE_HOME=\"$PWD/state\" TZ=Etc/UTC "
        "PATH='{}':\"$PATH\" && "
        "( {} ) < input > output 2> complaints",
        folder.string(), fs::path(HUSHLANE_SIM).parent_path().string(), command);
    const int status = std::system(line.c_str());
    EXPECT_TRUE(WIFEXITED(status)) << command;
    EXPECT_TRUE(fs::is_empty(folder / "scratch")) << "left behind by: " << command;
    return {WEXITSTATUS(status), contents(folder / "output"), contents(folder / "complaints")};
  }

  Result run(const std::string& arguments, const std::string& input = "") const {
    return runInShell("hushlane-sim " + arguments, input);
  }

  // The outputs of all commands, each line of them on a line.
  std::string play(const std::string& scenario, const std::string& options = "") const {
    const Result result = run("play - --json " + options, scenario);
    EXPECT_EQ(result.status, 0) << result.complaints;
    std::string outputs;
    for (const std::string& line : linesOf(result.output)) {
      const auto outcome = nlohmann::json::parse(line);
      for (const auto& output : outcome["output"]) outputs += output.get<std::string>() + "\n";
    }
    return outputs;
  }

  // A phone of which Saturday is left out of the schedule.
  void chooseMode(int mode) const {
    writeFile(folder / settings, fmt::format("<plist version=\"1.0\"><dict>"
                                             "<key>allowedMessageGroup</key><integer>{}</integer>"
                                             "<key>schedulerWeekday_7</key><false/></dict></plist>",
                                             mode));
  }

  const tests::ScratchFolder scratch;
  const fs::path folder = scratch.path;
};

TEST_F(HomeScreen, RunsTheLinesOfAShellAndNamesThePlaceOfEachWrongOne) {
  std::string scenario = "foundation-version 1300\n\ncontact A\ncontact C\ncontact C\ndnd on\n";
  int place = 7;
  std::vector<std::string> complaints;  // how each of them begins
  for (const auto& [line, complaint] : Pairs{
           {"mesage +1", "unknown command \"mesage\"; did you mean message?"},
           {"frobnicate", "unknown command \"frobnicate\"; expected explain, who, "},
           {"message a b", "too many words"},
           {"set key", "too few words; expected set KEY VALUE"},
           {"message \"+1", "the quoted text has no end"},
           {"message \"+1\"2", "text directly behind a closing double quote"},
           {"message a\"b\"", "a double quote inside a word"},
           {"message \"\\x\"", "unknown escape \"\\x\""},
           {"clock 2026-02-30 10:00", "\"2026-02-30 10:00\" is not a local time"},
           {"clock 2026-11-21 24:00", "\"2026-11-21 24:00\" is not a local time"},
           {"advance 30m2h", "\"30m2h\" is not a duration"},
           {"set key nan", "\"nan\" is no integer"},
           {"gateway -1", "\"-1\" is not an unsigned integer"},
           {"notification 2147483648 a", "\"2147483648\" is not a 32-bit integer"},
           {"contact B phone", "no phone behind it"},
           {"contact B phoen 1", "\"phoen\" is not one of the choices; did you mean phone?"},
           {"explain", "explain: SENDER is required"},
           {"group G A D", "no person is called \"D\""},
           {"group G C", "2 people are called \"C\""},
           {"foundation-version 1300", "\"foundation-version\" after"},
           {"schedule 22:00-24:00", "\"22:00-24:00\" is not a period"},
           {"schedule 22:00-22:00", "\"22:00-22:00\" is not a period"},
           {"suppressed 1.5", "\"1.5\" is not an integer"},
           {"time-zone Mars/North", "\"Mars/North\" is no time zone"},
           {"time-zone Etc/UTC", "\"time-zone\" after"},
           {"\x1b[31m", "unknown command \"\\x1b[31m\""},
       }) {
    scenario += line + std::string("\n");
    complaints.push_back(fmt::format("standard input:{}: {}", ++place, complaint));
  }
  complaints.push_back(fmt::format(
      "standard input:{}: expected \"presented\", but \"message +1\" (line {}) gave \"held back\"",
      place + 2, place + 1));
  const Result shell =
      run("shell", "help dnd\n" + scenario + "message +1\nexpect presented\nquit\nmessage +2\n");
  EXPECT_EQ(shell.status, 2);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "  dnd on|off", shell.output);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "held back\n", shell.output);
  EXPECT_PRED_FORMAT2(testing::IsNotSubstring, "+2", shell.output) << "read on after the end";
  const auto told = linesOf(shell.complaints);
  ASSERT_EQ(told.size(), complaints.size()) << shell.complaints;
  for (std::size_t i = 0; i < told.size(); ++i) {
    EXPECT_EQ(told[i].substr(0, complaints[i].size()), complaints[i]);
  }

  // A player names them all, and plays nothing. The language alone has no questions.
  const Result player = run("play -", "\n" + scenario);
  EXPECT_EQ(player.status, 2);
  EXPECT_EQ(player.output, "");
  const auto named = linesOf(player.complaints);
  ASSERT_EQ(named.size(), told.size() - 1) << player.complaints;
  for (std::size_t i = 0; i < named.size(); ++i) {
    const std::size_t end = named[i].find(": ");
    EXPECT_EQ(named[i].substr(0, end), told[i].substr(0, end));
  }
}

TEST_F(HomeScreen, UnderstandsEveryFormOfWord) {
  EXPECT_EQ(play("  contact \"A \\\"B\\\" \\\\ C\"   phone +1#comment \"with\n"
                 "group G \"A \\\"B\\\" \\\\ C\" # \"\r\n"
                 "groups\n"
                 "\t\n"
                 "message\n"
                 "message \"\"\n"),
            "1\n1\n1 G\npresented\npresented\n");
}

TEST_F(HomeScreen, WritesPreferencesOfEveryKindAndTracesWhatTheyDo) {
  std::string scenario = "dnd on\nset schedulerWeekday_2 false\n";
  for (const auto& [change, mode] : Pairs{
           {"set allowedMessageGroup 2.9", "2"},
           {"set allowedMessageGroup true", "1"},
           {"set allowedMessageGroup \"  12th\"", "12"},
           {"set allowedMessageGroup \"true\"", "0"},
           {"set allowedMessageGroup -100", "-100"},
           {"unset allowedMessageGroup", "-200"},
       }) {
    scenario += fmt::format(
        "{}\npost reloadsettings\nmessage\n"
        "expect-log \"HL: DnD active:y, privilegedGroupID={}\"\n",
        change, mode);
  }
  const Result result = run("play - --trace", scenario);
  EXPECT_EQ(result.status, 0) << result.complaints;
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "      | HL: playing notifications from everyone...\n",
                      result.output);
}

TEST_F(HomeScreen, ShowsAllExportedValues) {
  EXPECT_EQ(play("clock \"2026-11-21 23:00\"\n"
                 "contact A phone +1-2 email a@b\ngroup G A\n"
                 "set allowedMessageGroup 1\nset schedulerWeekday_7 false\n"
                 "set schedulerWeekday_1 0\npost reloadsettings\n"
                 "debug on\ndnd on\nadvance 1d2h30m5s\npost manualdndenabled\nstate\n"),
            "1\n1\n"
            "allowedMessageGroup=1\n"
            "maxNumOfDigitsToCompare=7\n"
            "enableDebugLogging=true\n"
            "isDNDActive=true\n"
            "privilegedMessageSenderIDs=[1]\n"
            "privilegedMessageSenderPhones=[\"12\"]\n"
            "privilegedMessageSenderEmails=[\"a@b\"]\n"
            "daysForSuppressingScheduler=[1,7]\n"
            "ctorTime=2026-11-21 20:00:00\n"
            "manualDNDEnabledTime=2026-11-23 01:30:05\n");
}

TEST_F(HomeScreen, TurnsEveryKnobOfThePhone) {
  EXPECT_EQ(play("set allowedMessageGroup -300\n"
                 "post org.mernwick.hushlane.reloadsettings\n"
                 "favourite +15550100163\n"
                 "gateway 0x1 2\nplatform-answer no\nmessage +15550100163\nmessage +15550100142\n"
                 "gateway 0x100000000\nmessage +15550100163\n"
                 "platform-answer yes\nmessage +15550100142\n"
                 "platform-answer auto\ndnd on\nmessage +15550100142\n"
                 "notification 2 +15550100163\ndnd off\nnotification -5\n"
                 "matcher\nmatcher +15550100142\n"),
            "presented\nheld back\nheld back\npresented\nheld back\nheld back\npresented\n"
            "false\nfalse\n");
}

TEST_F(HomeScreen, FollowsTheScheduleThroughTheWeek) {
  EXPECT_EQ(play("time-zone Europe/Berlin\n"
                 "clock 2026-11-21 21:00\n"
                 "interval\nschedule 22:00-07:00\ninterval\n"
                 "set schedulerWeekday_7 false\nset allowedMessageGroup -200\n"
                 "post reloadsettings\n"
                 "suppressed 0\nsuppressed 1\nsuppressed -9223372036854775808\n"
                 "active 2026-11-21 23:00\nactive \"2026-11-22 01:00\"\n"
                 "advance 2h\nmessage +1\nadvance 2h\nmessage +1\nadvance 6h\nmessage +1\n"
                 "schedule off\ninterval\nactive 2026-11-22 23:00\n"),
            "nothing\n22:00-07:00\ntrue\nfalse\nfalse\nnot active\nactive\n"
            "presented\nheld back\npresented\nnothing\nnot active\n");
}

TEST_F(HomeScreen, TellsOfAnExceptionWhileReadingTheStoredSchedule) {
  writeFile(
      folder / overrides,
      "<plist version=\"1.0\"><dict><key>overrides</key><array><data>AAAA</data></array></dict>"
      "</plist>");
  EXPECT_EQ(play("interval\nmessage +1\n", "--device phone").rfind("raised NSInvalid", 0), 0U);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "Overrides.plist: stored override 1 is left ",
                      run("calendar --device phone").complaints);
}

TEST_F(HomeScreen, DrawsTheNightsInWhichTheClocksChange) {
  for (const auto& [day, lines] : Pairs{
           {"2026-10-24", "####| 10h00m of 25h00m\n"},
           {"2026-10-24", "Sun 2026-10-25 03:00  clocks  back to 02:00\n"},
           {"2026-03-28", "|####  ########..............................####| 8h00m of 23h00m\n"},
           {"2026-03-28", "Sun 2026-03-29 02:00  clocks  forward to 03:00\nSun 2026-03-29 07:00"},
       }) {
    const Result result = run(fmt::format(
        "calendar --device examples/phone --time-zone Europe/Berlin --next 2 --at '{} 12:00'",
        day));
    EXPECT_PRED_FORMAT2(testing::IsSubstring, lines, result.output);
  }
}

TEST_F(HomeScreen, ExplainsEachConditionByItsSource) {
  fs::copy(folder / "examples/phone", folder / "phone", fs::copy_options::recursive);
  const struct {
    int mode;
    const char* question;
    const char* condition;
  } rows[] = {
      {1, "'x): 1' --dnd", "Tail compared x): 1 the whole sender;"},
      {1, "'(0100142)' --dnd", "Tail compared 100142) last 7;"},
      {1, "'' --dnd", "Tail compared (empty) the whole sender;"},
      {1, "mara@quill.example --dnd", "A member's address yes Mara Quill, mara@quill.example\n"},
      {2, "+15550100163 --dnd", "A member's number 15550100163 Dr. Ines Falk, +15550100163\n"},
      {2, "mara@quill.example --dnd", "A member's address no\n"},
      {-400, "MARA@quill.example --dnd", "In the contacts yes Mara Quill, mara@quill.example\n"},
      {-300, "+15550100163 --dnd", "Among the favourites yes Dr. Ines Falk, +15550100163\n"},
      {-300, "+15550100142 --dnd", "Among the favourites no\n\n held back\n"},
      {77, "1 --dnd", "Let through group 77, which does not exist\n allowedMessageGroup is 77\n"},
      {0, "1 --dnd", "Let through nobody (mode 0)\n"},
      {1, "1 --at '2026-11-21 23:00'", " schedule 22:00-07:00, but not on Saturdays\n"},
      {1, "1 --at '2026-11-22 12:00'", " outside the schedule 22:00-07:00, a Sunday\n"},
      {1, "1 --at '2026-11-21 23:00' --dnd", "Do Not Disturb on by hand\n"},
      {1, "1 --at '2026-11-22 23:00' --dnd",
       " on by hand, and by the schedule 22:00-07:00, a Sunday"},
  };
  for (const auto& row : rows) {
    chooseMode(row.mode);
    const Result result =
        runInShell(fmt::format("hushlane-sim explain --device phone {} | tr -s ' '", row.question));
    EXPECT_PRED_FORMAT2(testing::IsSubstring, row.condition, result.output);
  }
}

TEST_F(HomeScreen, GivesAnExplanationAsOneObject) {
  const Result result =
      run("explain +15550100163 --json --device examples/phone --at '2026-11-22 01:00:30'");
  const auto explanation = nlohmann::json::parse(result.output);
  EXPECT_EQ(explanation["at"], "2026-11-22 01:00:30");
  EXPECT_EQ(explanation["answer"], "held back");
  EXPECT_EQ(explanation["chain"][4]["value"], "0100163");
  EXPECT_EQ(explanation["changes"].size(), 5U);
  EXPECT_EQ(explanation["changes"][4],
            nlohmann::json::parse(R"({"key": "schedulerWeekday_1", "value": false,
                                      "meaning": "no schedule on Sundays"})"));
}

TEST_F(HomeScreen, CompletesAndRemembersAtAPrompt) {
  const std::string prompt =
      "TERM=xterm NO_COLOR=1 timeout 60 script --quiet --command "
      "'hushlane-sim shell --device examples/phone' /dev/null";
  // Tab after a command, a key and its value, a notification, a choice, within the quotes of a
  // name, and for a sender; the arrow up recalls the message.
  const std::string shown =
      runInShell(prompt,
                 "set allowedM\t-10\t\npost rel\t\nplatform-answer n\t\ngateway 1\n"
                 "group New \"Mara Q\t\nexplain tom\t\nmess\t+1\n\x1b[A\nquit\n")
          .output;
  const std::string presented = "      presented\r\n";
  EXPECT_NE(shown.find(presented), shown.rfind(presented)) << "only once in " << shown;
  for (const char* answer : {"      3\r\n", "A message from tomas@reyes.example at "}) {
    EXPECT_PRED_FORMAT2(testing::IsSubstring, answer, shown);
  }
  EXPECT_PRED_FORMAT2(testing::IsNotSubstring, "unknown command", shown);
  EXPECT_PRED_FORMAT2(testing::IsNotSubstring, "\x1b[32m", shown) << "colour in spite of NO_COLOR";

  // The next shell knows the lines: four up is the question.
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "A message from tomas@reyes.example at ",
                      runInShell(prompt, "\x1b[A\x1b[A\x1b[A\x1b[A\nquit\n").output);
}

TEST_F(HomeScreen, ReportsOneObjectForEachCommandWithTheStartFirst) {
  const Result result = run("play - --json --trace",
                            "foundation-version 1300\n"
                            "  dnd  on # quiet\n"
                            "message +1\n"
                            "expect \"held back\"\n");
  EXPECT_EQ(result.status, 0) << result.complaints;
  EXPECT_EQ(
      result.output,
      R"({"line":0,"command":"start","output":[],"log":["HL: starting...","HL: unable to get preferences"]}
{"line":1,"command":"foundation-version 1300","output":[],"log":[]}
{"line":2,"command":"dnd  on","output":[],"log":["HL: DnD state changed to y"]}
{"line":3,"command":"message +1","output":["held back"],"log":["HL: default should present this notification: n, notification type: 1","HL: DnD active:y, privilegedGroupID=0","HL: presenting contact?, returning: n"]}
{"line":4,"command":"expect \"held back\"","output":[],"log":[],"asExpected":true}
)");
}

TEST_F(HomeScreen, TellsEveryFailedExpectationAndPlaysOn) {
  const Result result = run("play -",
                            "expect-log \"HL: starting...\"\n"
                            "dnd on\nexpect x\n"
                            "message +1\nexpect presented\nexpect \"held back\"\n"
                            "expect-log \"HL:\\tx\"\n");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.complaints,
            "standard input:3: expected \"x\", but \"dnd on\" (line 2) gave no output\n"
            "standard input:5: expected \"presented\", but \"message +1\" (line 4) gave "
            "\"held back\"\n"
            "standard input:7: expected \"HL:\\tx\" in the log, but \"message +1\" (line 4) "
            "logged nothing\n");
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "   as expected\n", result.output);
  EXPECT_PRED_FORMAT2(testing::IsNotSubstring, "\x1b", result.output) << "not on a terminal";
}

TEST_F(HomeScreen, PlaysOnACopyOfThePhone) {
  chooseMode(-100);
  const std::string before = contents(folder / settings);
  fs::permissions(folder / settings, fs::perms::owner_read);
  EXPECT_EQ(play("dnd on\nmessage +1\nset allowedMessageGroup -200\npost reloadsettings\n"
                 "message +1\ncontact A\n",
                 "--device phone"),
            "presented\nheld back\n1\n");
  EXPECT_EQ(contents(folder / settings), before);
  EXPECT_FALSE(fs::exists(folder / addressBook));
}

TEST_F(HomeScreen, TellsWrongUsageFromAnUnreadablePhone) {
  const struct {
    const char* arguments;
    int status;
    const char* complaint;
  } rows[] = {
      {"", 2, "no command; expected one of demo, play, "},
      {"play", 2, "SCENARIO is required"},
      {"play nowhere.scenario", 2, "nowhere.scenario: No such file or directory"},
      {"play scratch", 2, "scratch: is a directory"},
      {"play - --library nowhere.so", 2, "nowhere.so"},
      {"explain", 2, "SENDER is required"},
      {"explain +1 --at noon", 2, "--at: noon is no time; expected now, 23:30, "},
      {"who --time-zone Mars/North", 2, "Mars/North is no time zone"},
      {"calendar --next 0", 2, "--next"},
      {"demo > /dev/full", 2, "standard output: No space left on device"},
      {"play - --device nowhere", 3, "nowhere: does not exist"},
      {"play - --device input", 3, "input: is no directory"},
  };
  for (const auto& row : rows) {
    const Result result = run(row.arguments);
    EXPECT_EQ(result.status, row.status) << row.arguments;
    EXPECT_PRED_FORMAT2(testing::IsSubstring, row.complaint, result.complaints);
  }
}

TEST_F(HomeScreen, NamesTheUsersOwnFileThatCanNotBeRead) {
  for (const auto& [file, content] : std::initializer_list<std::pair<fs::path, const char*>>{
           {settings, "<plist><dict>"},
           {settings, "<plist version=\"1.0\"><array/></plist>"},
           {overrides, "bplist00"},
           {addressBook, "no database at all"},
       }) {
    fs::remove_all(folder / "phone");
    writeFile(folder / file, content);
    const Result result = run("play - --device phone", "message +1");
    EXPECT_EQ(result.status, 3) << file;
    EXPECT_EQ(result.output, "");
    const std::string named = file.string() + ": ";
    EXPECT_EQ(result.complaints.substr(0, named.size()), named);
  }
}

// ---- The documents for users -------------------------------------------------------------------

const fs::path sources = HUSHLANE_SOURCE_DIR;

TEST_F(HomeScreen, PrintsWhatTheReadmeShows) {
  std::vector<std::pair<std::string, std::string>> examples;  // a command and its output
  bool inside = false;
  for (const std::string& line : linesOf(contents(sources / "README.md"))) {
    if (line.starts_with("```")) {
      inside = line == "```console";
    } else if (inside && line.starts_with("$ ")) {
      examples.emplace_back(line.substr(2), "");
    } else if (inside) {
      examples.back().second += line + "\n";
    }
  }
  EXPECT_GE(examples.size(), 6U);
  for (const auto& [command, output] : examples) {
    const Result result = runInShell(command);
    EXPECT_EQ(result.status, 0) << "$ " << command;
    EXPECT_EQ(result.output + result.complaints, output) << "$ " << command;
    const auto lines = linesOf(output);
    EXPECT_LE(lines.size(), 40U) << "$ " << command;
    for (const std::string& line : lines) EXPECT_LE(line.size(), 80U) << line;
  }
}

TEST_F(HomeScreen, NamesEveryCommandInTheReadme) {
  const std::string readme = contents(sources / "README.md");
  const std::string head = "| Command | Does | Output |\n|---|---|---|\n";
  const std::string table = readme.substr(readme.find(head) + head.size());
  std::set<std::string> rows;
  for (const std::string& line : linesOf(table.substr(0, table.find("\n\n")))) {
    rows.insert(line.substr(0, line.find("` |")));
  }
  for (const home_screen::Command& command : home_screen::commandTable()) {
    const std::string usage = std::regex_replace(command.usage(), std::regex("\\|"), "\\|");
    EXPECT_EQ(rows.erase("| `" + usage), 1U) << "README.md lacks a row | `" << usage << "` | ...";
  }
  for (const std::string& row : rows) ADD_FAILURE() << "README.md has a row of no command: " << row;
  const std::string help = run("--help").output;
  const std::size_t commands = help.find("  demo ");
  for (const std::string& line :
       linesOf(help.substr(commands, help.find("\n\n", commands) - commands))) {
    const std::string example =
        "hushlane-sim " + std::regex_replace(line, std::regex(" *([a-z-]+).*"), "$1");
    EXPECT_NE(readme.find(example), std::string::npos) << "README.md never shows " << example;
  }
  for (const std::string& line : linesOf(run("play --help").output)) EXPECT_LE(line.size(), 80U);
}

TEST_F(HomeScreen, ComparesAsTheDocumentSaysCaseByCase) {
  // What makes a scenario of a row, one after the other.
  const std::pair<std::regex, const char*> steps[] = {
      {std::regex(R"(\| `([^`]+)` \| `([^`]+)` \| (-?\d+) \| (yes|no) \|.*)"),
       "contact A phone \"$1\" email \"$1\"\ngroup G A\nset allowedMessageGroup 1\n"
       "set maxNumOfDigitsToCompare $3\npost reloadsettings\ndnd on\nmessage \"$2\"\nexpect $4"},
      {std::regex(R"(\| `([^`]+)` \| (?:none|`([^`]+)`) \| `([^`]+)` \| (on|off) \|.*)"),
       "set $2 false\npost reloadsettings\nschedule $1\nactive $3\nexpect $4"},
      {std::regex("set  false\n|\"\\(absent\\)\"|\\(empty\\)"), ""},
      {std::regex("expect yes"), "expect presented"},
      {std::regex("expect no"), "expect \"held back\""},
      {std::regex("expect on"), "expect active"},
      {std::regex("expect off"), "expect \"not active\""},
  };
  int rows = 0;
  for (const std::string& row : linesOf(contents(sources / "docs/what-is-compared.md"))) {
    if (!row.starts_with("| `")) continue;
    ++rows;
    std::string scenario = row;
    for (const auto& [what, with] : steps) scenario = std::regex_replace(scenario, what, with);
    const Result result = run("play -", scenario);
    EXPECT_EQ(result.status, 0) << row << "\n" << scenario << "\n" << result.complaints;
  }
  EXPECT_GT(rows, 30);
}

TEST_F(HomeScreen, PlaysEveryExampleAsItExpects) {
  const Result result =
      runInShell("for file in examples/*.scenario; do hushlane-sim play $file || exit; done");
  EXPECT_EQ(result.status, 0) << result.complaints;
}

}  // namespace
