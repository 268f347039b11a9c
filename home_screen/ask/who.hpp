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

class Directory;

struct Who {
  struct Entry {
    std::string value;                  // as it is stored
    std::optional<std::string> sender;  // as which it was asked about; none bears such a value
    bool presented;
    std::string why;  // by which entry, and whose it is when it is another person's; "" where
                      // it is only that Do Not Disturb is off
  };
  struct Person {
    std::int64_t id;
    std::string name;
    std::vector<Entry> entries;
  };
  struct Named {
    std::int64_t id;
    std::string name;
  };
  struct SharedTail {
    std::string tail;
    std::vector<Named> people;
  };

  LocalTime at;
  std::string timeZone;
  bool doNotDisturb;
  std::optional<LocalTime> night;  // when it is off: the next moment at which it is on
  std::string letThrough;
  std::vector<Person> people;
  bool isGroup;  // else no tails are compared
  std::int64_t digitsCompared;
  std::vector<SharedTail> sharedTails;
  std::vector<PhonePart> unknown;  // what the phone's backup lacks
};

Who askWho(Session& session);

// The sender that a message from a stored number bears: its digits behind a leading +, up to an
// extension or a pause. "" for what has no digits.
std::string senderFrom(std::string_view storedNumber);
// The same, but an address that is stored as a number is asked about as it is, and what has no
// digits not at all.
std::optional<std::string> senderOf(const std::string& storedNumber);

// The tails, by the digits in force, that numbers of different people of the address book have.
// Takes a step for each person.
std::vector<Who::SharedTail> askSharedTails(Session& session, const Directory& directory,
                                            Steps& steps);

}  // namespace home_screen
