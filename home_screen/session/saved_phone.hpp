// The phone in hand, kept: a folder laid out as a phone's file system.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "home_screen/session/phone_files.hpp"

namespace home_screen {

class Session;

// "FOLDER: what is wrong; what was expected".
class SaveError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct SavedPhone {
  std::filesystem::path folder;
  std::vector<PhonePart> leftOut;  // unknown as before, and in the folder from now on without
};

// Writes every file of the phone, also those that hold nothing. The folder is made, or is there and
// empty; its `var` appears in it whole, or not at all. Throws SaveError.
SavedPhone savePhone(const Session& session, const std::filesystem::path& folder);

}  // namespace home_screen
