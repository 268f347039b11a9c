#include "home_screen/ask/mode.hpp"

#include <fmt/core.h>

#include "hushlane/hushlane.h"

namespace home_screen {

std::span<const Mode> modes() {
  static constexpr const char* everyone = "everyone gets through";
  static constexpr const char* nobody = "nobody gets through";
  static constexpr Mode all[] = {
      {HushlaneAllowedMessageGroupEveryone, "everyone", nullptr, everyone, everyone},
      {HushlaneAllowedMessageGroupNobody, "nobody", nullptr, nobody, nobody},
      {HushlaneAllowedMessageGroupFavorites, "favourites", "Among the favourites",
       "on the favourites list", "not on the favourites list"},
      {HushlaneAllowedMessageGroupAllContacts, "all contacts", "In the contacts", "in the contacts",
       "not in the contacts"}};
  return all;
}

const Mode* findMode(std::int64_t value) {
  for (const Mode& mode : modes()) {
    if (mode.value == value) return &mode;
  }
  return nullptr;
}

std::string modeName(std::int64_t value) {
  if (const Mode* mode = findMode(value)) return mode->name;
  return value > 0 ? fmt::format("group {}", value) : fmt::format("nobody (mode {})", value);
}

bool knowsWhomToLetThrough(const Session& session, std::int64_t mode) {
  if (!session.knows(PhonePart::settings)) return false;
  if (mode == HushlaneAllowedMessageGroupFavorites) return session.knows(PhonePart::favourites);
  const bool asksAddressBook = mode == HushlaneAllowedMessageGroupAllContacts || mode > 0;
  return !asksAddressBook || session.knows(PhonePart::addressBook);
}

}  // namespace home_screen
