// Explains the answer to one message: the conditions in the order in which they were tested, each
// with its value and where that came from, and the single settings that would turn the answer
// round.
//
// All of it comes from asking the loaded library; the changes have been tried on the phone. The
// thread of the home screen.
#pragma once

#include <string>
#include <vector>

#include "home_screen/ask/directory.hpp"
#include "home_screen/ask/message.hpp"
#include "home_screen/session/session.hpp"
#include "simulator/frameworks/preferences.hpp"

namespace home_screen {

struct Condition {
  std::string name;
  std::string value;
  std::string source;
};

// A setting that would turn the answer round.
struct Change {
  std::string key;
  simulator::PreferenceValue value;
  std::string meaning;
};

struct Explanation {
  std::string sender;
  LocalTime at;
  std::string timeZone;
  bool presented = false;
  std::vector<Condition> chain;  // the last one decided
  std::vector<Change> changes;
  std::vector<PhonePart> unknown;  // what the phone's backup lacks
};

class Explainer {
 public:
  // Reads the address book and the settings; to be made anew when these change.
  explicit Explainer(Session& session);

  // Without the changes.
  Explanation explain(const std::string& sender) const;

  // Tries every mode, every group, 1 to 15 digits and the other choice for each weekday, one at a
  // time, beside the phone's settings. Afterwards the session is as before.
  std::vector<Change> changesFor(const std::string& sender);

 private:
  void addModeConditions(const std::string& sender, const GateLog& gate,
                         std::vector<Condition>& chain) const;
  void addGroupConditions(const std::string& sender, const GateLog& gate,
                          std::vector<Condition>& chain) const;
  std::string settingSource(const std::string& key) const;

  Session& session_;
  Directory directory_;
  simulator::Owned<simulator::Dictionary> settings_;  // null when there are none
};

// The whole explanation.
Explanation askToExplain(Session& session, const std::string& sender);

}  // namespace home_screen
