// An address book of any bytes: every reading of it ends, in rows or in an error that names the
// file; and the framework's functions give records, or none.

#include <fstream>

#include "simulator/foundation/objects.hpp"
#include "tests/fuzz/target.hpp"

namespace {

using namespace simulator;

void readValues(ABRecordRef person, ABPropertyID property) {
  const auto values = own(header(ABRecordCopyValue(person, property)));
  auto* const list = static_cast<ABMultiValueRef>(static_cast<id>(values.get()));
  const CFIndex count = ABMultiValueGetCount(list);
  for (CFIndex i = 0; i < count; ++i)
    toUtf8(own(header(ABMultiValueCopyValueAtIndex(list, i))).get());
  const auto all = own(header(ABMultiValueCopyArrayOfAllValues(list)));
  const auto* const texts = as<Array>(all.get(), "NSArray");
  fuzz::require(texts == nullptr || texts->items.size() <= static_cast<std::size_t>(count),
                "the list of values has no more than there are");
}

void readThroughFramework() {
  const auto opened = own(header(ABAddressBookCreateWithOptions(nullptr, nullptr)));
  auto* const book = static_cast<ABAddressBookRef>(static_cast<id>(opened.get()));
  const auto groups = own(header(ABAddressBookCopyArrayOfAllGroups(book)));
  if (!groups) return;
  for (const id group : as<Array>(groups.get(), "NSArray")->items) {
    auto* const record = static_cast<ABRecordRef>(group);
    toUtf8(own(header(ABRecordCopyCompositeName(record))).get());
    const auto members = own(header(ABGroupCopyArrayOfAllMembers(record)));
    if (!members) continue;
    for (const id member : as<Array>(members.get(), "NSArray")->items) {
      readValues(static_cast<ABRecordRef>(member), kABPersonPhoneProperty);
      readValues(static_cast<ABRecordRef>(member), kABPersonEmailProperty);
    }
  }
}

// Whether `read` went well.
template <class Read>
bool reads(const std::string& file, Read read) {
  try {
    read();
    return true;
  } catch (const DeviceError& error) {
    fuzz::require(std::string(error.what()).starts_with(file + ": "), "an error names the file");
    return false;
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Device device(fuzz::scratchFolder());
  const AddressBookStore& book = device.addressBook;
  const std::string file = book.database();
  std::filesystem::create_directories(book.database().parent_path());
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  fuzz::leavingNothing([&] {
    if (reads(file, [&] { book.check(); })) {
      fuzz::require(reads(file, [&] { book.people(), book.groups(); }),
                    "a book that was found in order can be read");
    }
    reads(file, [&] { book.contains("5551234567"); });
    readThroughFramework();
  });
  return 0;
}
