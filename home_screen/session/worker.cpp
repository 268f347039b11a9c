#include "home_screen/session/worker.hpp"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "home_screen/session/scratch_folder.hpp"

namespace home_screen {
namespace {

// From before the folder is made to after it is removed, signals are taken one by one.
class HeldSignals {
 public:
  HeldSignals() {
    ::sigfillset(&all_);
    ::sigprocmask(SIG_BLOCK, &all_, &before_);
    ::signal(SIGCHLD, SIG_DFL);  // ignored, it would take the child's ending with it
  }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;
  ~HeldSignals() { release(); }

  void release() const { ::sigprocmask(SIG_SETMASK, &before_, nullptr); }

  siginfo_t next() const {
    siginfo_t taken{};
    while (::sigwaitinfo(&all_, &taken) < 0) continue;
    return taken;
  }

 private:
  sigset_t all_{};
  sigset_t before_{};
};

// The modes of the terminal, which an editor of lines changes. Whoever ends or stops it abruptly
// leaves them as they were.
class Terminal {
 public:
  Terminal() : known_(::tcgetattr(STDIN_FILENO, &initial_) == 0) {}

  void reset() const { set(initial_); }

  // For as long as this process is stopped.
  void resetWhile(const std::function<void()>& stopped) const {
    termios changed{};
    const bool known = known_ && ::tcgetattr(STDIN_FILENO, &changed) == 0;
    reset();
    stopped();
    if (known) set(changed);
  }

 private:
  // In the background the terminal is somebody else's.
  void set(const termios& modes) const {
    if (known_ && ::tcgetpgrp(STDIN_FILENO) == ::getpgrp()) {
      ::tcsetattr(STDIN_FILENO, TCSADRAIN, &modes);
    }
  }

  termios initial_{};
  bool known_;
};

class Worker {
 public:
  // Those signals were pending when the process was forked, which then got none of them.
  Worker(pid_t process, const sigset_t& early) : process_(process), early_(early) {}

  // How it ended, as `waitpid` tells it.
  int wait(const HeldSignals& signals, const Terminal& terminal) const {
    while (true) {
      const siginfo_t taken = signals.next();
      if (taken.si_signo != SIGCHLD) {
        if (cameHereAlone(taken)) ::kill(process_, taken.si_signo);
        continue;
      }
      int change = 0;
      while (::waitpid(process_, &change, WNOHANG | WUNTRACED) == process_) {
        if (!WIFSTOPPED(change)) return change;
        terminal.resetWhile([] { ::raise(SIGSTOP); });
      }
    }
  }

 private:
  // The keys of a terminal signal both processes; its loss may be told to the first alone.
  bool cameHereAlone(const siginfo_t& taken) const {
    const bool sentByProcess = taken.si_code <= 0;
    return sentByProcess || taken.si_signo == SIGHUP || ::sigismember(&early_, taken.si_signo) == 1;
  }

  pid_t process_;
  sigset_t early_;
};

[[noreturn]] void dieOf(int signal) {
  ::prctl(PR_SET_DUMPABLE, 0);  // the worker has left what there is to see
  ::signal(signal, SIG_DFL);
  sigset_t only{};
  ::sigemptyset(&only);
  ::sigaddset(&only, signal);
  ::raise(signal);
  ::sigprocmask(SIG_UNBLOCK, &only, nullptr);
  std::_Exit(128 + signal);
}

}  // namespace

int inScratchFolder(const std::optional<std::string>& original,
                    const std::function<int(const std::filesystem::path&)>& work) {
  const HeldSignals signals;
  const Terminal terminal;
  const ScratchFolder scratch(original);
  std::fflush(nullptr);
  sigset_t early{};
  ::sigpending(&early);
  const pid_t process = ::fork();
  if (process < 0) {
    throw std::system_error(errno, std::generic_category(), "can't start a worker process");
  }
  if (process == 0) {
    signals.release();
    const int status = work(scratch.path());
    scratch.remove();  // this process may be gone
    std::exit(status);
  }
  const int ending = Worker(process, early).wait(signals, terminal);
  scratch.remove();
  if (WIFEXITED(ending)) return WEXITSTATUS(ending);
  terminal.reset();
  dieOf(WTERMSIG(ending));
}

}  // namespace home_screen
