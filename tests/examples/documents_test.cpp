// Runs what the documents for users show, and fails where it is not what the program does.

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::vector<std::string> linesOf(const std::string& document) {
  std::ifstream stream(fs::path(HUSHLANE_SOURCE_DIR) / document);
  EXPECT_TRUE(stream.is_open()) << document;
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// Standard output and complaints of a shell command, at the root of the sources.
std::string outputOf(const std::string& command) {
  const std::string line =
      fmt::format("cd '{}' && export PATH='{}':\"$PATH\" && ( {}\n) 2>&1", HUSHLANE_SOURCE_DIR,
                  fs::path(HUSHLANE_SIM).parent_path().string(), command);
  FILE* pipe = popen(line.c_str(), "r");
  std::string output;
  char part[4096];
  for (std::size_t read = 0; (read = fread(part, 1, sizeof part, pipe)) > 0;) {
    output.append(part, read);
  }
  pclose(pipe);
  return output;
}

struct Example {
  std::string command;
  std::string output;
};

std::vector<Example> examplesIn(const std::string& document) {
  std::vector<Example> examples;
  bool inside = false;
  for (const std::string& line : linesOf(document)) {
    if (line.starts_with("```")) {
      inside = line == "```console";
    } else if (inside && line.starts_with("$ ")) {
      examples.push_back({line.substr(2), ""});
    } else if (inside) {
      examples.back().output += line + "\n";
    }
  }
  return examples;
}

TEST(Documents, ShowWhatTheProgramPrints) {
  const auto examples = examplesIn("README.md");
  EXPECT_GE(examples.size(), 6U);
  for (const Example& example : examples) {
    EXPECT_EQ(outputOf(example.command), example.output) << "$ " << example.command;
    std::istringstream lines(example.output);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << line;
  }
}

TEST(Documents, NameEveryCommandOfTheScenarioLanguage) {
  const auto readme = linesOf("README.md");
  std::istringstream help(outputOf("hushlane-sim play --help"));
  int commands = 0;
  bool inTable = false;
  for (std::string line; std::getline(help, line);) {
    EXPECT_LE(line.size(), 80U) << line;
    if (line.starts_with("The scenario language")) inTable = true;
    if (!inTable || !line.starts_with("  ")) continue;
    std::string usage = line.substr(2, 39);
    usage.erase(usage.find_last_not_of(' ') + 1);
    for (std::size_t bar = 0; (bar = usage.find('|', bar)) != std::string::npos; bar += 2) {
      usage.insert(bar, "\\");
    }
    const std::string row = "| `" + usage + "` |";
    EXPECT_TRUE(std::any_of(readme.begin(), readme.end(), [&](const std::string& text) {
      return text.starts_with(row);
    })) << row;
    ++commands;
  }
  EXPECT_GT(commands, 20);
}

// The cells of a table's row; backquotes taken off, `(empty)` and `(absent)` kept as they are.
std::vector<std::string> cellsOf(const std::string& row) {
  std::vector<std::string> cells;
  std::istringstream stream(row.substr(1));
  for (std::string cell; std::getline(stream, cell, '|');) {
    const std::size_t start = cell.find_first_not_of(" ");
    cell = cell.substr(start, cell.find_last_not_of(" ") + 1 - start);
    if (cell.starts_with("`")) cell = cell.substr(1, cell.size() - 2);
    cells.push_back(cell);
  }
  return cells;
}

std::vector<std::vector<std::string>> tableUnder(const std::string& document,
                                                 const std::string& heading) {
  std::vector<std::vector<std::string>> rows;
  bool inside = false;
  for (const std::string& line : linesOf(document)) {
    if (line.starts_with(heading)) {
      inside = true;
    } else if (!line.starts_with("|")) {
      inside = false;
    } else if (inside && !line.starts_with("|-")) {
      rows.push_back(cellsOf(line));
    }
  }
  return rows;
}

// The report of the last command of a scenario.
std::string lastReport(const std::string& scenario) {
  return outputOf("hushlane-sim play - --json <<'END' | tail -n 1\n" + scenario + "END\n");
}

std::string argument(const std::string& cell) {
  return cell == "(absent)" ? "" : cell == "(empty)" ? "\"\"" : "\"" + cell + "\"";
}

TEST(Documents, SayWhatIsComparedOfNumbersAndAddresses) {
  const auto rows = tableUnder("docs/what-is-compared.md", "| Member has");
  EXPECT_GT(rows.size(), 15U);
  for (const auto& row : rows) {
    const char* const kind = row[0].find('@') == std::string::npos ? "phone" : "email";
    const std::string report = lastReport(fmt::format(
        "contact A {} {}\ngroup G A\nset allowedMessageGroup 1\nset maxNumOfDigitsToCompare {}\n"
        "post reloadsettings\ndnd on\nmessage {}\n",
        kind, argument(row[0]), row[2], argument(row[1])));
    EXPECT_NE(report.find(row[3] == "yes" ? "[\"presented\"]" : "[\"held back\"]"),
              std::string::npos)
        << row[0] << " / " << row[1] << ": " << report;
  }
}

TEST(Documents, SayWhatIsComparedOfWeekdays) {
  const auto rows = tableUnder("docs/what-is-compared.md", "| Schedule");
  EXPECT_GT(rows.size(), 5U);
  for (const auto& row : rows) {
    const std::string off = row[1] == "none" ? "" : fmt::format("set {} false\n", row[1]);
    const std::string report = lastReport(
        fmt::format("{}post reloadsettings\nschedule {}\nactive {}\n", off, row[0], row[2]));
    EXPECT_NE(report.find(row[3] == "on" ? "[\"active\"]" : "[\"not active\"]"), std::string::npos)
        << row[2] << ": " << report;
  }
}

}  // namespace
