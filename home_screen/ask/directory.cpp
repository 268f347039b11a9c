#include "home_screen/ask/directory.hpp"

#include "hushlane/hushlane.h"

namespace home_screen {

Directory::Directory(const simulator::AddressBookStore& addressBook)
    : addressBook_(addressBook), people_(addressBook.people()), groups_(addressBook.groups()) {
  for (std::size_t i = 0; i < groups_.size(); ++i) groupById_.emplace(groups_[i].id, i);
  for (std::size_t i = 0; i < people_.size(); ++i) {
    personById_.emplace(people_[i].id, i);
    std::size_t destination = 0;
    for (const std::string& value : destinationsOf(people_[i])) {
      places_.push_back({i, destination++});
      everybody_.add(value);
    }
  }
}

const simulator::Group* Directory::group(std::int64_t id) const {
  const auto found = groupById_.find(id);
  return found == groupById_.end() ? nullptr : &groups_[found->second];
}

const simulator::Person* Directory::person(std::int64_t id) const {
  const auto found = personById_.find(id);
  return found == personById_.end() ? nullptr : &people_[found->second];
}

const Directory::Members& Directory::membersOf(std::int64_t group) const {
  const auto [known, isNew] = members_.try_emplace(group);
  const simulator::Group* const chosen = isNew ? this->group(group) : nullptr;
  if (chosen == nullptr) return known->second;
  for (const std::int64_t member : chosen->members) {
    const auto found = personById_.find(member);
    if (found == personById_.end()) continue;
    const simulator::Person& person = people_[found->second];
    std::size_t destination = 0;
    for (const std::string& number : person.phones) {
      known->second.numbers.try_emplace(simulator::digitsOf(number),
                                        Place{found->second, destination++});
    }
    for (const std::string& address : person.emails) {
      known->second.addresses.try_emplace(address, Place{found->second, destination++});
    }
  }
  return known->second;
}

Entry Directory::entryAt(const Place& place) const {
  const simulator::Person& person = people_[place.person];
  return {person.id, person.name, destinationsOf(person)[place.destination]};
}

std::optional<Entry> Directory::entryIn(const Places& places, const std::string& key) const {
  const auto found = places.find(key);
  return found == places.end() ? std::nullopt : std::optional(entryAt(found->second));
}

std::optional<Entry> Directory::memberWithDigits(std::int64_t group,
                                                 const std::string& digits) const {
  return entryIn(membersOf(group).numbers, digits);
}

std::optional<Entry> Directory::memberWithAddress(std::int64_t group,
                                                  const std::string& address) const {
  return entryIn(membersOf(group).addresses, address);
}

std::optional<Entry> Directory::contactLike(std::string_view sender) const {
  const auto found = everybody_.find(sender);
  return found ? std::optional(entryAt(places_[*found])) : std::nullopt;
}

std::optional<Entry> Directory::foundIn(const Mode& mode, const std::string& sender) const {
  if (mode.value != HushlaneAllowedMessageGroupFavorites) return contactLike(sender);
  const auto favourite = addressBook_.findFavourite(sender);
  if (!favourite) return std::nullopt;
  auto entry = contactLike(*favourite).value_or(Entry{});
  entry.value = *favourite;
  return entry;
}

std::vector<std::string> destinationsOf(const simulator::Person& person) {
  std::vector<std::string> all = person.phones;
  all.insert(all.end(), person.emails.begin(), person.emails.end());
  return all;
}

std::string modeName(std::int64_t mode, const Directory& directory) {
  if (mode <= 0) return modeName(mode);
  const simulator::Group* const group = directory.group(mode);
  if (group == nullptr) return modeName(mode) + ", which does not exist";
  return "group " + (group->name.empty() ? std::to_string(mode) + " (no name)" : group->name);
}

}  // namespace home_screen
