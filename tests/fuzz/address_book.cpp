// An address book of any bytes: every reading of it ends, in rows or in an error that names the
// file; and the framework's functions give records, or none.

#include <fstream>

#include "simulator/foundation/objects.hpp"
#include "tests/fuzz/target.hpp"
#include "tests/support/members.hpp"

namespace {

using namespace simulator;

void readThroughFramework() {
  const auto book = own(ABAddressBookCreateWithOptions(nullptr, nullptr));
  const auto groups = own(header(ABAddressBookCopyArrayOfAllGroups(book.get())));
  if (!groups) return;
  for (const id group : as<Array>(groups.get())->items) {
    auto* const record = static_cast<ABRecordRef>(group);
    describe(own(ABRecordCopyCompositeName(record)).get());
    tests::membersOf(record);
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
  static const Device device(fuzz::scratchFolder.path);
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
