// Who would get through: every person, number and address of the address book, each asked about
// as the sender of a message, and the tails that two different people share.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "home_screen/session/session.hpp"

namespace home_screen {

struct Who {
  struct Entry {
    std::string value;  // as it is stored
    bool presented;
    std::string why;  // by which entry, and whose it is when it is another person's; "" where
                      // it is only that Do Not Disturb is off
  };
  struct Person {
    std::string name;
    std::vector<Entry> entries;
  };
  struct SharedTail {
    std::string tail;
    Lines names;
  };

  LocalTime at;
  std::string timeZone;
  bool doNotDisturb;
  std::optional<LocalTime> night;  // when it is off: the next moment at which it is on
  std::string letThrough;
  std::vector<Person> people;
  std::int64_t digitsCompared;
  std::vector<SharedTail> sharedTails;
  std::vector<PhonePart> unknown;  // what the phone's backup lacks
};

Who askWho(Session& session);

// The sender that a message from a stored number bears: its digits behind a leading +, up to an
// extension or a pause.
std::string senderFrom(std::string_view storedNumber);

}  // namespace home_screen
