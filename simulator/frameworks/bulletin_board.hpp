// The bulletin server, the settings gateway and the behaviour overrides of the phone, and the part
// of the host that uses them: it asks the server about arriving notifications, and tells the
// gateway which overrides are active.
//
// The thread of the home screen, except `arrives`, which any thread may call.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "simulator/context/context.hpp"
#include "simulator/foundation/objects.hpp"

namespace simulator {

enum class PlatformAnswer { automatic, yes, no };

// A Do Not Disturb period that recurs every day, in minutes of the local day: from the first up to,
// but without, the second. It crosses midnight when it ends before it begins.
struct DailyPeriod {
  std::chrono::minutes from;
  std::chrono::minutes to;

  bool contains(std::chrono::minutes timeOfDay) const;
};

// "22:00-07:00"
std::string toText(const DailyPeriod& period);

class BulletinBoard : public Current<BulletinBoard> {
 public:
  // Takes over the overrides that are stored in the phone's file; one that can't be decoded is
  // left out.
  explicit BulletinBoard(const std::filesystem::path& root);

  // A complaint for each stored override that was left out, beginning with the file's path.
  const std::vector<std::string>& leftOut() const { return leftOut_; }

  // Throws DeviceError when the file of stored overrides is there but is no property list of a
  // dictionary.
  void check() const;

  // ---- The host ----

  // A notification arrives: the server is asked, through the (replaced) method, whether to present
  // it. An absent sender is an absent destination ID. Any thread.
  bool arrives(int type, const std::optional<std::string>& sender);

  void setManualDoNotDisturb(bool on);  // tells the gateway
  bool manualDoNotDisturb() const { return manual_; }

  // The one scheduled override, or none; also writes it to the file of stored overrides.
  void setSchedule(const std::optional<DailyPeriod>& period);

  // The same for any number of periods, but the host is not told: to be called before it starts, as
  // if this had been stored all along.
  void storeSchedule(const std::vector<DailyPeriod>& periods);

  // Asks every override, through the (replaced) method, whether it is in force at that moment.
  bool scheduleActiveAt(std::chrono::sys_seconds moment);

  // The times of the local day at which an override may begin or end.
  std::vector<std::chrono::minutes> scheduleBoundaries() const;

  // Calls the gateway's change method with just these values, with a source or without.
  void reportOverrideTypes(std::uint64_t types, std::optional<std::uint64_t> source);

  // Asks the overrides again and tells the gateway when the set of active types is another than the
  // one last found. The host does so whenever the time moves, overrides change or settings reload.
  void refresh();

  // What the host last found and told, to be put back after a question about something else.
  struct Told {
    std::uint64_t found;
    std::uint64_t types;
    std::optional<std::uint64_t> source;
  };
  Told told() const { return {lastFound_, activeOverrideTypes, lastSource}; }
  void forgetAllSince(const Told& told) noexcept;

  // ---- The platform ----

  // What the server itself says; automatic: no while the gateway knows of an active override.
  std::atomic<PlatformAnswer> platformAnswer{PlatformAnswer::automatic};

  // What the gateway was last told, as a bit set of override types.
  std::atomic<std::uint64_t> activeOverrideTypes{0};

  // The source that came with it, if one did, and what the gateway sets off in handling it.
  std::optional<std::uint64_t> lastSource;
  std::function<void()> whenGatewayLearns;

  id server() const { return server_.get(); }
  id gateway() const { return gateway_.get(); }

  static constexpr const char* storedOverrides =  // from the root of the phone's file system
      "var/mobile/Library/BulletinBoard/BehaviorOverrides.plist";
  std::filesystem::path overridesFile() const { return root_ / storedOverrides; }

 private:
  void loadStoredOverrides();
  std::uint64_t askOverrides(std::chrono::sys_seconds moment);

  std::filesystem::path root_;
  Owned<Object> server_;
  Owned<Object> gateway_;
  std::vector<Owned<Object>> overrides_;
  std::vector<std::string> leftOut_;
  std::uint64_t lastFound_ = 0;
  bool manual_ = false;
};

// A scheduled override with one effective interval for each period.
Owned<Object> makeOverride(const std::vector<DailyPeriod>& periods);

// "22:00-07:00" for an effective interval of an override, whatever it is otherwise "".
std::string intervalText(id interval);

void defineBulletinBoard();

}  // namespace simulator
