#include "home_screen/ask/trial.hpp"

#include <array>
#include <utility>

#include "simulator/device.hpp"

namespace home_screen {
namespace {

// Puts back, at its end, what a load of the settings changes: in the library, and in the host that
// asks the overrides again.
class Before {
 public:
  explicit Before(Session& session)
      : library_(session.library()),
        preferences_(session.device().preferences),
        board_(session.device().bulletinBoard),
        mode_(library_.allowedMessageGroup),
        digits_(library_.maxNumOfDigitsToCompare),
        logs_(library_.enableDebugLogging),
        doNotDisturb_(library_.isDNDActive),
        lists_{{keep(library_.privilegedMessageSenderIDs),
                keep(library_.privilegedMessageSenderPhones),
                keep(library_.privilegedMessageSenderEmails),
                keep(library_.daysForSuppressingScheduler)}},
        standIn_(preferences_.standIn()),
        told_(board_.told()) {}
  Before(const Before&) = delete;
  Before& operator=(const Before&) = delete;

  ~Before() {
    preferences_.standIn(std::move(standIn_));
    board_.forgetAllSince(told_);
    library_.allowedMessageGroup = mode_;
    library_.maxNumOfDigitsToCompare = digits_;
    library_.enableDebugLogging = logs_;
    library_.isDNDActive = doNotDisturb_;
    // The library owns what its variables name.
    for (List& list : lists_) {
      simulator::own(simulator::header(std::exchange(list.current, list.before.release())));
    }
  }

 private:
  struct List {
    HushlaneObject& current;
    simulator::Owned<simulator::Object> before;
  };
  static List keep(HushlaneObject& list) {
    return {list, simulator::share(simulator::header(list))};
  }

  Exports& library_;
  simulator::PreferencesStore& preferences_;
  simulator::BulletinBoard& board_;
  std::int64_t mode_;
  std::int64_t digits_;
  bool logs_;
  bool doNotDisturb_;
  std::array<List, 4> lists_;
  SettingsHeld standIn_;
  simulator::BulletinBoard::Told told_;
};

}  // namespace

SettingsHeld settingsOf(const Session& session) {
  return session.device().preferences.domain(simulator::settingsDomain);
}

void trySettings(Session& session, SettingsHeld settings, const std::function<void()>& ask) {
  const Before before(session);
  session.device().preferences.standIn(std::move(settings));
  session.post("reloadsettings");
  ask();
}

}  // namespace home_screen
