// A session on a phone that may be written and goes away at the end: empty, or with copies of a
// phone's files. The original is only read.
#pragma once

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

// Copies the folders that the phone's services read, regular files only, and uses the copy. A
// stored override that can't be used is left out, and `complain` is told. Throws PhoneError, and
// what `use` throws.
void onScratchPhone(const Choice& choice, void (*complain)(const std::string&),
                    const std::function<void(Session&)>& use);

}  // namespace home_screen
