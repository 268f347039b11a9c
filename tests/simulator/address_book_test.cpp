#include "simulator/frameworks/address_book.hpp"

#include <sqlite3.h>

#include <cstring>
#include <fstream>
#include <thread>

#include "platform/abi.hpp"
#include "tests/support/phone_test.hpp"

namespace simulator {
namespace {

using tests::Texts;

// As newer phones lay it out: more columns, in another order, a guid that only the phone can make
// up, no index, a subgroup whose ID is a person's, and members whose order is not the rows'.
constexpr const char* foreignBook = R"(
  CREATE TABLE ABPerson (Organization TEXT, guid TEXT DEFAULT (made_on_the_phone()),
    ROWID INTEGER PRIMARY KEY, Last TEXT, Middle TEXT, First TEXT, Birthday TEXT);
  CREATE TABLE ABMultiValue (guid TEXT DEFAULT (made_on_the_phone()), value TEXT, label INTEGER,
    record_id INTEGER, identifier INTEGER, property INTEGER, UID INTEGER PRIMARY KEY);
  CREATE TABLE ABGroup (Name TEXT, StoreID INTEGER, ROWID INTEGER PRIMARY KEY,
    guid TEXT NOT NULL DEFAULT (made_on_the_phone()));
  CREATE TABLE ABGroupMembers (member_id INTEGER, member_type INTEGER, group_id INTEGER,
    UID INTEGER PRIMARY KEY);
  INSERT INTO ABPerson (guid, ROWID, First, Middle, Last, Organization) VALUES
    ('a', 1, 'Ada', 'B.', 'Crane', 'Works'), ('b', 2, NULL, NULL, NULL, 'Works'),
    ('c', 3, '', NULL, '', NULL), ('d', 4, NULL, NULL, 'Dorn', NULL), ('e', 5, 'Eve', '', '', '');
  INSERT INTO ABMultiValue (guid, UID, record_id, property, value) VALUES
    ('f', 9, 1, 3, '+1 (555) 010-0142'), ('g', 4, 1, 3, '555 0100'), ('h', 5, 1, 3, NULL),
    ('i', 6, 1, 4, 'Ada@crane.example'), ('j', 7, 4, 4, 'dorn@crane.example'),
    ('k', 8, 4, 22, 'https://crane.example');
  INSERT INTO ABGroup (guid, ROWID, Name) VALUES ('l', 7, 'Friends'), ('m', 3, NULL);
  INSERT INTO ABGroupMembers (UID, group_id, member_type, member_id) VALUES
    (30, 7, 0, 1), (10, 7, 0, 4), (20, 7, 1, 2), (25, 7, 0, 99), (15, 7, 0, 3), (40, 3, 0, 2);
)";

class AddressBook : public tests::PhoneTest {
 protected:
  AddressBookStore& store() { return phone().addressBook; }

  void writeDatabase(const char* sql) {
    std::filesystem::create_directories(store().database().parent_path());
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(store().database().c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(database);
    sqlite3_close(database);
  }

  static Owned<ABAddressBook> open() { return own(ABAddressBookCreateWithOptions(nullptr, {})); }
};

std::string nameOf(ABRecordRef record) {
  return describe(own(ABRecordCopyCompositeName(record)).get());
}

// One by one, each after a space.
std::string valuesOf(ABRecordRef record, ABPropertyID property) {
  const auto values = own(static_cast<ABMultiValueRef>(ABRecordCopyValue(record, property)));
  std::string text;
  for (CFIndex i = 0; i < ABMultiValueGetCount(values.get()); ++i) {
    text += " " + describe(own(ABMultiValueCopyValueAtIndex(values.get(), i)).get());
  }
  return text;
}

// "ID NAME phones | emails" for each member.
Texts membersOf(ABRecordRef group) {
  const auto members = own(ABGroupCopyArrayOfAllMembers(group));
  const auto* list = as<Array>(members.get(), "NSArray");
  Texts texts;
  if (list == nullptr) return {"no list"};
  for (const id item : list->items) {
    auto* record = static_cast<ABRecordRef>(item);
    texts.push_back(std::to_string(ABRecordGetRecordID(record)) + " " + nameOf(record) +
                    valuesOf(record, kABPersonPhoneProperty) + " |" +
                    valuesOf(record, kABPersonEmailProperty));
  }
  return texts;
}

TEST_F(AddressBook, readsAndEditsAPhonesOwnDatabase) {
  writeDatabase(foreignBook);
  auto book = open();
  const auto groups = own(ABAddressBookCopyArrayOfAllGroups(book.get()));
  const auto& list = as<Array>(groups.get(), "NSArray")->items;
  ASSERT_EQ(list.size(), 2u);
  auto* const unnamed = static_cast<ABRecordRef>(list[0]);
  auto* const named = static_cast<ABRecordRef>(list[1]);
  EXPECT_EQ(named, ABAddressBookGetGroupWithRecordID(book.get(), 7));
  EXPECT_EQ(ABAddressBookGetGroupWithRecordID(book.get(), 99), nullptr);
  book = {};
  EXPECT_EQ(nameOf(unnamed), "(null)");
  EXPECT_EQ(membersOf(unnamed), Texts{"2 Works |"});
  EXPECT_EQ(membersOf(named),
            (Texts{"4 Dorn | dorn@crane.example", "3 (null) |",
                   "1 Ada B. Crane 555 0100 (null) +1 (555) 010-0142 | Ada@crane.example"}));
  EXPECT_EQ(store().groups().at(1).members, (std::vector<std::int32_t>{4, 3, 1}));
  EXPECT_EQ(store().people().at(0).phones, (Texts{"555 0100", "+1 (555) 010-0142"}));
  store().addGroup("New", {store().addPerson("Fay Gold", {"7"}, {"f@gold.example"}), 5});
  const auto edited = open();
  EXPECT_EQ(membersOf(ABAddressBookGetGroupWithRecordID(edited.get(), 8)),
            (Texts{"6 Fay Gold 7 | f@gold.example", "5 Eve |"}));
}

TEST_F(AddressBook, readsChangesThatAreStillInTheLog) {
  writeDatabase("PRAGMA journal_mode = WAL");
  sqlite3* writer = nullptr;
  sqlite3_open(store().database().c_str(), &writer);
  sqlite3_exec(writer, foreignBook, nullptr, nullptr, nullptr);
  // A copy of the files as they lie: the database is still empty, all is in its log.
  const std::filesystem::path copy = phone().root / "copy";
  const std::filesystem::path folder = copy / "var/mobile/Library/AddressBook";
  std::filesystem::create_directories(folder);
  for (const char* name : {"AddressBook.sqlitedb", "AddressBook.sqlitedb-wal"}) {
    std::filesystem::copy_file(store().database().parent_path() / name, folder / name);
  }
  sqlite3_close(writer);
  EXPECT_EQ(AddressBookStore(copy).people().size(), 5u);
}

TEST_F(AddressBook, refusesWhatIsNoAddressBook) {
  constexpr const char* endlessView =
      "CREATE VIEW ABPerson AS WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n)"
      " SELECT x AS ROWID, 'a' AS First, 'b' AS Last FROM n";
  const std::string noTable = "expected a table ABPerson with a column First";
  for (const auto& [sql, expected] : {std::pair(std::string(), noTable),
                                      {"CREATE TABLE Notes (text TEXT)", noTable},
                                      {endlessView, noTable},
                                      {"", "not a database"}}) {
    writeDatabase(sql.c_str());
    if (expected != noTable) std::ofstream(store().database()) << std::string(100, '?');
    EXPECT_FALSE(open()) << expected;
    try {
      store().check();
      ADD_FAILURE() << "accepted: " << expected;
    } catch (const DeviceError& error) {
      const std::string what = error.what();
      EXPECT_EQ(what.find(store().database().string() + ": "), 0u) << what;
      EXPECT_NE(what.find(expected), std::string::npos) << what;
    }
    std::filesystem::remove(store().database());
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
    EXPECT_THROW(store().check(), DeviceError) << at;
  }
}

TEST_F(AddressBook, knowsWhoseNumberItIs) {
  store().addPerson("Ada", {"+1 (555) 010-0142", "112", "ext."}, {"Ada@Crane.example"});
  store().addFavourite("0155501 77 99");
  store().addFavourite("eve@crane.example");
  const std::tuple<const char*, bool, bool> cases[] = {
      {"+15550100142", true, false},
      {"0100142", true, false},
      {"100142", false, false},
      {"112", true, false},
      {"0112", false, false},
      {"15550177 99", false, true},
      {"25550100142", false, false},
      {"", false, false},
      {"ext.", false, false},
      {"ada@crane.example", true, false},
      {"a@crane.example", false, false},
      {"EVE@crane.example", false, true},
  };
  for (const auto& [sender, contact, favourite] : cases) {
    EXPECT_EQ(store().contains(sender), contact) << sender;
    EXPECT_EQ(store().favouritesContain(sender), favourite) << sender;
  }
}

// A completion with a capture, as a compiler lays it out.
struct Completion {
  BlockLiteral block;
  std::thread::id* thread;
};

void complete(const BlockLiteral* block, bool granted, CFErrorRef) {
  if (granted) *reinterpret_cast<const Completion*>(block)->thread = std::this_thread::get_id();
}

TEST_F(AddressBook, answersOnAnotherThreadWhenTheCallersBlockIsGone) {
  const BlockDescriptor descriptor = {0, sizeof(Completion)};
  std::thread::id thread;
  Completion completion = {
      {_NSConcreteStackBlock, 0, 0, reinterpret_cast<IMP>(&complete), &descriptor}, &thread};
  phone().queue.async([] { std::this_thread::sleep_for(std::chrono::milliseconds(20)); });
  ABAddressBookRequestAccessWithCompletion(open().get(), &completion.block);
  std::memset(&completion, 0, sizeof completion);
  phone().queue.drain();
  EXPECT_NE(thread, std::thread::id());
  EXPECT_NE(thread, std::this_thread::get_id());
}

}  // namespace
}  // namespace simulator
