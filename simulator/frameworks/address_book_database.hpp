// One connection to the phone's address book, an SQLite database with the phone's own schema.
//
// A user's database may come from a phone of any version, so columns are asked for by name, those
// that may be missing are looked for first, and nothing relies on its indices. It may also be
// damaged or made up: every reading ends, in rows or in a DeviceError that names the file. One
// question may take so many steps of SQLite's machine and rows and so much text, above what any
// phone needs: 100,000 contacts with three entries each take less than half. And all connections of
// the process together may take 256 MiB.
//
// Opened to be read, the file is changed in one case: what a writer left unfinished, a hot rollback
// journal beside it, is rolled back.
//
// One thread at a time.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace simulator {

class AddressBookDatabase {
 public:
  using Text = std::optional<std::string>;  // none for NULL

  static constexpr std::int64_t phoneProperty = 3;
  static constexpr std::int64_t emailProperty = 4;

  struct PersonRow {
    std::int64_t id;
    Text name;  // the composite name
    std::vector<Text> phones;
    std::vector<Text> emails;
  };
  struct GroupRow {
    std::int64_t id;
    Text name;
  };

  enum class Access { read, edit };

  // Without a file: an empty address book when reading, and a new file when editing.
  AddressBookDatabase(const std::filesystem::path& file, Access access);
  AddressBookDatabase(const AddressBookDatabase&) = delete;
  AddressBookDatabase& operator=(const AddressBookDatabase&) = delete;

  std::vector<PersonRow> people() const;  // in record-ID order
  std::vector<GroupRow> groups() const;   // in record-ID order
  std::optional<GroupRow> group(std::int64_t id) const;
  std::vector<PersonRow> membersOf(std::int64_t group) const;  // persons only, in member order
  std::vector<std::int64_t> memberIdsOf(std::int64_t group) const;

  std::vector<std::string> values() const;  // every number and address

  // Another one after somebody else's commit, as this connection sees it.
  std::int64_t version() const;

  // All or nothing; the new record's ID.
  std::int64_t addPerson(const std::string& name, const std::vector<std::string>& phones,
                         const std::vector<std::string>& emails);
  std::int64_t addGroup(const std::string& name, const std::vector<std::int64_t>& members);

 private:
  class Statement;
  // What is left of what one question may take.
  struct Budget {
    std::int64_t turns = 10'000;  // of 10,000 steps
    std::int64_t rows = 1'000'000;
    std::int64_t text = 64 << 20;  // bytes
  };
  static int endsWithTurn(void* budget);
  using Field = std::pair<const char*, std::variant<std::int64_t, std::string>>;

  void openFile(const std::string& name, int flags);
  void refuseHalfPages() const;
  void beginQuestion() const;
  void readSchema();
  std::string nameColumns() const;
  std::vector<PersonRow> persons(Statement& rows, Statement& values) const;
  void execute(const std::string& sql) const;
  std::int64_t insert(const std::string& table, const std::vector<Field>& fields);
  bool needsRollback() const;
  [[noreturn]] void fail() const;  // with SQLite's reason
  [[noreturn]] void refuse(const std::string& what) const;

  struct Close {
    void operator()(sqlite3* connection) const;
  };

  std::filesystem::path file_;
  mutable Budget budget_;
  std::unique_ptr<sqlite3, Close> connection_;
  std::map<std::string, std::set<std::string>> columns_;  // by table
};

}  // namespace simulator
