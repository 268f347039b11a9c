// Property lists and keyed archives of any bytes: an object, or a refusal that says why; and what
// was read stays the same when it is written and read again.

#include "simulator/foundation/property_list.hpp"

#include "simulator/foundation/keyed_archive.hpp"
#include "tests/fuzz/target.hpp"

namespace {

using namespace simulator;

// What can be read but not written, as a far date or a null character, is written as nothing.
template <class Write>
std::vector<std::uint8_t> written(Write write) {
  try {
    return write();
  } catch (const PlatformException&) {
    return {};
  }
}

void readAndWriteList(fuzz::Bytes bytes) {
  std::string why;
  const Owned<Object> read = parsePropertyList(bytes, &why);
  fuzz::require(read || !why.empty(), "a refused list comes with a reason");
  if (!read) return;
  for (const auto form : {PropertyListForm::binary, PropertyListForm::xml}) {
    const auto list = written([&] { return writePropertyList(read.get(), form); });
    if (list.empty()) continue;
    const Owned<Object> again = parsePropertyList(list, &why);
    fuzz::require(bool(again), "a written list can be read: " + why);
    fuzz::require(describe(again.get()) == describe(read.get()), "a written list reads the same");
  }
}

// The archive's root; nothing when it is refused in one of the two ways that are promised.
Owned<Object> unarchived(fuzz::Bytes bytes) {
  try {
    return own(header(unarchive(bytes)));
  } catch (const PlatformException& exception) {
    fuzz::require(exception.name() == "NSInvalidUnarchiveOperationException" ||
                      exception.name() == "NSInvalidArgumentException",
                  "an archive is refused as the platform does");
    return {};
  }
}

void readAndWriteArchive(fuzz::Bytes bytes) {
  const Owned<Object> root = unarchived(bytes);
  if (!root) return;
  const auto copy = written([&] { return archive(root.get()); });
  if (copy.empty()) return;
  const Owned<Object> again = unarchived(copy);
  fuzz::require(bool(again), "a written archive can be read");
  fuzz::require(className(classOf(again.get())) == className(classOf(root.get())),
                "a written archive has a root of the same class");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::leavingNothing([=] {
    readAndWriteList({data, size});
    readAndWriteArchive({data, size});
  });
  return 0;
}
