// Whose a number or an address is: the phone's address book, read once, for people to look at.
//
// The library and the phone decide who gets through; this looks for a name to an entry that they
// have matched already, by a search of its own that gives the first that fits. Where several
// entries are alike, it may be another's. Each look-up takes the same time on a phone of any size.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "home_screen/ask/mode.hpp"
#include "simulator/frameworks/address_book.hpp"

namespace home_screen {

// An entry of the address book or of the favourites, and whose it is.
struct Entry {
  std::optional<std::int64_t> personId;  // nothing for a favourite who is no contact
  std::string person;
  std::string value;
};

class Directory {
 public:
  // Throws DeviceError when the address book can't be read. The store must outlive this.
  explicit Directory(const simulator::AddressBookStore& addressBook);

  const std::vector<simulator::Person>& people() const { return people_; }
  const std::vector<simulator::Group>& groups() const { return groups_; }
  // Null when there is none.
  const simulator::Group* group(std::int64_t id) const;
  const simulator::Person* person(std::int64_t id) const;

  // The first member with a number of just these digits; with just this address.
  std::optional<Entry> memberWithDigits(std::int64_t group, const std::string& digits) const;
  std::optional<Entry> memberWithAddress(std::int64_t group, const std::string& address) const;

  // The first entry of the whole book that the phone's own look-ups take for the same as the
  // sender.
  std::optional<Entry> contactLike(std::string_view sender) const;
  // What the look-up of such a mode finds: the favourite, or the contact.
  std::optional<Entry> foundIn(const Mode& mode, const std::string& sender) const;

 private:
  // Where an entry stands: of which person, and which of that person's destinations.
  struct Place {
    std::size_t person;
    std::size_t destination;
  };
  using Places = std::unordered_map<std::string, Place>;
  struct Members {
    Places numbers;  // by their digits
    Places addresses;
  };

  const Members& membersOf(std::int64_t group) const;
  Entry entryAt(const Place& place) const;
  std::optional<Entry> entryIn(const Places& places, const std::string& key) const;

  const simulator::AddressBookStore& addressBook_;
  std::vector<simulator::Person> people_;
  std::vector<simulator::Group> groups_;
  std::unordered_map<std::int64_t, std::size_t> personById_;
  std::unordered_map<std::int64_t, std::size_t> groupById_;
  mutable std::map<std::int64_t, Members> members_;  // of the groups that were asked about
  std::vector<Place> places_;                        // of all entries, in the order of the index
  simulator::DestinationIndex everybody_;
};

// Its numbers, then its addresses.
std::vector<std::string> destinationsOf(const simulator::Person& person);

// What a mode of the settings lets through, with the name of a group where the phone has it.
std::string modeName(std::int64_t mode, const Directory& directory);

}  // namespace home_screen
