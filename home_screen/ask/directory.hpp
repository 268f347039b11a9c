// Whose a number or an address is: the phone's address book, read once, for people to look at.
//
// The library and the phone decide who gets through; this looks for a name to an entry that they
// have matched already, by a search of its own that gives the first that fits. Where several
// entries are alike, it may be another's.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/frameworks/address_book.hpp"

namespace home_screen {

// An entry of the address book, and its person's name.
struct Entry {
  std::string person;
  std::string value;
};

class Directory {
 public:
  // Throws DeviceError when the address book can't be read.
  explicit Directory(const simulator::AddressBookStore& addressBook);

  const std::vector<simulator::Person>& people() const { return people_; }
  const std::vector<simulator::Group>& groups() const { return groups_; }
  const simulator::Group* group(std::int64_t id) const;  // null when there is none

  // The first member with a number, or an address, of just these digits; the first with a value of
  // just this text.
  std::optional<Entry> memberWithDigits(std::int64_t group, std::string_view digits) const;
  std::optional<Entry> memberWithAddress(std::int64_t group, std::string_view address) const;

  // The first entry of the whole book that the phone's own look-ups take for the same as the
  // sender.
  std::optional<Entry> contactLike(std::string_view sender) const;

 private:
  template <class Matches>
  std::optional<Entry> findMember(std::int64_t group, Matches matches) const;

  std::vector<simulator::Person> people_;
  std::vector<simulator::Group> groups_;
};

// Its numbers, then its addresses.
std::vector<std::string> destinationsOf(const simulator::Person& person);

// What a mode of the settings lets through, with the name of a group where the phone has it.
std::string modeName(std::int64_t mode, const Directory& directory);

}  // namespace home_screen
