#include "simulator/frameworks/address_book.hpp"

#include <sqlite3.h>

#include <fstream>

#include "tests/support/members.hpp"
#include "tests/support/phone_test.hpp"

namespace simulator {
namespace {

using tests::membersOf;
using tests::Texts;

// As newer phones lay it out: other columns, in another order, a guid that only the phone can make
// up, no index, a subgroup whose ID is a person's, and members whose order is not the rows'.
const std::string foreignBook = R"(
  CREATE TABLE ABPerson (Organization TEXT, guid TEXT NOT NULL DEFAULT (made_on_the_phone()),
    ROWID INTEGER PRIMARY KEY, Last TEXT, Middle TEXT, First TEXT, Birthday TEXT);
  CREATE TABLE ABMultiValue (value TEXT, label INTEGER, record_id INTEGER, property INTEGER,
    UID INTEGER PRIMARY KEY);
  CREATE TABLE ABGroup (Name TEXT, StoreID INTEGER, ROWID INTEGER PRIMARY KEY);
  CREATE TABLE ABGroupMembers (member_id, member_type, group_id, UID INTEGER PRIMARY KEY);
  INSERT INTO ABPerson (guid, ROWID, First, Middle, Last, Organization) VALUES
    ('a', 1, 'Ada', 'B.', 'Crane', 'Works'), ('b', 2, NULL, NULL, NULL, 'Works'),
    ('c', 3, '', NULL, '', NULL), ('d', 4, NULL, NULL, 'Dorn', NULL), ('e', 5, 'Eve', '', '', '');
  INSERT INTO ABMultiValue (UID, record_id, property, value) VALUES
    (9, 1, 3, '+1 (555) 010-0142'), (4, 1, 3, '555 0100'), (5, 1, 3, NULL),
    (6, 1, 4, 'Ada@crane.example'), (7, 4, 4, 'd@crane.example'), (8, 4, 22, 'crane.example');
  INSERT INTO ABGroup (ROWID, Name) VALUES (7, 'Friends'), (3, NULL);
  INSERT INTO ABGroupMembers (UID, group_id, member_type, member_id) VALUES
    (30, 7, 0, 1), (10, 7, 0, 4), (20, 7, 1, 2), (25, 7, 0, 99), (15, 7, 0, 3), (40, 3, 0, 2);
)";

class AddressBook : public tests::PhoneTest {
 protected:
  AddressBookStore& store() { return phone().addressBook; }

  // What is still in the log when this is done stays there.
  void writeDatabase(const std::string& sql) {
    std::filesystem::create_directories(store().database().parent_path());
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(store().database().c_str(), &database), SQLITE_OK);
    sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(database);
    sqlite3_close(database);
  }

  std::string complaint() {
    try {
      store().check();
      return "";
    } catch (const DeviceError& error) {
      return error.what();
    }
  }

  static Owned<ABAddressBook> open() { return own(ABAddressBookCreateWithOptions(nullptr, {})); }
};

TEST_F(AddressBook, readsAndEditsAPhonesOwnDatabase) {
  writeDatabase(foreignBook);
  auto book = open();
  const auto groups = own(ABAddressBookCopyArrayOfAllGroups(book.get()));
  const auto& list = as<Array>(groups.get())->items;
  ASSERT_EQ(list.size(), 2u);
  auto* const unnamed = static_cast<ABRecordRef>(list[0]);
  auto* const named = static_cast<ABRecordRef>(list[1]);
  EXPECT_EQ(named, ABAddressBookGetGroupWithRecordID(book.get(), 7));
  book = {};
  EXPECT_FALSE(own(ABRecordCopyCompositeName(unnamed)));
  EXPECT_EQ(membersOf(unnamed), Texts{"Works"});
  EXPECT_EQ(membersOf(named),
            (Texts{"Dorn d@crane.example", "(null)",
                   "Ada B. Crane 555 0100 (null) +1 (555) 010-0142 Ada@crane.example"}));
  EXPECT_EQ(store().groups().at(1).members, (std::vector<std::int64_t>{4, 3, 1}));
  EXPECT_EQ(store().people().at(0).phones, (Texts{"555 0100", "+1 (555) 010-0142"}));
  store().addGroup("New", {store().addPerson("Fay Gold", {"7"}, {"f@gold.example"}), 5});
  const auto edited = open();
  EXPECT_EQ(membersOf(ABAddressBookGetGroupWithRecordID(edited.get(), 8)),
            (Texts{"Fay Gold 7 f@gold.example", "Eve"}));
}

TEST_F(AddressBook, refusesWhatIsNoAddressBook) {
  const char* const view = "CREATE VIEW ABPerson AS SELECT 1 AS ROWID, 'a' AS First, 'b' AS Last";
  const std::string expected = store().database().string() +
                               ": an SQLite database, but no address book; "
                               "expected a table ABPerson with a column First";
  for (const char* const sql : {"", "CREATE TABLE Notes (text TEXT)", view}) {
    writeDatabase(sql);
    EXPECT_FALSE(open()) << sql;
    EXPECT_EQ(complaint(), expected) << sql;
  }
}

TEST_F(AddressBook, outlivesDamageAnywhereInTheFile) {
  writeDatabase(foreignBook);
  std::ifstream in(store().database(), std::ios::binary);
  const std::string whole{std::istreambuf_iterator<char>(in), {}};
  for (std::size_t at = 0; at < whole.size(); at += 61) {
    std::string damaged = whole;
    damaged.replace(at, 4, "\xff\x00\x7f\x01", 4);
    std::ofstream(store().database(), std::ios::binary | std::ios::trunc) << damaged;
    const auto book = open();
    membersOf(ABAddressBookGetGroupWithRecordID(book.get(), 7));
    std::filesystem::resize_file(store().database(), at);
    EXPECT_NE(complaint(), "") << at;
  }
}

TEST_F(AddressBook, knowsWhoseNumberItIs) {
  store().addPerson("Ada", {"+1 (555) 010-0142", "112", "ext."}, {"Ada@Crane.example"});
  store().addFavourite("0155501 77 99");
  for (const char* sender : {"+15550100142", "0100142", "112", "ADA@crane.example"}) {
    EXPECT_TRUE(store().contains(sender) && !store().favouritesContain(sender)) << sender;
  }
  for (const char* sender : {"100142", "0112", "25550100142", "", "ext.", "a@crane.example"}) {
    EXPECT_FALSE(store().contains(sender) || store().favouritesContain(sender)) << sender;
  }
  EXPECT_FALSE(store().contains("15550177 99"));
  EXPECT_TRUE(store().favouritesContain("15550177 99"));
}

// Each change at once after an answer, whoever makes it, and though file and log keep their length.
TEST_F(AddressBook, knowsNewNumbersAtOnce) {
  EXPECT_FALSE(store().contains("5550001"));
  const std::string insert = "INSERT INTO ABMultiValue (record_id, property, value) VALUES (1, 3, ";
  const std::string update = "UPDATE ABMultiValue SET value = ";
  const std::tuple<std::string, const char*, const char*> changes[] = {
      {foreignBook + insert + "'5550001')", "5550001", "5550002"},
      {update + "'5550002'", "5550002", "5550001"},
      {"PRAGMA journal_mode = WAL;" + update + "'5550003'", "5550003", "5550002"},
      {update + "'5550004'", "5550004", "5550003"},
      {update + "'a@b.example'", "A@b.example", "5550004"},
  };
  for (const auto& [sql, known, stranger] : changes) {
    writeDatabase(sql);
    EXPECT_TRUE(store().contains(known)) << sql;
    EXPECT_FALSE(store().contains(stranger)) << sql;
  }
  std::filesystem::rename(store().database(), phone().root / "away");
  EXPECT_FALSE(store().contains("a@b.example"));
}

}  // namespace
}  // namespace simulator
