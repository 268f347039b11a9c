// To be run under callgrind with --instr-atstart=no: dumps what each operation of the library has
// cost, under the operation's name. Prints the platform calls of some, as lines of both names.
//
// All but start-up are counted at their third run: the first looks up what is looked up once.
#include <fmt/format.h>
#include <valgrind/callgrind.h>

#include <string>
#include <string_view>

#include "bench/phone.hpp"
#include "hushlane/hushlane.h"
#include "simulator/context/call_trace.hpp"

namespace {

using namespace bench;
using simulator::AutoreleasePool;
using simulator::makeString;
using simulator::own;

constexpr int message = 1;
constexpr int noMessage = 2;

template <class Operation>
void countInstructions(const std::string& name, const Operation& operation) {
  CALLGRIND_START_INSTRUMENTATION;
  operation();
  CALLGRIND_STOP_INSTRUMENTATION;
  CALLGRIND_DUMP_STATS_AT(name.c_str());
}

template <class Operation>
void countRepeated(const std::string& name, const Operation& operation) {
  operation();
  operation();
  countInstructions(name, operation);
}

// The operations' names alone: "NSDate init" and "MSHookMessageEx" without their details. A method
// that the platform lets fail by itself is traced once more, as "+[...]": its message stands
// already.
template <class Operation>
void listCalls(const std::string& name, const Operation& operation) {
  constexpr std::string_view sent = "message ";
  simulator::startTrace();
  operation();
  for (const std::string& call : simulator::stopTrace()) {
    if (call.starts_with("+[")) continue;
    fmt::print("{} {}\n", name,
               call.starts_with(sent) ? call.substr(sent.size()) : call.substr(0, call.find(' ')));
  }
}

// ---- The platform's own answers: each call of them leaves the library for this program ----------

BOOL present(id, SEL, int, id) { return false; }

BOOL activeForDate(id, SEL, id) {
  simulator::traceCall("original");
  return true;
}

void answer(const char* type, const char* question, IMP with) {
  IMP original = nullptr;
  MSHookMessageEx(simulator::classNamed(type), sel_registerName(question), with, &original);
}

// ---- Decisions ----------------------------------------------------------------------------------

void countDecision(const std::string& name, int type, const char* sender) {
  const Decision decide;
  const auto destinationId = own(makeString(sender));
  const AutoreleasePool pool;
  countRepeated(name, [&] { decide(type, destinationId.get()); });
}

void countDecisions() {
  Phone phone(10);
  answer("BBServer", Decision::question, reinterpret_cast<IMP>(&present));
  phone.load();
  countDecision("other", noMessage, strangersNumber);
  countDecision("message", message, strangersNumber);
  phone.set("isDNDActive", true);
  const struct {
    const char* name;
    std::int64_t group;
  } modes[] = {{"everyone", HushlaneAllowedMessageGroupEveryone},
               {"nobody", HushlaneAllowedMessageGroupNobody},
               {"favourites", HushlaneAllowedMessageGroupFavorites},
               {"contacts", HushlaneAllowedMessageGroupAllContacts},
               {"address", Phone::group}};
  for (const auto& mode : modes) {
    phone.setGroup(mode.group);
    countDecision(mode.name, message, strangersAddress);
  }
}

void countScan(std::size_t numbers) {
  Phone phone(numbers / 2);
  phone.load();
  phone.set("isDNDActive", true);
  countDecision(fmt::format("scan-{}", numbers), message, strangersNumber);
}

// ---- Weekdays, loads, start-up ------------------------------------------------------------------

void countWeekdayQuery() {
  Phone phone(1);
  answer("BBBehaviorOverride", "isActiveForDate:", reinterpret_cast<IMP>(&activeForDate));
  phone.load();
  const auto override = simulator::makeOverride({});
  const auto moment = own(simulator::makeDate(1e9));
  const SEL selector = sel_registerName("isActiveForDate:");
  const auto question = reinterpret_cast<BOOL (*)(id, SEL, id)>(
      simulator::methodOf(simulator::classNamed("BBBehaviorOverride"), selector));
  const AutoreleasePool pool;
  const auto ask = [&] { question(override.get(), selector, moment.get()); };
  countRepeated("weekday", ask);
  listCalls("weekday", ask);
}

void countLoad(std::size_t members, bool withCalls) {
  Phone phone(members);
  phone.load();
  const auto reload = [&] {
    phone.reload();
    phone.settle();
  };
  const std::string name = fmt::format("load-{}", members);
  countRepeated(name, reload);
  if (withCalls) listCalls(name, reload);
}

void countStartUp() {
  Phone phone(1);
  countInstructions("start-up", [&] { phone.load(); });
  phone.unload();
  listCalls("start-up", [&] { phone.load(); });
}

}  // namespace

int main() {
  if (RUNNING_ON_VALGRIND == 0) {
    fmt::print(stderr, "counts nothing by itself: run it under valgrind --tool=callgrind\n");
    return 1;
  }
  countStartUp();
  countDecisions();
  countWeekdayQuery();
  for (const std::size_t numbers : {1'000U, 2'000U, 50'000U, 100'000U}) countScan(numbers);
  for (const std::size_t members : {1'000U, 2'000U}) countLoad(members, true);
  for (const std::size_t members : {50'000U, 100'000U}) countLoad(members, false);
}
