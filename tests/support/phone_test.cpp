#include "tests/support/phone_test.hpp"

#include <cstdlib>

#include "simulator/frameworks/bulletin_board.hpp"

namespace tests {

using namespace simulator;

namespace {

// Another build of the library may stand in for the one beside the test programs.
std::filesystem::path libraryFile() {
  const char* const other = std::getenv("HUSHLANE_LIBRARY");
  return other != nullptr ? other : HUSHLANE_LIBRARY;
}

}  // namespace

PhoneTest::PhoneTest()
    : aliveBefore_((keepZombies(true), liveObjectCount())),
      unpooledBefore_(autoreleasedWithoutPool()),
      device_(std::make_unique<Device>(root_.path)) {}

PhoneTest::~PhoneTest() {
  end();
  device_.reset();
  EXPECT_EQ(liveObjectCount(), aliveBefore_)
      << ::testing::PrintToString(liveObjectsByClass()) << " are alive";
  EXPECT_EQ(autoreleasedWithoutPool(), unpooledBefore_) << "autoreleased without a pool";
  keepZombies(false);
  forgetZombies();
}

void PhoneTest::start() {
  log();
  library_ = std::make_unique<LoadedLibrary>(libraryFile());
  startLog = log();
}

void PhoneTest::restart() {
  end();
  start();
}

void PhoneTest::end() { library_.reset(); }

int PhoneTest::reloadWatching(Fault operation, const std::function<void()>& look) {
  int looks = 0;
  const std::function<void()> lookAgain = [&] {
    look();
    ++looks;
    callBefore(operation, lookAgain);
  };
  callBefore(operation, lookAgain);
  reload();
  resetFaults();
  return looks;
}

std::int64_t PhoneTest::chooseGroup(const std::vector<Person>& members) {
  std::vector<std::int64_t> ids;
  for (const Person& member : members) {
    ids.push_back(phone().addressBook.addPerson(member.name, member.phones, member.emails));
  }
  const std::int64_t group = phone().addressBook.addGroup("Chosen", ids);
  set("allowedMessageGroup", std::int64_t{group});
  return group;
}

std::optional<Texts> PhoneTest::texts(const std::string& collection) {
  const auto* const array = as<Array>(object(collection));
  if (array == nullptr) return std::nullopt;
  Texts texts;
  for (const id item : array->items) texts.push_back(describe(item));
  return texts;
}

bool PhoneTest::matcher(const std::optional<std::string>& destinationId) {
  const AutoreleasePool pool;
  const Owned<String> text = destinationId ? own(makeString(*destinationId)) : Owned<String>();
  return library_->function<bool(id)>("phoneNumberBelongsToPrivilegedPerson")(text.get());
}

Texts PhoneTest::groups() {
  const AutoreleasePool pool;
  Texts lines;
  const id listed = library_->function<id()>("loadABGroups")();
  for (const id item : as<Array>(listed)->items) {
    const auto* const entry = as<Dictionary>(item);
    EXPECT_EQ(entry->entries.size(), 2u);
    lines.push_back(describe(find(entry, "id")) + " " + describe(find(entry, "name")));
  }
  return lines;
}

bool PhoneTest::suppressed(long daysFromToday) {
  const AutoreleasePool pool;
  return library_->function<bool(long)>("shouldSchedulerBeSuppressed")(daysFromToday);
}

std::string PhoneTest::interval() {
  const AutoreleasePool pool;
  const id interval = library_->function<id()>("getBBBehaviorOverrideEffectiveInterval")();
  return interval == nullptr ? "nothing" : intervalText(interval);
}

}  // namespace tests
