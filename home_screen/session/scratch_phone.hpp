// A session on a phone that may be written and goes away at the end: empty, or with copies of a
// phone's files. The original is only read.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "home_screen/session/phone_files.hpp"
#include "simulator/frameworks/bulletin_board.hpp"

namespace home_screen {

class Session;

struct Choice {
  std::optional<std::string> phone;  // what there is of it (see phone_files.hpp); else an empty one
  std::optional<std::vector<simulator::DailyPeriod>> schedule;  // else the stored one
  std::string library;
};

// Copies the files that the phone's services read into the folder, and uses the copy; gives what
// `use` gives. A stored override that can't be used is left out, and `complain` is told; with a
// chosen schedule the stored ones are not read at all. Throws PhoneError, std::runtime_error when
// the folder can't be written, and what `use` throws.
int onScratchPhone(const Choice& choice, const std::filesystem::path& folder,
                   void (*complain)(const std::string&), const std::function<int(Session&)>& use);

}  // namespace home_screen
