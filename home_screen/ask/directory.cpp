#include "home_screen/ask/directory.hpp"

#include <algorithm>

#include "home_screen/ask/mode.hpp"

namespace home_screen {
namespace {

template <class Matches>
std::optional<Entry> findEntry(const simulator::Person& person, Matches matches) {
  for (const std::string& value : destinationsOf(person)) {
    if (matches(value)) return Entry{person.name, value};
  }
  return std::nullopt;
}

}  // namespace

Directory::Directory(const simulator::AddressBookStore& addressBook)
    : people_(addressBook.people()), groups_(addressBook.groups()) {}

const simulator::Group* Directory::group(std::int64_t id) const {
  const auto found = std::find_if(groups_.begin(), groups_.end(),
                                  [id](const simulator::Group& group) { return group.id == id; });
  return found == groups_.end() ? nullptr : &*found;
}

template <class Matches>
std::optional<Entry> Directory::findMember(std::int64_t group, Matches matches) const {
  const simulator::Group* chosen = this->group(group);
  if (chosen == nullptr) return std::nullopt;
  for (const std::int32_t member : chosen->members) {
    for (const simulator::Person& person : people_) {
      if (person.id != member) continue;
      if (auto entry = findEntry(person, matches)) return entry;
    }
  }
  return std::nullopt;
}

std::optional<Entry> Directory::memberWithDigits(std::int64_t group,
                                                 std::string_view digits) const {
  return findMember(group,
                    [digits](const std::string& value) { return simulator::digitsOf(value) == digits; });
}

std::optional<Entry> Directory::memberWithAddress(std::int64_t group,
                                                  std::string_view address) const {
  return findMember(group, [address](const std::string& value) { return value == address; });
}

std::optional<Entry> Directory::contactLike(std::string_view sender) const {
  for (const simulator::Person& person : people_) {
    if (auto entry = findEntry(person, [sender](const std::string& value) {
          return simulator::sameDestination(sender, value);
        })) {
      return entry;
    }
  }
  return std::nullopt;
}

std::vector<std::string> destinationsOf(const simulator::Person& person) {
  std::vector<std::string> all = person.phones;
  all.insert(all.end(), person.emails.begin(), person.emails.end());
  return all;
}

std::string modeName(std::int64_t mode, const Directory& directory) {
  const simulator::Group* group = directory.group(mode);
  return group == nullptr ? modeName(mode) : "group " + group->name;
}

}  // namespace home_screen
