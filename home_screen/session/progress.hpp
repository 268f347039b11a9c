// How far a question has come, told to whoever shows it, and the place where it can be given up.
//
// The thread of the home screen.
#pragma once

#include <cstddef>
#include <functional>

#include "home_screen/session/interruption.hpp"

namespace home_screen {

struct Progress {
  const char* what;  // is counted: "people"
  std::size_t done;
  std::size_t total;  // 0 at the end of the work
};
// Throws nothing at the end.
using ShowProgress = std::function<void(const Progress&)>;

// A piece of work of so many steps. Ends with this object, also when the question is given up.
class Steps {
 public:
  Steps(const ShowProgress& show, const char* what, std::size_t total)
      : show_(show), progress_{what, 0, total} {}
  Steps(const Steps&) = delete;
  Steps& operator=(const Steps&) = delete;
  ~Steps() {
    if (show_) show_({progress_.what, progress_.done, 0});
  }

  // Before each step. Throws GivenUp.
  void next() {
    giveUpIfInterrupted();
    if (show_) show_(progress_);
    ++progress_.done;
  }

 private:
  const ShowProgress& show_;
  Progress progress_;
};

}  // namespace home_screen
