#include "simulator/frameworks/address_book.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <map>
#include <memory>
#include <string_view>

#include "platform/abi.hpp"
#include "simulator/call_trace.hpp"
#include "simulator/device.hpp"
#include "simulator/device_error.hpp"
#include "simulator/faults.hpp"
#include "simulator/foundation/objects.hpp"
#include "simulator/foundation/property_list.hpp"
#include "simulator/frameworks/address_book_database.hpp"
#include "simulator/runtime/classes.hpp"

namespace simulator {
namespace {

using Access = AddressBookDatabase::Access;

// ---- The platform's own look-ups ---------------------------------------------------------------

std::string digitsOf(std::string_view text) {
  std::string digits;
  std::copy_if(text.begin(), text.end(), std::back_inserter(digits),
               [](char unit) { return unit >= '0' && unit <= '9'; });
  return digits;
}

char lowered(char unit) {
  return unit >= 'A' && unit <= 'Z' ? static_cast<char>(unit - 'A' + 'a') : unit;
}

bool equalButForCase(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return lowered(a) == lowered(b); });
}

// A number without digits is the same as no other.
bool sameDigits(std::string_view left, std::string_view right) {
  constexpr std::size_t shortestTail = 7;
  if (left == right) return !left.empty();
  return std::min(left.size(), right.size()) >= shortestTail &&
         (left.ends_with(right) || right.ends_with(left));
}

// The number or address that a message comes from, to be compared with many.
class Destination {
 public:
  explicit Destination(std::string_view text) : text_(text), digits_(digitsOf(text)) {}

  bool is(std::string_view stored) const {
    if (isAddress(text_) || isAddress(stored)) return equalButForCase(text_, stored);
    return sameDigits(digits_, digitsOf(stored));
  }

 private:
  static bool isAddress(std::string_view text) { return text.find('@') != std::string_view::npos; }

  std::string_view text_;
  std::string digits_;
};

// ---- Favourites --------------------------------------------------------------------------------

Owned<Array> readFavourites(const std::filesystem::path& file) {
  if (!std::filesystem::exists(file)) return own(makeArray());
  std::string why;
  const Owned<Object> root = readPropertyList(file, &why);
  if (root) why = "a property list, but not of an array";
  auto* list = as<Array>(root.get(), "NSArray");
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

bool sameDestination(std::string_view destinationId, std::string_view stored) {
  return Destination(destinationId).is(stored);
}

// ---- The store ---------------------------------------------------------------------------------

AddressBookStore::AddressBookStore(const std::filesystem::path& root) : root_(root) {}

std::filesystem::path AddressBookStore::database() const {
  return root_ / "var/mobile/Library/AddressBook/AddressBook.sqlitedb";
}

std::filesystem::path AddressBookStore::favourites() const {
  return root_ / "var/mobile/Library/Preferences/com.apple.mobilephone.speeddial.plist";
}

void AddressBookStore::check() const {
  // Damage shows only where a page is read, so everything is.
  people();
  groups();
  readFavourites(favourites());
}

std::int32_t AddressBookStore::addPerson(const std::string& name,
                                         const std::vector<std::string>& phones,
                                         const std::vector<std::string>& emails) {
  AddressBookDatabase book(database(), Access::edit);
  return static_cast<std::int32_t>(book.addPerson(name, phones, emails));
}

std::int32_t AddressBookStore::addGroup(const std::string& name,
                                        const std::vector<std::int32_t>& members) {
  AddressBookDatabase book(database(), Access::edit);
  return static_cast<std::int32_t>(book.addGroup(name, members));
}

void AddressBookStore::addFavourite(const std::string& value) {
  const auto current = readFavourites(favourites());
  const auto list = own(makeMutableArray());
  for (const id entry : current->items) append(list.get(), entry);
  const auto entry = own(makeDictionary());
  store(entry.get(), own(makeString("Value")).get(), own(makeString(value)).get());
  append(list.get(), entry.get());
  savePropertyList(favourites(), list.get(), PropertyListForm::binary);
}

std::vector<Person> AddressBookStore::people() const {
  std::vector<Person> found;
  for (const auto& row : AddressBookDatabase(database(), Access::read).people()) {
    found.push_back({static_cast<std::int32_t>(row.id), row.name.value_or(""), textsOf(row.phones),
                     textsOf(row.emails)});
  }
  return found;
}

std::vector<Group> AddressBookStore::groups() const {
  const AddressBookDatabase book(database(), Access::read);
  std::vector<Group> found;
  for (const auto& row : book.groups()) {
    Group& group = found.emplace_back();
    group.id = static_cast<std::int32_t>(row.id);
    group.name = row.name.value_or("");
    for (const std::int64_t member : book.memberIdsOf(row.id)) {
      group.members.push_back(static_cast<std::int32_t>(member));
    }
  }
  return found;
}

bool AddressBookStore::contains(const std::string& destinationId) const {
  const Destination destination(destinationId);
  return AddressBookDatabase(database(), Access::read).anyValue([&](std::string_view stored) {
    return destination.is(stored);
  });
}

bool AddressBookStore::favouritesContain(const std::string& destinationId) const {
  const Destination destination(destinationId);
  const auto list = readFavourites(favourites());
  return std::any_of(list->items.begin(), list->items.end(), [&](id item) {
    const auto* entry = as<Dictionary>(item, "NSDictionary");
    const id value = entry == nullptr ? nullptr : find(entry, "Value");
    return as<String>(value, "NSString") != nullptr && destination.is(toUtf8(value));
  });
}

// ---- The framework's objects -------------------------------------------------------------------

namespace {

using Database = std::shared_ptr<const AddressBookDatabase>;

struct MultiValue : Object {
  std::vector<Owned<String>> values;  // null where the database has NULL
};

// A person or a group. A group keeps the connection, to ask for its members.
struct Record : Object {
  std::int64_t recordId = 0;
  Owned<String> name;
  Owned<MultiValue> phones;
  Owned<MultiValue> emails;
  Database database;
};

// The groups that it has handed out, since the caller does not own those.
struct Book : Object {
  Database database;
  std::map<std::int64_t, Owned<Record>> groups;
};

Book* bookOf(id object) { return as<Book>(object, "ABAddressBook"); }
Record* recordOf(id object) { return as<Record>(object, "ABRecord"); }
MultiValue* multiValueOf(id object) { return as<MultiValue>(object, "ABMultiValue"); }

// Hands the reference over to the caller, under the framework's name for the object.
template <class Handle, class T>
Handle handOver(Owned<T> object) {
  return static_cast<Handle>(static_cast<id>(object.release()));
}

Owned<String> stringOf(const AddressBookDatabase::Text& text) {
  return text ? own(makeString(*text)) : Owned<String>();
}

Owned<MultiValue> multiValueOf(const std::vector<AddressBookDatabase::Text>& values) {
  static const Class type = classNamed("ABMultiValue");
  if (values.empty()) return {};
  auto result = own(make<MultiValue>(type));
  for (const auto& value : values) result->values.push_back(stringOf(value));
  return result;
}

Owned<Record> makeRecord(std::int64_t recordId, const AddressBookDatabase::Text& name) {
  static const Class type = classNamed("ABRecord");
  auto record = own(make<Record>(type));
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
  defineClass<Book>("ABAddressBook", "NSObject");
  defineClass<Record>("ABRecord", "NSObject");
  defineClass<MultiValue>("ABMultiValue", "NSObject");
}

}  // namespace simulator

using namespace simulator;

extern "C" {

const ABPropertyID kABPersonPhoneProperty = AddressBookDatabase::phoneProperty;
const ABPropertyID kABPersonEmailProperty = AddressBookDatabase::emailProperty;

ABAddressBookRef ABAddressBookCreateWithOptions(CFDictionaryRef, CFErrorRef* error) noexcept {
  if (error != nullptr) *error = nullptr;
  if (failsNow(Fault::ABAddressBookCreateWithOptions)) return nullptr;
  const AddressBookStore& store = Device::current().addressBook;
  if (!store.present) return nullptr;
  try {
    auto book = own(make<Book>(classNamed("ABAddressBook")));
    book->database = std::make_shared<AddressBookDatabase>(store.database(), Access::read);
    return handOver<ABAddressBookRef>(std::move(book));
  } catch (const std::exception&) {
    return nullptr;
  }
}

void ABAddressBookRequestAccessWithCompletion(ABAddressBookRef,
                                              const BlockLiteral* completion) noexcept {
  Device& device = Device::current();
  const bool granted = !failsNow(Fault::ABAddressBookRequestAccessWithCompletion) &&
                       device.addressBook.accessGranted;
  device.queue.async([block = copyOf(completion), granted] {
    using Invoke = void (*)(const BlockLiteral*, bool, CFErrorRef);
    reinterpret_cast<Invoke>(block->invoke)(block.get(), granted, nullptr);
  });
}

ABRecordRef ABAddressBookGetGroupWithRecordID(ABAddressBookRef book, ABRecordID group) noexcept {
  if (failsNow(Fault::ABAddressBookGetGroupWithRecordID)) return nullptr;
  Book* const opened = bookOf(book);
  if (opened == nullptr) return nullptr;
  try {
    const auto row = opened->database->group(group);
    return row ? static_cast<ABRecordRef>(static_cast<id>(groupOf(*opened, *row))) : nullptr;
  } catch (const DeviceError&) {
    return nullptr;
  }
}

CFArrayRef ABAddressBookCopyArrayOfAllGroups(ABAddressBookRef book) noexcept {
  if (failsNow(Fault::ABAddressBookCopyArrayOfAllGroups)) return nullptr;
  Book* const opened = bookOf(book);
  if (opened == nullptr) return nullptr;
  try {
    auto list = own(makeArray());
    for (const auto& row : opened->database->groups()) append(list.get(), groupOf(*opened, row));
    return handOver<CFArrayRef>(std::move(list));
  } catch (const DeviceError&) {
    return nullptr;
  }
}

CFArrayRef ABGroupCopyArrayOfAllMembers(ABRecordRef group) noexcept {
  if (failsNow(Fault::ABGroupCopyArrayOfAllMembers)) return nullptr;
  const Record* const record = recordOf(group);
  if (record == nullptr || record->database == nullptr) return nullptr;
  try {
    auto list = own(makeArray());
    for (const auto& row : record->database->membersOf(record->recordId)) {
      append(list.get(), personOf(row).get());
    }
    return handOver<CFArrayRef>(std::move(list));
  } catch (const DeviceError&) {
    return nullptr;
  }
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
  auto list = own(makeArray());
  for (const auto& value : known->values) {
    if (value) append(list.get(), value.get());  // a list holds no null
  }
  return handOver<CFArrayRef>(std::move(list));
}

}  // extern "C"
