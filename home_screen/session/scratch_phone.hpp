// A session on a phone that may be written and goes away at the end: empty, or with copies of a
// phone's files. The original is only read.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

namespace home_screen {

class Session;

struct Choice {
  std::optional<std::string> phone;  // its directory; else an empty phone
  std::string library;
};

// A file of the phone that can't be used: "FILE: what is wrong, and what was expected", where the
// file is the original's.
class PhoneError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Copies the files that the phone's services read into the folder, and uses the copy; gives what
// `use` gives. A stored override that can't be used is left out, and `complain` is told. Throws
// PhoneError, std::runtime_error when the folder can't be written, and what `use` throws.
int onScratchPhone(const Choice& choice, const std::filesystem::path& folder,
                   void (*complain)(const std::string&), const std::function<int(Session&)>& use);

}  // namespace home_screen
