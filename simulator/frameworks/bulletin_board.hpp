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
#include <optional>
#include <string>

#include "simulator/foundation/objects.hpp"

namespace simulator {

enum class PlatformAnswer { automatic, yes, no };

// A Do Not Disturb period that recurs every day, in minutes of the local day. It crosses midnight
// when it ends before it begins.
struct NightlySchedule {
  std::chrono::minutes from;
  std::chrono::minutes to;
};

class BulletinBoard {
 public:
  explicit BulletinBoard(const std::filesystem::path& root);
  ~BulletinBoard();

  // ---- The host ----

  // A notification arrives: the server is asked, through the (replaced) method, whether to present
  // it. An absent sender is an absent destination ID. Any thread.
  bool arrives(int type, const std::optional<std::string>& sender);

  void setManualDoNotDisturb(bool on);  // tells the gateway
  bool manualDoNotDisturb() const { return manual_; }

  // Calls the gateway's change method with just these values, with a source or without.
  void reportOverrideTypes(std::uint64_t types, std::optional<std::uint64_t> source);

  // Asks the overrides again and tells the gateway when the set of active types has changed. The
  // host does so whenever the time moves, the overrides change or settings reload.
  void refresh();

  // ---- The platform ----

  // What the server itself says; automatic: no while any override is active.
  std::atomic<PlatformAnswer> platformAnswer{PlatformAnswer::automatic};

  std::uint64_t activeOverrideTypes() const { return activeTypes_; }

  id server() const { return server_.get(); }
  id gateway() const { return gateway_.get(); }

 private:
  std::filesystem::path root_;
  Owned<Object> server_;
  Owned<Object> gateway_;
  std::atomic<std::uint64_t> activeTypes_{0};
  bool manual_ = false;
};

}  // namespace simulator
