// The address book of the phone: an SQLite database with the phone's own schema. Also the C
// functions of the AddressBook framework, which read it, and the favourites list.
//
// Records are handed out as objects that hold their own copies, so they outlive the connection.
// The store may be used from one thread at a time; the C functions open a connection of their own
// for each address book, and read on whatever thread the completion runs.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "simulator/context/context.hpp"
#include "simulator/frameworks/destination_index.hpp"

namespace simulator {

struct Person {
  std::int64_t id;
  std::string name;  // the composite name
  std::vector<std::string> phones;
  std::vector<std::string> emails;
};

struct Group {
  std::int64_t id;
  std::string name;
  std::vector<std::int64_t> members;  // persons only, in the group's order
};

class AddressBookStore : public Current<AddressBookStore> {
 public:
  explicit AddressBookStore(const std::filesystem::path& root);
  ~AddressBookStore();

  // Throws DeviceError when the file is there but is no such database.
  void check() const;

  // Edits make the database when there is none. They throw DeviceError when it can't be written.
  std::int64_t addPerson(const std::string& name, const std::vector<std::string>& phones,
                         const std::vector<std::string>& emails);
  std::int64_t addGroup(const std::string& name, const std::vector<std::int64_t>& members);
  void addFavourite(const std::string& value);
  void makeDatabase();    // an empty one, unless there is one
  void makeFavourites();  // an empty list of them

  // All of them, in record-ID order; empty without a database.
  std::vector<Person> people() const;
  std::vector<Group> groups() const;

  // The platform's own look-ups, as the bulletin server asks them: a `DestinationIndex` decides,
  // which is made anew for each state of the file. The state is the same as long as the file is
  // (device, inode, size and time of the last change) and SQLite tells the index's own connection
  // to the database of no other's commit (PRAGMA data_version); it needs no help from whoever
  // writes. Any thread.
  bool contains(const std::string& destinationId) const;
  bool favouritesContain(const std::string& destinationId) const;
  // The same, with the entry itself.
  std::optional<std::string> findFavourite(const std::string& destinationId) const;

  // What the platform answers: is there an address book to open, does the user grant access?
  bool present = true;
  bool accessGranted = true;

  // From the root of the phone's file system.
  static constexpr const char* databaseFile = "var/mobile/Library/AddressBook/AddressBook.sqlitedb";
  static constexpr const char* favouritesFile =
      "var/mobile/Library/Preferences/com.apple.mobilephone.speeddial.plist";
  std::filesystem::path database() const { return root_ / databaseFile; }
  std::filesystem::path favourites() const { return root_ / favouritesFile; }

 private:
  using FileState = std::array<std::int64_t, 5>;
  static FileState stateOf(const std::filesystem::path& file);

  class Contacts;
  struct Favourites {
    std::vector<std::string> values;
    DestinationIndex index;
  };

  std::filesystem::path root_;
  mutable std::mutex indexMutex_;
  mutable std::unique_ptr<Contacts> contacts_;
  mutable FileState favouritesState_{};
  mutable Favourites favourites_;
};

void defineAddressBook();

}  // namespace simulator
