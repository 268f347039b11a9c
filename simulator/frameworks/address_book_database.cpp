#include "simulator/frameworks/address_book_database.hpp"

#include <sqlite3.h>

#include <fstream>
#include <stdexcept>
#include <string_view>
#include <unordered_map>

#include "simulator/context/device_error.hpp"

namespace simulator {
namespace {

// What the phone's tables hold, as far as anything here reads it.
constexpr const char* schema = R"(
  CREATE TABLE ABPerson (
    ROWID INTEGER PRIMARY KEY AUTOINCREMENT, First TEXT, Last TEXT, Middle TEXT,
    Organization TEXT, Kind INTEGER, CreationDate INTEGER, ModificationDate INTEGER);
  CREATE TABLE ABMultiValue (
    UID INTEGER PRIMARY KEY, record_id INTEGER, property INTEGER, identifier INTEGER,
    label INTEGER, value TEXT);
  CREATE TABLE ABMultiValueLabel (value TEXT, UNIQUE(value));
  CREATE TABLE ABGroup (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, Name TEXT);
  CREATE TABLE ABGroupMembers (
    UID INTEGER PRIMARY KEY, group_id INTEGER, member_type INTEGER, member_id INTEGER);
  CREATE INDEX ABMultiValueRecordIndex ON ABMultiValue (record_id, property);
  CREATE INDEX ABGroupMembersGroupIndex ON ABGroupMembers (group_id);
)";

struct Requirement {
  const char* table;
  std::vector<const char*> columns;
};
const std::vector<Requirement> requirements = {
    {"ABPerson", {"First", "Last"}},
    {"ABMultiValue", {"UID", "record_id", "property", "value"}},
    {"ABGroup", {"Name"}},
    {"ABGroupMembers", {"UID", "group_id", "member_type", "member_id"}},
};

constexpr int stepsOfATurn = 10'000;
constexpr int longestValue = 1 << 20;           // bytes
constexpr std::int64_t mostMemory = 256 << 20;  // bytes, of all connections

// Ends a journal that names another one, which SQLite deletes after it has rolled the first back.
// A phone's address book is never part of several databases' transaction.
constexpr std::string_view endOfSharedJournal = "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7";

bool isShared(const std::filesystem::path& journal) {
  std::ifstream in(journal, std::ios::binary);
  std::string end(endOfSharedJournal.size(), '\0');
  in.seekg(-static_cast<std::streamoff>(end.size()), std::ios::end);
  in.read(end.data(), static_cast<std::streamsize>(end.size()));
  return in && end == endOfSharedJournal;
}

std::string joined(const AddressBookDatabase::Text (&parts)[3]) {
  std::string whole;
  for (const auto& part : parts) {
    if (!part || part->empty()) continue;
    if (!whole.empty()) whole += ' ';
    whole += *part;
  }
  return whole;
}

}  // namespace

int AddressBookDatabase::endsWithTurn(void* budget) {
  return static_cast<Budget*>(budget)->turns-- <= 0 ? 1 : 0;
}

void AddressBookDatabase::beginQuestion() const { budget_ = {}; }

void AddressBookDatabase::Close::operator()(sqlite3* connection) const {
  sqlite3_close(connection);
}

// A prepared statement and its cursor.
class AddressBookDatabase::Statement {
 public:
  Statement(const AddressBookDatabase& database, const std::string& sql) : database_(database) {
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v2(database.connection_.get(), sql.c_str(), -1, &prepared, nullptr) !=
        SQLITE_OK) {
      database.fail();
    }
    statement_.reset(prepared);
  }

  void bind(int place, std::int64_t value) { sqlite3_bind_int64(statement_.get(), place, value); }
  void bind(int place, const std::string& value) {
    sqlite3_bind_text64(statement_.get(), place, value.data(), value.size(), SQLITE_TRANSIENT,
                        SQLITE_UTF8);
  }

  bool next() {
    const int result = sqlite3_step(statement_.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) database_.fail();
    if (database_.budget_.rows-- <= 0) database_.refuse("it has rows without end");
    return result == SQLITE_ROW;
  }

  std::int64_t integer(int column) const { return sqlite3_column_int64(statement_.get(), column); }

  // Until the cursor moves.
  std::optional<std::string_view> text(int column) const {
    const auto* units = sqlite3_column_text(statement_.get(), column);
    if (units == nullptr) return std::nullopt;
    const int length = sqlite3_column_bytes(statement_.get(), column);
    database_.budget_.text -= length;
    if (database_.budget_.text < 0) database_.refuse("it has text without end");
    return std::string_view(reinterpret_cast<const char*>(units), static_cast<std::size_t>(length));
  }

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };

  const AddressBookDatabase& database_;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

AddressBookDatabase::AddressBookDatabase(const std::filesystem::path& file, Access access)
    : file_(file) {
  const bool exists = std::filesystem::exists(file);
  if (exists && !std::filesystem::is_regular_file(file)) {
    throw DeviceError(file, "not a file; expected an address book, an SQLite database");
  }
  if (access == Access::edit) {
    std::filesystem::create_directories(file.parent_path());
    openFile(file.string(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    execute("PRAGMA synchronous = OFF");  // a scratch phone need not outlive a power cut
  } else {
    const bool asItIs = exists && !needsRollback();
    openFile(exists ? file.string() : ":memory:",
             asItIs ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE);
  }
  if (!exists) execute(std::string("BEGIN;") + schema + "COMMIT;");
  readSchema();
  if (exists) refuseHalfPages();
}

bool AddressBookDatabase::needsRollback() const {
  const std::filesystem::path journal = file_.string() + "-journal";
  if (!std::filesystem::exists(journal)) return false;
  if (isShared(journal)) {
    throw DeviceError(journal, "names another journal; expected that of one database alone");
  }
  return true;
}

void AddressBookDatabase::openFile(const std::string& name, int flags) {
  sqlite3* opened = nullptr;
  const int result = sqlite3_open_v2(name.c_str(), &opened, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  connection_.reset(opened);
  if (result != SQLITE_OK) fail();
  sqlite3_hard_heap_limit64(mostMemory);
  sqlite3_progress_handler(opened, stepsOfATurn, &endsWithTurn, &budget_);
  sqlite3_limit(opened, SQLITE_LIMIT_LENGTH, longestValue);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  // Nor do triggers run: the phone's own call functions that only its own SQLite has.
  sqlite3_db_config(opened, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  execute("PRAGMA temp_store = MEMORY");
}

// SQLite itself takes the missing end of a truncated file's last page for zeros.
void AddressBookDatabase::refuseHalfPages() const {
  Statement page(*this, "PRAGMA page_size");
  page.next();
  if (std::filesystem::file_size(file_) % static_cast<std::uintmax_t>(page.integer(0)) != 0) {
    throw DeviceError(file_, "not a whole number of pages; expected an SQLite database");
  }
}

void AddressBookDatabase::fail() const {
  if (sqlite3_errcode(connection_.get()) == SQLITE_FULL) {  // no fault of the file's
    throw std::runtime_error(file_.string() + ": no space left to write it");
  }
  const bool interrupted = sqlite3_errcode(connection_.get()) == SQLITE_INTERRUPT;
  refuse(interrupted ? "reading it takes for ever" : sqlite3_errmsg(connection_.get()));
}

void AddressBookDatabase::refuse(const std::string& what) const {
  throw DeviceError(file_, what + "; expected an address book, an SQLite database");
}

// Tables alone: views and virtual tables could be made to give rows without end.
void AddressBookDatabase::readSchema() {
  Statement columns(
      *this,
      "SELECT t.name, c.name FROM pragma_table_list t JOIN pragma_table_info(t.name) c"
      " WHERE t.schema = 'main' AND t.type = 'table'");
  while (columns.next()) {
    columns_[std::string(columns.text(0).value_or(""))].emplace(columns.text(1).value_or(""));
  }
  for (const Requirement& required : requirements) {
    for (const char* column : required.columns) {
      if (columns_[required.table].contains(column)) continue;
      throw DeviceError(file_, std::string("an SQLite database, but no address book; expected a ") +
                                   "table " + required.table + " with a column " + column);
    }
  }
}

void AddressBookDatabase::execute(const std::string& sql) const {
  if (sqlite3_exec(connection_.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

// ---- Reading -----------------------------------------------------------------------------------

std::string AddressBookDatabase::nameColumns() const {
  const std::set<std::string>& columns = columns_.at("ABPerson");
  std::string list = "p.ROWID";
  for (const char* name : {"First", "Middle", "Last", "Organization"}) {
    list += columns.contains(name) ? std::string(", p.") + name : ", NULL";
  }
  return list;
}

// `rows` gives each person's ID and the four parts of the name, `values` each one's record ID,
// property and value, in the order of the values.
std::vector<AddressBookDatabase::PersonRow> AddressBookDatabase::persons(Statement& rows,
                                                                         Statement& values) const {
  const auto owned = [](std::optional<std::string_view> text) {
    return text ? Text(*text) : Text();
  };
  struct Values {
    std::vector<Text> phones;
    std::vector<Text> emails;
  };
  std::unordered_map<std::int64_t, Values> valuesOf;
  while (values.next()) {
    Values& mine = valuesOf[values.integer(0)];
    auto& list = values.integer(1) == phoneProperty ? mine.phones : mine.emails;
    list.push_back(owned(values.text(2)));
  }
  std::vector<PersonRow> found;
  while (rows.next()) {
    PersonRow& person = found.emplace_back();
    person.id = rows.integer(0);
    const Text parts[3] = {owned(rows.text(1)), owned(rows.text(2)), owned(rows.text(3))};
    person.name = joined(parts);
    if (person.name->empty()) person.name = owned(rows.text(4));
    if (person.name && person.name->empty()) person.name.reset();
    if (const auto mine = valuesOf.find(person.id); mine != valuesOf.end()) {
      person.phones = mine->second.phones;
      person.emails = mine->second.emails;
    }
  }
  return found;
}

std::vector<AddressBookDatabase::PersonRow> AddressBookDatabase::people() const {
  beginQuestion();
  Statement rows(*this, "SELECT " + nameColumns() + " FROM ABPerson p ORDER BY p.ROWID");
  Statement values(*this,
                   "SELECT record_id, property, value FROM ABMultiValue"
                   " WHERE property IN (3, 4) ORDER BY UID");
  return persons(rows, values);
}

std::vector<AddressBookDatabase::PersonRow> AddressBookDatabase::membersOf(
    std::int64_t group) const {
  beginQuestion();
  // CROSS JOIN keeps the members outside, so that no table of persons is searched for them. The
  // set of members is made once, so that one pass over the values suffices without an index.
  Statement rows(*this, "SELECT " + nameColumns() +
                            " FROM ABGroupMembers m CROSS JOIN ABPerson p ON p.ROWID = m.member_id"
                            " WHERE m.group_id = ?1 AND m.member_type = 0 ORDER BY m.UID");
  Statement values(*this,
                   "SELECT record_id, property, value FROM ABMultiValue"
                   " WHERE property IN (3, 4) AND record_id IN"
                   " (SELECT member_id FROM ABGroupMembers WHERE group_id = ?1 AND member_type = 0)"
                   " ORDER BY UID");
  rows.bind(1, group);
  values.bind(1, group);
  return persons(rows, values);
}

std::vector<std::int64_t> AddressBookDatabase::memberIdsOf(std::int64_t group) const {
  beginQuestion();
  std::vector<std::int64_t> found;
  Statement rows(*this,
                 "SELECT m.member_id FROM ABGroupMembers m CROSS JOIN ABPerson p"
                 " ON p.ROWID = m.member_id"
                 " WHERE m.group_id = ?1 AND m.member_type = 0 ORDER BY m.UID");
  rows.bind(1, group);
  while (rows.next()) found.push_back(rows.integer(0));
  return found;
}

std::vector<AddressBookDatabase::GroupRow> AddressBookDatabase::groups() const {
  beginQuestion();
  std::vector<GroupRow> found;
  Statement rows(*this, "SELECT ROWID, Name FROM ABGroup ORDER BY ROWID");
  while (rows.next()) found.push_back({rows.integer(0), Text(rows.text(1))});
  return found;
}

std::optional<AddressBookDatabase::GroupRow> AddressBookDatabase::group(std::int64_t id) const {
  beginQuestion();
  Statement row(*this, "SELECT ROWID, Name FROM ABGroup WHERE ROWID = ?1");
  row.bind(1, id);
  if (!row.next()) return std::nullopt;
  return GroupRow{row.integer(0), Text(row.text(1))};
}

std::vector<std::string> AddressBookDatabase::values() const {
  beginQuestion();
  std::vector<std::string> found;
  Statement rows(*this,
                 "SELECT value FROM ABMultiValue WHERE property IN (3, 4) AND value IS NOT NULL");
  while (rows.next()) found.emplace_back(rows.text(0).value_or(""));
  return found;
}

std::int64_t AddressBookDatabase::version() const {
  beginQuestion();
  Statement row(*this, "PRAGMA data_version");
  row.next();
  return row.integer(0);
}

// ---- Editing -----------------------------------------------------------------------------------

// Fields whose column the table lacks are left out. Newer phones give every row a guid, by a
// default that only their own SQLite can compute.
std::int64_t AddressBookDatabase::insert(const std::string& table,
                                         const std::vector<Field>& fields) {
  const std::set<std::string>& columns = columns_.at(table);
  std::string names;
  std::string values;
  std::vector<const Field*> used;
  for (const Field& field : fields) {
    if (!columns.contains(field.first)) continue;
    used.push_back(&field);
    names += std::string(names.empty() ? "" : ", ") + field.first;
    values += std::string(values.empty() ? "?" : ", ?");
  }
  if (columns.contains("guid")) {
    names += ", guid";
    values += ", hex(randomblob(16))";
  }
  Statement row(*this, "INSERT INTO " + table + " (" + names + ") VALUES (" + values + ")");
  for (std::size_t i = 0; i < used.size(); ++i) {
    const int place = static_cast<int>(i) + 1;
    std::visit([&](const auto& value) { row.bind(place, value); }, used[i]->second);
  }
  row.next();
  return sqlite3_last_insert_rowid(connection_.get());
}

std::int64_t AddressBookDatabase::addPerson(const std::string& name,
                                            const std::vector<std::string>& phones,
                                            const std::vector<std::string>& emails) {
  beginQuestion();
  const std::size_t space = name.find(' ');
  std::vector<Field> fields = {{"First", name.substr(0, space)}, {"Kind", std::int64_t{0}}};
  if (space != std::string::npos) fields.emplace_back("Last", name.substr(space + 1));
  execute("BEGIN IMMEDIATE");
  const std::int64_t person = insert("ABPerson", fields);
  const auto addValues = [&](std::int64_t property, const std::vector<std::string>& values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      insert("ABMultiValue", {{"record_id", person},
                              {"property", property},
                              {"identifier", static_cast<std::int64_t>(i)},
                              {"value", values[i]}});
    }
  };
  addValues(phoneProperty, phones);
  addValues(emailProperty, emails);
  execute("COMMIT");
  return person;
}

std::int64_t AddressBookDatabase::addGroup(const std::string& name,
                                           const std::vector<std::int64_t>& members) {
  beginQuestion();
  execute("BEGIN IMMEDIATE");
  const std::int64_t group = insert("ABGroup", {{"Name", name}});
  for (const std::int64_t member : members) {
    insert("ABGroupMembers",
           {{"group_id", group}, {"member_type", std::int64_t{0}}, {"member_id", member}});
  }
  execute("COMMIT");
  return group;
}

}  // namespace simulator
