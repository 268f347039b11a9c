#include "simulator/frameworks/address_book.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <map>
#include <memory>
#include <string_view>

#include "platform/abi.hpp"
#include "simulator/context/call_trace.hpp"
#include "simulator/context/device_error.hpp"
#include "simulator/context/faults.hpp"
#include "simulator/foundation/objects.hpp"
#include "simulator/foundation/property_list.hpp"
#include "simulator/frameworks/address_book_database.hpp"
#include "simulator/frameworks/dispatch.hpp"

namespace simulator {
namespace {

using Access = AddressBookDatabase::Access;

// ---- Favourites --------------------------------------------------------------------------------

Owned<Array> readFavourites(const std::filesystem::path& file) {
  if (!std::filesystem::exists(file)) return own(makeArray());
  std::string why;
  const Owned<Object> root = readPropertyList(file, &why);
  if (root) why = "a property list, but not of an array";
  auto* list = as<Array>(root.get());
  if (list == nullptr) throw DeviceError(file, why + "; expected a property list of favourites");
  return share(list);
}

std::vector<std::string> textsOf(const std::vector<AddressBookDatabase::Text>& values) {
  std::vector<std::string> texts;
  for (const auto& value : values) {
    if (value) texts.push_back(*value);
  }
  return texts;
}

}  // namespace

// ---- The indexes -------------------------------------------------------------------------------

// All zeros without a file.
AddressBookStore::FileState AddressBookStore::stateOf(const std::filesystem::path& file) {
  struct stat found {};
  if (stat(file.c_str(), &found) != 0) return {};
  return {static_cast<std::int64_t>(found.st_dev), static_cast<std::int64_t>(found.st_ino),
          found.st_size, found.st_mtim.tv_sec, found.st_mtim.tv_nsec};
}

class AddressBookStore::Contacts {
 public:
  explicit Contacts(const std::filesystem::path& file)
      : state_(stateOf(file)), database_(file, Access::read), version_(database_.version()) {
    for (const std::string& value : database_.values()) index_.add(value);
  }

  bool areCurrent(const FileState& state) const {
    return state == state_ && database_.version() == version_;
  }
  const DestinationIndex& index() const { return index_; }

 private:
  FileState state_;
  AddressBookDatabase database_;
  std::int64_t version_;
  DestinationIndex index_;
};

// ---- The store ---------------------------------------------------------------------------------

AddressBookStore::AddressBookStore(const std::filesystem::path& root) : root_(root) {}

AddressBookStore::~AddressBookStore() = default;

void AddressBookStore::check() const {
  // Damage shows only where a page is read, so everything is.
  people();
  groups();
  readFavourites(favourites());
}

std::int64_t AddressBookStore::addPerson(const std::string& name,
                                         const std::vector<std::string>& phones,
                                         const std::vector<std::string>& emails) {
  AddressBookDatabase book(database(), Access::edit);
  return book.addPerson(name, phones, emails);
}

std::int64_t AddressBookStore::addGroup(const std::string& name,
                                        const std::vector<std::int64_t>& members) {
  AddressBookDatabase book(database(), Access::edit);
  return book.addGroup(name, members);
}

void AddressBookStore::addFavourite(const std::string& value) {
  const auto current = readFavourites(favourites());
  const auto list = own(makeArray());
  for (const id entry : current->items) append(list.get(), entry);
  const auto entry = own(makeDictionary());
  store(entry.get(), "Value", own(makeString(value)).get());
  append(list.get(), entry.get());
  savePropertyList(favourites(), list.get(), PropertyListForm::binary);
}

void AddressBookStore::makeDatabase() { AddressBookDatabase(database(), Access::edit); }

void AddressBookStore::makeFavourites() {
  savePropertyList(favourites(), own(makeArray()).get(), PropertyListForm::binary);
}

std::vector<Person> AddressBookStore::people() const {
  std::vector<Person> found;
  for (const auto& row : AddressBookDatabase(database(), Access::read).people()) {
    found.push_back({row.id, row.name.value_or(""), textsOf(row.phones), textsOf(row.emails)});
  }
  return found;
}

std::vector<Group> AddressBookStore::groups() const {
  const AddressBookDatabase book(database(), Access::read);
  std::vector<Group> found;
  for (const auto& row : book.groups()) {
    Group& group = found.emplace_back();
    group.id = row.id;
    group.name = row.name.value_or("");
    for (const std::int64_t member : book.memberIdsOf(row.id)) {
      group.members.push_back(member);
    }
  }
  return found;
}

bool AddressBookStore::contains(const std::string& destinationId) const {
  const std::lock_guard lock(indexMutex_);
  if (contacts_ == nullptr || !contacts_->areCurrent(stateOf(database()))) {
    contacts_.reset();  // not to be asked again, should the new one fail
    contacts_ = std::make_unique<Contacts>(database());
  }
  return contacts_->index().find(destinationId).has_value();
}

bool AddressBookStore::favouritesContain(const std::string& destinationId) const {
  return findFavourite(destinationId).has_value();
}

std::optional<std::string> AddressBookStore::findFavourite(const std::string& destinationId) const {
  const std::lock_guard lock(indexMutex_);
  const FileState state = stateOf(favourites());
  if (state != favouritesState_) {
    favouritesState_ = {};
    favourites_ = {};
    const auto list = readFavourites(favourites());
    for (const id item : list->items) {
      const auto* entry = as<Dictionary>(item);
      const id value = entry == nullptr ? nullptr : find(entry, "Value");
      if (as<String>(value) == nullptr) continue;
      favourites_.index.add(favourites_.values.emplace_back(toUtf8(value)));
    }
    favouritesState_ = state;
  }
  const auto found = favourites_.index.find(destinationId);
  return found ? std::optional(favourites_.values[*found]) : std::nullopt;
}

// ---- The framework's objects -------------------------------------------------------------------

namespace {

using Database = std::shared_ptr<const AddressBookDatabase>;

struct MultiValue : Object {
  static constexpr const char* platformClass = "ABMultiValue";

  std::vector<Owned<String>> values;  // null where the database has NULL
};

// A person or a group. A group keeps the connection, to ask for its members.
struct Record : Object {
  static constexpr const char* platformClass = "ABRecord";

  std::int64_t recordId = 0;
  Owned<String> name;
  Owned<MultiValue> phones;
  Owned<MultiValue> emails;
  Database database;
};

// The groups that it has handed out, since the caller does not own those.
struct Book : Object {
  static constexpr const char* platformClass = "ABAddressBook";

  ~Book() {
    if (heldByCompletion == this) heldByCompletion = nullptr;
  }

  Database database;
  std::map<std::int64_t, Owned<Record>> groups;
};

Book* bookOf(id object) { return as<Book>(object); }
Record* recordOf(id object) { return as<Record>(object); }
MultiValue* multiValueOf(id object) { return as<MultiValue>(object); }

// Hands the reference over to the caller, under the framework's name for the object.
template <class Handle, class T>
Handle handOver(Owned<T> object) {
  return static_cast<Handle>(static_cast<id>(object.release()));
}

Owned<String> stringOf(const AddressBookDatabase::Text& text) {
  return text ? own(makeString(*text)) : Owned<String>();
}

Owned<MultiValue> multiValueOf(const std::vector<AddressBookDatabase::Text>& values) {
  if (values.empty()) return {};
  auto result = own(make<MultiValue>());
  for (const auto& value : values) result->values.push_back(stringOf(value));
  return result;
}

Owned<Record> makeRecord(std::int64_t recordId, const AddressBookDatabase::Text& name) {
  auto record = own(make<Record>());
  record->recordId = recordId;
  record->name = stringOf(name);
  return record;
}

Record* groupOf(Book& book, const AddressBookDatabase::GroupRow& row) {
  Owned<Record>& group = book.groups[row.id];
  if (!group) {
    group = makeRecord(row.id, row.name);
    group->database = book.database;
  }
  return group.get();
}

Owned<Record> personOf(const AddressBookDatabase::PersonRow& row) {
  auto person = makeRecord(row.id, row.name);
  person->phones = multiValueOf(row.phones);
  person->emails = multiValueOf(row.emails);
  return person;
}

// A block that outlives the call it was handed to is copied, captures and all; its descriptor
// knows how long it is.
std::shared_ptr<const BlockLiteral> copyOf(const BlockLiteral* block) {
  if (block->isa != &_NSConcreteStackBlock || block->flags != 0) {
    fatal("a completion that is no block of the stack with plain captures");
  }
  const std::size_t size = block->descriptor->size;
  void* memory = ::operator new(size);
  std::memcpy(memory, block, size);
  return {static_cast<const BlockLiteral*>(memory),
          [memory](const BlockLiteral*) { ::operator delete(memory); }};
}

}  // namespace

void defineAddressBook() {
  defineClass<Book>();
  defineClass<Record>();
  defineClass<MultiValue>();
}

}  // namespace simulator

using namespace simulator;

extern "C" {

const ABPropertyID kABPersonPhoneProperty = AddressBookDatabase::phoneProperty;
const ABPropertyID kABPersonEmailProperty = AddressBookDatabase::emailProperty;

ABAddressBookRef ABAddressBookCreateWithOptions(CFDictionaryRef, CFErrorRef* error) noexcept {
  if (error != nullptr) *error = nullptr;
  if (failsNow(Fault::ABAddressBookCreateWithOptions)) return nullptr;
  const AddressBookStore& store = AddressBookStore::current();
  if (!store.present) return nullptr;
  return orNothing([&] {
    auto book = own(make<Book>());
    book->database = std::make_shared<AddressBookDatabase>(store.database(), Access::read);
    return handOver<ABAddressBookRef>(std::move(book));
  });
}

void ABAddressBookRequestAccessWithCompletion(ABAddressBookRef book,
                                              const BlockLiteral* completion) noexcept {
  using Invoke = void (*)(const BlockLiteral*, bool, CFErrorRef);
  const bool granted = !failsNow(Fault::ABAddressBookRequestAccessWithCompletion) &&
                       AddressBookStore::current().accessGranted;
  const bool queued = orNothing([&] {
    DispatchQueue::current().async([block = copyOf(completion), granted, held = bookOf(book)] {
      heldByCompletion = held;
      reinterpret_cast<Invoke>(block->invoke)(block.get(), granted, nullptr);
    });
    return true;
  });
  // Somebody may wait for the completion.
  if (!queued) reinterpret_cast<Invoke>(completion->invoke)(completion, false, nullptr);
}

ABRecordRef ABAddressBookGetGroupWithRecordID(ABAddressBookRef book, ABRecordID group) noexcept {
  Book* const opened = bookOf(book);
  if (failsNow(Fault::ABAddressBookGetGroupWithRecordID) || opened == nullptr) return nullptr;
  return orNothing([&]() -> ABRecordRef {
    const auto row = opened->database->group(group);
    return row ? static_cast<ABRecordRef>(static_cast<id>(groupOf(*opened, *row))) : nullptr;
  });
}

CFArrayRef ABAddressBookCopyArrayOfAllGroups(ABAddressBookRef book) noexcept {
  Book* const opened = bookOf(book);
  if (failsNow(Fault::ABAddressBookCopyArrayOfAllGroups) || opened == nullptr) return nullptr;
  return orNothing([&] {
    auto list = own(makeArray());
    for (const auto& row : opened->database->groups()) append(list.get(), groupOf(*opened, row));
    return handOver<CFArrayRef>(std::move(list));
  });
}

CFArrayRef ABGroupCopyArrayOfAllMembers(ABRecordRef group) noexcept {
  const Record* const record = recordOf(group);
  if (failsNow(Fault::ABGroupCopyArrayOfAllMembers) || record == nullptr || !record->database) {
    return nullptr;
  }
  return orNothing([&] {
    auto list = own(makeArray());
    for (const auto& row : record->database->membersOf(record->recordId)) {
      append(list.get(), personOf(row).get());
    }
    return handOver<CFArrayRef>(std::move(list));
  });
}

ABRecordID ABRecordGetRecordID(ABRecordRef record) noexcept {
  simulator::traceCall("ABRecordGetRecordID");
  constexpr ABRecordID invalid = -1;
  const Record* const known = recordOf(record);
  return known == nullptr ? invalid : static_cast<ABRecordID>(known->recordId);
}

CFTypeRef ABRecordCopyValue(ABRecordRef record, ABPropertyID property) noexcept {
  if (failsNow(Fault::ABRecordCopyValue)) return nullptr;
  const Record* const known = recordOf(record);
  if (known == nullptr) return nullptr;
  if (property == kABPersonPhoneProperty) return handOver<CFTypeRef>(known->phones);
  if (property == kABPersonEmailProperty) return handOver<CFTypeRef>(known->emails);
  return nullptr;
}

CFStringRef ABRecordCopyCompositeName(ABRecordRef record) noexcept {
  if (failsNow(Fault::ABRecordCopyCompositeName)) return nullptr;
  const Record* const known = recordOf(record);
  return known == nullptr ? nullptr : handOver<CFStringRef>(known->name);
}

CFIndex ABMultiValueGetCount(ABMultiValueRef values) noexcept {
  if (failsNow(Fault::ABMultiValueGetCount)) return 0;
  const MultiValue* const known = multiValueOf(values);
  return known == nullptr ? 0 : static_cast<CFIndex>(known->values.size());
}

CFTypeRef ABMultiValueCopyValueAtIndex(ABMultiValueRef values, CFIndex index) noexcept {
  if (failsNow(Fault::ABMultiValueCopyValueAtIndex)) return nullptr;
  const MultiValue* const known = multiValueOf(values);
  if (known == nullptr) return nullptr;
  if (index < 0 || index >= static_cast<CFIndex>(known->values.size())) {
    fatal("ABMultiValueCopyValueAtIndex: index " + std::to_string(index) + " of " +
          std::to_string(known->values.size()) + " values");
  }
  return handOver<CFTypeRef>(known->values[static_cast<std::size_t>(index)]);
}

CFArrayRef ABMultiValueCopyArrayOfAllValues(ABMultiValueRef values) noexcept {
  if (failsNow(Fault::ABMultiValueCopyArrayOfAllValues)) return nullptr;
  const MultiValue* const known = multiValueOf(values);
  if (known == nullptr) return nullptr;
  return orNothing([&] {
    auto list = own(makeArray());
    for (const auto& value : known->values) {
      if (value) append(list.get(), value.get());  // a list holds no null
    }
    return handOver<CFArrayRef>(std::move(list));
  });
}

}  // extern "C"
