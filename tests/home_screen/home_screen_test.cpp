// Runs the built program as people do, and looks at its exit status, output and complaints.

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

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

struct Result {
  int status;
  std::string output;
  std::string complaints;
};

class HomeScreen : public testing::Test {
 protected:
  HomeScreen() {
    std::string pattern = (fs::temp_directory_path() / "home-screen-test-XXXXXX").string();
    folder = mkdtemp(pattern.data());
    fs::create_directories(scratch());
  }
  ~HomeScreen() override { fs::remove_all(folder); }

  // Where the program makes its scratch phones.
  fs::path scratch() const { return folder / "scratch"; }
  fs::path device() const { return folder / "phone"; }
  fs::path deviceFile(const std::string& name) const {
    return device() / "var/mobile/Library" / name;
  }

  Result run(const std::string& arguments, const std::string& input = "") const {
    writeFile(folder / "input", input);
    const std::string command =
        fmt::format("cd '{0}' && TMPDIR='{1}' '{2}' < input > output 2> complaints {3}",
                    folder.string(), scratch().string(), HUSHLANE_SIM, arguments);
    const int status = std::system(command.c_str());
    EXPECT_TRUE(WIFEXITED(status)) << command;
    EXPECT_TRUE(fs::is_empty(scratch())) << "left behind by: " << command;
    return {WEXITSTATUS(status), contents(folder / "output"), contents(folder / "complaints")};
  }

  // The outputs of all commands, each line of them on a line.
  std::string play(const std::string& scenario, const std::string& options = "") const {
    const Result result = run("play - --json " + options, scenario);
    EXPECT_EQ(result.status, 0) << result.complaints;
    std::istringstream lines(result.output);
    std::string outputs;
    for (std::string line; std::getline(lines, line);) {
      const auto outcome = nlohmann::json::parse(line);
      for (const auto& output : outcome["output"]) {
        outputs += output.get<std::string>() + "\n";
      }
    }
    return outputs;
  }

  fs::path folder;
};

struct Wrong {
  const char* scenario;
  const char* complaint;  // how the complaint begins
};

// Names the first lines of a wrong scenario's complaint in the test's own output.
void PrintTo(const Wrong& wrong, std::ostream* stream) { *stream << wrong.scenario; }

class WrongScenario : public HomeScreen, public testing::WithParamInterface<Wrong> {};

TEST_P(WrongScenario, IsRefusedWholeWithItsPlace) {
  const Result result = run("play -", GetParam().scenario);
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.complaints.rfind(std::string("standard input:") + GetParam().complaint, 0), 0U)
      << result.complaints;
}

INSTANTIATE_TEST_SUITE_P(
    Lines, WrongScenario,
    testing::Values(
        Wrong{"dnd on\n\nmesage +1\n",
              "3: unknown command \"mesage\"; expected one of foundation-version, "},
        Wrong{"message a b\n", "1: too many words"},
        Wrong{"state\nset key\n", "2: too few words; expected set KEY VALUE"},
        Wrong{"message \"+1\n", "1: the quoted text has no end"},
        Wrong{"message \"+1\"2\n", "1: text directly behind a closing double quote"},
        Wrong{"message a\"b\"\n", "1: a double quote inside a word"},
        Wrong{"message \"\\x\"\n", "1: unknown escape \"\\x\""},
        Wrong{"dnd perhaps\n", "1: \"perhaps\" is not one of the choices; expected dnd on|off"},
        Wrong{"clock 2026-02-30 10:00\n", "1: \"2026-02-30 10:00\" is not a local time"},
        Wrong{"clock 2026-11-21 24:00\n", "1: \"2026-11-21 24:00\" is not a local time"},
        Wrong{"advance 2x\n", "1: \"2x\" is not a duration"},
        Wrong{"advance 30m2h\n", "1: \"30m2h\" is not a duration"},
        Wrong{"set key word\n", "1: \"word\" is no integer"},
        Wrong{"set key nan\n", "1: \"nan\" is no integer"},
        Wrong{"gateway -1\n", "1: \"-1\" is not an unsigned integer"},
        Wrong{"notification 2147483648 a\n", "1: \"2147483648\" is not a 32-bit integer"},
        Wrong{"contact A phone\n", "1: no phone behind it"},
        Wrong{"contact A fax 1\n", "1: \"fax\" is not one of the choices"},
        Wrong{"contact A\ngroup G A B\n", "2: no person is called \"B\""},
        Wrong{"contact A\ncontact A\ngroup G A\n", "3: 2 people are called \"A\""},
        Wrong{"dnd on\nfoundation-version 1300\n", "2: \"foundation-version\" after"},
        Wrong{"schedule 22:00\n", "1: \"22:00\" is not a period of the day"},
        Wrong{"schedule 22:00-24:00\n", "1: \"22:00-24:00\" is not a period"},
        Wrong{"schedule 22:00-22:00\n", "1: \"22:00-22:00\" is not a period"},
        Wrong{"active noon\n", "1: \"noon\" is not a local time; expected active YYYY"},
        Wrong{"suppressed 1.5\n", "1: \"1.5\" is not an integer"},
        Wrong{"time-zone Mars/North\n", "1: \"Mars/North\" is no time zone"},
        Wrong{"dnd on\ntime-zone Etc/UTC\n", "2: \"time-zone\" after"},
        Wrong{"message \x1b[31m \x1b\n", "1: too many words"},
        Wrong{"\x1b[31m\n", "1: unknown command \"\\x1b[31m\""}));

TEST_F(HomeScreen, UnderstandsEveryFormOfWord) {
  EXPECT_EQ(play("  contact \"A \\\"B\\\" \\\\ C\"   phone +1#comment \"with\n"
                 "group G \"A \\\"B\\\" \\\\ C\" # \"\r\n"
                 "groups\n"
                 "\t\n"
                 "message\n"
                 "message \"\"\n"),
            "1\n1\n1 G\npresented\npresented\n");
}

struct Setting {
  const char* value;
  const char* mode;  // as the library reads it
};

TEST_F(HomeScreen, WritesPreferencesOfEveryKind) {
  for (const Setting& setting :
       {Setting{"-400", "-400"}, Setting{"2.9", "2"}, Setting{"true", "1"}, Setting{"false", "0"},
        Setting{"\"  12th\"", "12"}, Setting{"\"true\"", "0"}}) {
    const std::string lines = play(
        fmt::format("set allowedMessageGroup {}\npost reloadsettings\nstate\n", setting.value));
    EXPECT_EQ(lines.substr(0, lines.find('\n')), std::string("allowedMessageGroup=") + setting.mode)
        << setting.value;
  }
  EXPECT_EQ(
      play("set allowedMessageGroup -100\nset schedulerWeekday_2 false\n"
           "unset allowedMessageGroup\npost reloadsettings\nclear\npost reloadsettings\nstate")
          .substr(0, 24),
      "allowedMessageGroup=-200");
}

TEST_F(HomeScreen, ShowsAllExportedValues) {
  EXPECT_EQ(play("clock \"2026-11-21 23:00\"\n"
                 "contact A phone +1-2 email a@b\n"
                 "group G A\n"
                 "set allowedMessageGroup 1\n"
                 "set schedulerWeekday_7 false\n"
                 "set schedulerWeekday_1 0\n"
                 "post reloadsettings\n"
                 "debug on\n"
                 "dnd on\n"
                 "advance 1d2h30m5s\n"
                 "post manualdndenabled\n"
                 "state\n"),
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
      deviceFile("BulletinBoard/BehaviorOverrides.plist"),
      "<plist version=\"1.0\"><dict><key>overrides</key><array><data>AAAA</data></array></dict>"
      "</plist>");
  EXPECT_EQ(play("interval\nmessage +1\n", "--device phone").rfind("raised NSInvalid", 0), 0U);
  const std::string left =
      "phone/var/mobile/Library/BulletinBoard/BehaviorOverrides.plist: stored override 1 is left ";
  EXPECT_EQ(run("calendar --device phone").complaints.substr(0, left.size()), left);
}

struct ClockChange {
  const char* night;
  std::vector<std::string> lines;
};

TEST_F(HomeScreen, DrawsTheNightsInWhichTheClocksChange) {
  const std::string phone = (fs::path(HUSHLANE_SOURCE_DIR) / "examples/phone").string();
  for (const ClockChange& change : {
           ClockChange{
               "2026-10-24 12:00",
               {"####| 10h00m of 25h00m\n", "Sun 2026-10-25 03:00  clocks  back to 02:00\n"}},
           ClockChange{"2026-03-28 12:00",
                       {"Sun 29 Mar |####  ########..............................####| "
                        "8h00m of 23h00m\n",
                        "Sun 2026-03-29 02:00  clocks  forward to 03:00\n",
                        "Sun 2026-03-29 07:00  off     the schedule ends\n"}},
       }) {
    const Result result =
        run(fmt::format("calendar --device '{}' --time-zone Europe/Berlin --next 2 --at '{}'",
                        phone, change.night));
    EXPECT_EQ(result.status, 0) << result.complaints;
    for (const std::string& line : change.lines) {
      EXPECT_NE(result.output.find(line), std::string::npos) << line << result.output;
    }
  }
}

TEST_F(HomeScreen, ExplainsAsOneObjectAndLeavesThePhoneAsItWas) {
  fs::copy(fs::path(HUSHLANE_SOURCE_DIR) / "examples/phone", device(), fs::copy_options::recursive);
  const fs::path settings = deviceFile("Preferences/org.mernwick.hushlane.plist");
  const std::string before = contents(settings);
  const Result result =
      run("explain +15550100163 --json --device phone --at '2026-11-22 01:00:30'");
  EXPECT_EQ(contents(settings), before);
  EXPECT_EQ(result.status, 0) << result.complaints;
  const auto explanation = nlohmann::json::parse(result.output);
  EXPECT_EQ(explanation["at"], "2026-11-22 01:00:30");
  EXPECT_EQ(explanation["answer"], "held back");
  EXPECT_EQ(explanation["chain"][4]["condition"], "Tail compared");
  EXPECT_EQ(explanation["chain"][4]["value"], "0100163");
  EXPECT_EQ(explanation["changes"].size(), 5U);
  EXPECT_EQ(explanation["changes"][4],
            nlohmann::json::parse(R"({"key": "schedulerWeekday_1", "value": false,
                                      "meaning": "no schedule on Sundays"})"));
}

// What the program shows on a terminal while this is typed.
std::string typed(const std::string& keys) {
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == 0) {
    setenv("TERM", "xterm", 1);
    setenv("NO_COLOR", "1", 1);
    execl(HUSHLANE_SIM, HUSHLANE_SIM, "shell", nullptr);
    _exit(127);
  }
  std::string shown;
  char part[4096];
  const auto readUntilPrompt = [&] {
    constexpr std::string_view prompt = "hushlane> ";
    const std::size_t start = shown.size();
    for (ssize_t got = 1; got > 0 && shown.find(prompt, start) == std::string::npos;) {
      got = read(terminal, part, sizeof part);
      if (got > 0) shown.append(part, static_cast<std::size_t>(got));
    }
  };
  readUntilPrompt();
  std::istringstream lines(keys);
  for (std::string line; std::getline(lines, line);) {
    line += '\n';
    EXPECT_EQ(write(terminal, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    readUntilPrompt();
  }
  close(terminal);
  int status = 0;
  waitpid(child, &status, 0);
  return shown;
}

TEST_F(HomeScreen, CompletesAndRemembersAtAPrompt) {
  // Tab after a command, a key, a notification and a choice; the arrow up recalls the message.
  const std::string shown = typed(
      "set allowedM\t-100\npost rel\t\nplatform-answer n\t\ngateway 1\n"
      "mess\t+1\n\x1b[A\nstate\nquit\n");
  std::size_t presented = 0;
  for (std::size_t at = 0; (at = shown.find("presented", at)) != std::string::npos; ++at) {
    ++presented;
  }
  EXPECT_EQ(presented, 2U) << shown;
  EXPECT_NE(shown.find("allowedMessageGroup=-100\r\n"), std::string::npos) << shown;
  EXPECT_EQ(shown.find("unknown command"), std::string::npos) << shown;
  EXPECT_EQ(shown.find("\x1b[32m"), std::string::npos) << "colour in spite of NO_COLOR";
}

TEST_F(HomeScreen, RunsTheLinesOfAShellAsTheyComeAndReadsOnAfterAWrongOne) {
  const Result result = run("shell",
                            "foundation-version 1300\nhelp dnd\ndnd perhaps\ndnd on\nmessage +1\n"
                            "expect presented\nquit\nmessage +2\n");
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.complaints,
            "standard input:3: \"perhaps\" is not one of the choices; expected dnd on|off\n"
            "standard input:6: expected \"presented\", but \"message +1\" (line 5) gave "
            "\"held back\"\n");
  EXPECT_NE(result.output.find("dnd on|off"), std::string::npos);
  EXPECT_NE(result.output.find("held back\n"), std::string::npos);
  EXPECT_EQ(result.output.find("+2"), std::string::npos) << "read on after the end";
  EXPECT_EQ(result.output.find("hushlane>"), std::string::npos) << "a prompt without a terminal";
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
{"line":4,"command":"expect \"held back\"","output":[],"log":[]}
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
  EXPECT_NE(result.output.find("as expected"), std::string::npos);
  EXPECT_EQ(result.output.find('\x1b'), std::string::npos) << "colour without a terminal";
}

TEST_F(HomeScreen, KeepsDebugLoggingOnOnlyWhenTraced) {
  const std::string scenario =
      "set allowedMessageGroup -100\npost reloadsettings\ndnd on\nmessage +1\n";
  EXPECT_EQ(run("play -", scenario).output.find("HL:"), std::string::npos);
  EXPECT_NE(
      run("play - --trace", scenario).output.find("| HL: playing notifications from everyone"),
      std::string::npos);
}

TEST_F(HomeScreen, PlaysOnACopyOfThePhone) {
  const fs::path preferences = deviceFile("Preferences/org.mernwick.hushlane.plist");
  const std::string before =
      "<plist version=\"1.0\"><dict><key>allowedMessageGroup</key><integer>-100</integer></dict>"
      "</plist>";
  writeFile(preferences, before);
  fs::permissions(preferences, fs::perms::owner_read);
  writeFile(device() / "private/unrelated", "");

  EXPECT_EQ(play("dnd on\nmessage +1\nset allowedMessageGroup -200\npost reloadsettings\n"
                 "message +1\ncontact A\n",
                 "--device phone"),
            "presented\nheld back\n1\n");
  EXPECT_EQ(contents(preferences), before);
  EXPECT_FALSE(fs::exists(deviceFile("AddressBook")));
}

struct Unreadable {
  const char* file;  // beneath the phone's library folder
  const char* content;
};

TEST_F(HomeScreen, NamesTheUsersOwnFileThatCanNotBeRead) {
  for (const Unreadable& unreadable :
       {Unreadable{"Preferences/org.mernwick.hushlane.plist", "<plist><dict>"},
        Unreadable{"Preferences/org.mernwick.hushlane.plist",
                   "<plist version=\"1.0\"><array/></plist>"},
        Unreadable{"BulletinBoard/BehaviorOverrides.plist", "bplist00"},
        Unreadable{"AddressBook/AddressBook.sqlitedb", "no database at all"}}) {
    fs::remove_all(device());
    writeFile(deviceFile(unreadable.file), unreadable.content);
    const Result result = run("play - --device phone", "message +1");
    EXPECT_EQ(result.status, 3) << unreadable.file;
    EXPECT_EQ(result.output, "");
    const std::string expected = std::string("phone/var/mobile/Library/") + unreadable.file + ": ";
    EXPECT_EQ(result.complaints.substr(0, expected.size()), expected);
  }
}

struct Misuse {
  const char* arguments;
  int status;
  const char* complaint;
};

TEST_F(HomeScreen, TellsWrongUsageFromAnUnreadablePhone) {
  for (const Misuse& misuse : {
           Misuse{"", 2, "subcommand is required"},
           Misuse{"play", 2, "SCENARIO is required"},
           Misuse{"play - --loud", 2, "--loud"},
           Misuse{"play nowhere.scenario", 2, "nowhere.scenario: No such file or directory"},
           Misuse{"play scratch", 2, "scratch: is a directory"},
           Misuse{"play - --library nowhere.so", 2, "nowhere.so"},
           Misuse{"explain", 2, "SENDER is required"},
           Misuse{"explain +1 --at noon", 2, "--at: noon is no local time"},
           Misuse{"who --time-zone Mars/North", 2, "Mars/North is no time zone"},
           Misuse{"calendar --next 0", 2, "--next"},
           Misuse{"calendar --device nowhere", 3, "nowhere: does not exist"},
           Misuse{"demo > /dev/full", 2, "standard output: No space left on device"},
           Misuse{"play - --device nowhere", 3, "nowhere: does not exist"},
           Misuse{"play - --device input", 3, "input: is no directory"},
       }) {
    const Result result = run(misuse.arguments);
    EXPECT_EQ(result.status, misuse.status) << misuse.arguments;
    EXPECT_NE(result.complaints.find(misuse.complaint), std::string::npos) << result.complaints;
  }
}

TEST_F(HomeScreen, PlaysEveryExampleAsItExpects) {
  int played = 0;
  for (const auto& entry : fs::directory_iterator(fs::path(HUSHLANE_SOURCE_DIR) / "examples")) {
    if (entry.path().extension() != ".scenario") continue;
    const Result result = run(fmt::format("play '{}'", entry.path().string()));
    EXPECT_EQ(result.status, 0) << result.complaints;
    ++played;
  }
  EXPECT_GT(played, 0);
}

TEST_F(HomeScreen, ShowsTheEveningInOneScreen) {
  const Result result = run("demo");  // what it shows stands in the README, and is tested there
  EXPECT_EQ(result.status, 0) << result.complaints;
  EXPECT_LE(std::count(result.output.begin(), result.output.end(), '\n'), 40);
}

}  // namespace
