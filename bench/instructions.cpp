// To be run under callgrind: asks for decisions and dumps what each kind has cost, under its name.
//
// The numbers that it prints beside the names say how often each kind was asked.
#include <fmt/format.h>
#include <valgrind/callgrind.h>

#include "bench/phone.hpp"

namespace {

using namespace bench;
using simulator::AutoreleasePool;
using simulator::makeString;
using simulator::own;

constexpr int questions = 1'000;
constexpr int message = 1;
constexpr int noMessage = 2;

// At first everything is looked up once and for all; that is not part of a decision's cost.
void count(const std::string& name, int type, const char* sender) {
  const Decision decide;
  const auto destinationId = own(makeString(sender));
  const auto ask = [&] {
    const AutoreleasePool pool;
    return decide(type, destinationId.get());
  };
  ask();
  ask();
  CALLGRIND_ZERO_STATS;
  for (int i = 0; i < questions; ++i) ask();
  CALLGRIND_DUMP_STATS_AT(name.c_str());
  fmt::print("{} {}\n", name, questions);
}

// The server's own look-ups belong to the platform: they answer at once here.
BOOL no(id, SEL, id) { return false; }

void answerAtOnce(const char* question) {
  IMP original = nullptr;
  MSHookMessageEx(object_getClass(simulator::Device::current().bulletinBoard.server()),
                  sel_registerName(question), reinterpret_cast<IMP>(&no), &original);
}

void countBoth(const char* library, const char* path, Phone& phone) {
  phone.load(path);
  count(std::string(library) + ".other", noMessage, strangersNumber);
  count(std::string(library) + ".message", message, strangersNumber);
}

void countModes(Phone& phone) {
  const struct {
    const char* name;
    std::int64_t group;
    const char* sender;
  } modes[] = {
      {"everyone", -100, strangersNumber},
      {"nobody", -200, strangersNumber},
      {"favourites", -300, strangersNumber},
      {"contacts", -400, strangersNumber},
      {"group-e-mail", Phone::group, strangersAddress},
      {"group-number", Phone::group, strangersNumber},
  };
  answerAtOnce("_doesAddressBookContainDestinationID:");
  answerAtOnce("_doesFavoritesListContainDestinationID:");
  phone.set("isDNDActive", true);
  for (const auto& mode : modes) {
    phone.setGroup(mode.group);
    count(mode.name, message, mode.sender);
  }
}

}  // namespace

int main() {
  if (RUNNING_ON_VALGRIND == 0) {
    fmt::print(stderr, "counts nothing by itself: run it under valgrind --tool=callgrind\n");
    return 1;
  }
  Phone phone(10);
  countBoth("forwarding", FORWARDING_LIBRARY, phone);
  phone.unload();
  countBoth("gate", HUSHLANE_LIBRARY, phone);
  countModes(phone);
  phone.unload();
}
