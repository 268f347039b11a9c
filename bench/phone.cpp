#include "bench/phone.hpp"

#include <fmt/format.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <map>
#include <stdexcept>

#include "hushlane/hushlane.h"

namespace bench {

using namespace simulator;

namespace {

// The directories of all the phones of this program, by the size of the group.
class Roots {
 public:
  ~Roots() {
    for (const auto& [members, root] : roots_) std::filesystem::remove_all(root);
  }
  const std::filesystem::path& of(std::size_t members) {
    std::filesystem::path& root = roots_[members];
    if (root.empty()) {
      std::string pattern = (std::filesystem::temp_directory_path() / "bench-XXXXXX").string();
      if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary directory");
      root = pattern;
      fill(members, root);
    }
    return root;
  }

 private:
  static void fill(std::size_t members, const std::filesystem::path& root);

  std::map<std::size_t, std::filesystem::path> roots_;
};

// Seven digits, scattered, and different for every position below ten million. A stranger's number
// has those of a position that no group here reaches.
std::size_t scattered(std::size_t position) {
  return (position * 7'654'321 + 9'012'345) % 10'000'000;
}
constexpr std::size_t firstPosition = 1;  // 0 is the stranger's

std::string statementsFor(std::size_t member) {
  const std::size_t first = scattered(firstPosition + 2 * member);
  const std::size_t second = scattered(firstPosition + 2 * member + 1);
  const std::size_t person = member + 1;
  return fmt::format(
      "INSERT INTO ABPerson (ROWID, First, Last) VALUES ({0}, 'Member', '{0}');"
      "INSERT INTO ABMultiValue (record_id, property, value) VALUES"
      " ({0}, 3, '+1 (555) {1:03}-{2:04}'), ({0}, 3, '+49 170 {3:07}'),"
      " ({0}, 4, 'member{0}@example.org');"
      "INSERT INTO ABGroupMembers (group_id, member_type, member_id) VALUES ({4}, 0, {0});",
      person, first / 10'000, first % 10'000, second, Phone::group);
}

// Through SQLite itself: the phone's own way of adding a person opens the file each time.
void Roots::fill(std::size_t members, const std::filesystem::path& root) {
  Device device(root);
  if (device.addressBook.addGroup("Chosen", {}) != Phone::group) {
    throw std::runtime_error("the first group has another record ID than expected");
  }
  device.preferences.set(settingsDomain, "allowedMessageGroup", Phone::group);
  std::string statements = "BEGIN;";
  for (std::size_t member = 0; member < members; ++member) statements += statementsFor(member);
  statements += "COMMIT;";
  sqlite3* database = nullptr;
  const bool done =
      sqlite3_open(device.addressBook.database().c_str(), &database) == SQLITE_OK &&
      sqlite3_exec(database, statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
  sqlite3_close(database);
  if (!done) throw std::runtime_error("the address book can't be filled");
}

const std::filesystem::path& rootOf(std::size_t members) {
  static Roots roots;
  return roots.of(members);
}

}  // namespace

Phone::Phone(std::size_t members) : device_(rootOf(members)) {
  device_.clock.setTimeZone("Europe/Berlin");
  device_.bulletinBoard.platformAnswer = PlatformAnswer::no;
}

void Phone::load() {
  library_.emplace(HUSHLANE_LIBRARY);
  settle();
}

void Phone::reload() {
  device_.notifications.post("org.mernwick.hushlane.reloadsettings");
  device_.notifications.runMainLoop();
}

void Phone::setGroup(std::int64_t chosen) {
  library_->value<decltype(::allowedMessageGroup)>("allowedMessageGroup") = chosen;
}

const Array& Phone::collection(const std::string& name) {
  const auto* const array = as<Array>(library_->value<id>(name));
  if (array == nullptr) throw std::runtime_error(name + " is not there");
  return *array;
}

Decision::Decision()
    : server_(BulletinBoard::current().server()),
      selector_(sel_registerName(question)),
      function_(reinterpret_cast<BOOL (*)(id, SEL, int, id)>(
          methodOf(classNamed("BBServer"), selector_))) {}

}  // namespace bench
