// A simulated phone with one address-book group, chosen in the settings, and what the measurements
// ask of it. One at a time, on one thread.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

#include "simulator/device.hpp"
#include "simulator/foundation/objects.hpp"
#include "simulator/loader/loaded_library.hpp"

namespace bench {

class Phone {
 public:
  // The group's members have two phone numbers and one e-mail address each, all different.
  explicit Phone(std::size_t members);

  void load();
  void unload() { library_.reset(); }

  // Posts the notification upon which the library loads its settings; returns when it has.
  void reload();

  // Returns when the platform's queue has nothing left to do, not even to tidy up.
  void settle() { device_.queue.drain(); }

  // Sets values that the library exports.
  void set(const std::string& name, bool on) { library_->value<bool>(name) = on; }
  void setGroup(std::int64_t group);

  // The elements of a collection that the library exports.
  const simulator::Array& collection(const std::string& name);

  static constexpr std::int64_t group = 1;

 private:
  simulator::Device device_;
  std::optional<simulator::LoadedLibrary> library_;
};

// Nobody's on that phone. The address is as long as those of the members from the 100th to the
// 999th.
inline constexpr const char* strangersNumber = "+15559012345";
inline constexpr const char* strangersAddress = "someone99@example.org";

// The server's decision as the host would call it, looked up once.
class Decision {
 public:
  static constexpr const char* question =
      "shouldPresentNotificationOfType:fromSenderWithDestinationID:";

  Decision();
  bool operator()(int type, id destinationId) const {
    return function_(server_, selector_, type, destinationId);
  }

 private:
  id server_;
  SEL selector_;
  BOOL (*function_)(id, SEL, int, id);
};

}  // namespace bench
