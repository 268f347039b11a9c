// The fault sweep: in every scenario each operation beneath the library fails at its first call, at
// its second and so on, once and from then on, until a run meets no failure any more.
//
// After each failure only what the table of effects says may differ from a run without failures;
// then the next good load must bring back everything, and at the end nothing may be left alive.
// HUSHLANE_FAULT_CASE=SCENARIO:ROW:CALL:once (or :on) runs one case alone.

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <regex>
#include <set>

#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

using simulator::Fault;
using simulator::FaultRow;

// What can be seen of the library, each thing as a list of texts. A missing collection is empty.
using Observation = std::map<std::string, Texts>;

const std::string mode = "allowedMessageGroup";
const std::string digits = "maxNumOfDigitsToCompare";
const std::string days = "daysForSuppressingScheduler";
const std::string ids = "privilegedMessageSenderIDs";
const std::string phones = "privilegedMessageSenderPhones";
const std::string emails = "privilegedMessageSenderEmails";

// ---- The documented effects --------------------------------------------------------------------

enum class Effect { stays, fewer, becomes, adds };

// In a run in which one of the operations fails, each of the things may differ from a good run in
// this way: it stays as it was before, has fewer elements, becomes just `text`, or has `text`
// besides.
struct DocumentedEffect {
  std::vector<Fault> operations;
  Texts things;
  Effect effect;
  const char* text;
};
DocumentedEffect when(const std::vector<Fault>& operations, const Texts& things, Effect effect,
                      const char* text = "") {
  return {operations, things, effect, text};
}

const std::vector<DocumentedEffect>& documentedEffects() {
  using enum Fault;
  using enum Effect;
  static const std::vector<DocumentedEffect> rows = {
      // A load that gets no settings changes none.
      when({CFPreferencesCopyKeyList, CFPreferencesCopyMultiple},
           {mode, digits, days, ids, phones, emails}, stays),
      when({CFPreferencesCopyKeyList}, {"log"}, adds, "HL: unable to get preferences"),
      when({CFPreferencesCopyMultiple}, {"log"}, adds, "HL: preferences dictionary error"),

      // A value that is missing, or has no such reading, is as if it had never been set.
      when({objectForKey, respondsToSelector}, {mode}, becomes, "-200"),
      when({objectForKey, respondsToSelector}, {digits}, becomes, "7"),
      when({objectForKey, respondsToSelector}, {ids, phones, emails}, fewer),
      when({objectForKey, respondsToSelector, stringWithFormat, numberWithInt}, {days}, fewer),

      // What the address book does not give is not in the group; all else is.
      when({ABAddressBookCreateWithOptions, ABAddressBookRequestAccessWithCompletion,
            ABAddressBookGetGroupWithRecordID, ABGroupCopyArrayOfAllMembers,
            dispatch_semaphore_create},
           {ids, phones, emails}, fewer),
      when({ABAddressBookCreateWithOptions}, {"log"}, adds,
           "HL: unable to get addressbook for caching privileged message senders!"),
      when({ABRecordCopyValue}, {phones, emails}, fewer),
      when(
          {ABMultiValueGetCount, ABMultiValueCopyValueAtIndex, componentsSeparatedByCharactersInSet,
           componentsJoinedByString, characterSetWithCharactersInString, invertedSet},
          {phones}, fewer),
      when({ABMultiValueCopyArrayOfAllValues}, {emails}, fewer),
      when({numberWithInt}, {ids}, fewer),

      // A list of groups, or of what is known of each.
      when({objc_getClass, ABAddressBookCreateWithOptions, ABAddressBookRequestAccessWithCompletion,
            ABAddressBookCopyArrayOfAllGroups, ABRecordCopyCompositeName, dispatch_semaphore_create,
            alloc, init, initWithUTF8String, numberWithInt},
           {"answer"}, fewer),

      // A question that can't be decided: the platform's own answer stands.
      when({alloc, initWithUTF8String, respondsToSelector, substringFromIndex}, {"answer"}, becomes,
           "held back"),
      when({substringFromIndex, currentCalendar, componentsFromDate}, {"answer"}, fewer),
      when({objc_getClass, currentCalendar, componentsFromDate, numberWithInt}, {"answer"}, becomes,
           "active"),
      when({objc_getClass, alloc, initWithUTF8String, respondsToSelector, initWithContentsOfFile,
            objectForKey, unarchivesNothing, effectiveIntervals},
           {"answer"}, becomes, "nothing"),
      when({unarchiveObjectWithData}, {"answer"}, becomes,
           "raises NSInvalidUnarchiveOperationException"),

      // A host that lacks a class or a method is not hooked there.
      when({objc_getClass, MSHookMessageEx}, {"hooks"}, fewer),

      // A host that can make no strings, lists, numbers or dates: what would hold them is missing,
      // and a domain that can't be named can't be read.
      when({objc_getClass, alloc, initWithUTF8String}, {mode, digits}, stays),
      when({objc_getClass, alloc, init, initWithUTF8String}, {days, ids, phones, emails}, fewer),
      when({objc_getClass, alloc, initWithUTF8String}, {"observers", "log"}, fewer),
      when({objc_getClass, alloc, init}, {"ctorTime"}, fewer),
      when({alloc, init}, {"manualDNDEnabledTime"}, fewer),
      when({alloc, initWithUTF8String}, {mode}, becomes, "-200"),
      when({alloc, initWithUTF8String}, {digits}, becomes, "7"),
      when({alloc, initWithUTF8String}, {"log"}, adds, "HL: unable to get preferences"),
      when({alloc, initWithUTF8String}, {"log"}, becomes, "HL: DnD state changed to (null)"),
  };
  return rows;
}

bool isPartOf(const Texts& part, const Texts& whole) {
  auto next = part.begin();
  for (const std::string& text : whole) {
    if (next != part.end() && *next == text) ++next;
  }
  return next == part.end();
}

bool agrees(const DocumentedEffect& documented, const Texts& seen, const Texts& before,
            const Texts& good) {
  const Texts text = {documented.text};
  if (documented.effect == Effect::stays) return seen == before;
  if (documented.effect == Effect::fewer) return isPartOf(seen, good);
  if (documented.effect == Effect::becomes) return seen == text;
  return isPartOf(text, seen) && isPartOf(good, seen);
}

// ---- The case that runs ------------------------------------------------------------------------

std::string howToRepeat;

// A case that takes the whole process down is named as well.
void nameCaseAndDie(int signal) {
  std::fprintf(stderr, "%s\n", howToRepeat.c_str());
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

// ---- The scenarios -----------------------------------------------------------------------------

const char* const annasNumber = "+15551234567";
const char* const annasAddress = "anna@example.org";

class FaultSweep : public PhoneTest {
 protected:
  struct Scenario {
    const char* name;
    const char* settings;  // in force before; without any the library is not even loaded
    std::function<Texts()> act;
    bool hasFeedsAndLogs = false;
  };

  FaultSweep() {
    phone().addressBook.addFavourite(annasNumber);
    phone().bulletinBoard.setSchedule(
        simulator::DailyPeriod{std::chrono::hours(19), std::chrono::hours(23)});
  }

  void useSettings(const std::string& name) {
    const auto& [allowed, compared, suppressedDays] = settings_.at(name);
    phone().preferences.clear(simulator::settingsDomain);
    set(mode, allowed);
    set(digits, compared);
    set("schedulerWeekday_3", true);
    for (const char day : suppressedDays) set(std::string("schedulerWeekday_") + day, false);
  }

  std::function<Texts()> decision(const char* sender) {
    return [=, this] { return Texts{message(sender) ? "presented" : "held back"}; };
  }
  Texts startWith(const char* settings) {
    useSettings(settings);
    start();
    return {};
  }
  // Without the host's asking its overrides again, which is a scenario of its own.
  Texts deliver(const std::string& notification, const char* newSettings = nullptr) {
    if (newSettings != nullptr) useSettings(newSettings);
    phone().notifications.post("org.mernwick.hushlane." + notification);
    phone().notifications.runMainLoop();
    return {};
  }

  // The IDs and the names that are there.
  Texts listGroups() {
    const simulator::AutoreleasePool pool;
    const id listed = function<id()>("loadABGroups")();
    Texts texts;
    if (listed == nullptr) return texts;
    for (const id item : simulator::as<simulator::Array>(listed)->items) {
      const auto* const entry = simulator::as<simulator::Dictionary>(item);
      for (const char* const key : {"id", "name"}) {
        const id value = simulator::find(entry, key);
        if (value != nullptr) texts.push_back(simulator::describe(value));
      }
    }
    std::erase(texts, "");
    return texts;
  }

  Texts report(std::uint64_t types, std::optional<std::uint64_t> source = std::nullopt) {
    phone().bulletinBoard.reportOverrideTypes(types, source);
    return {};
  }
  bool isActive() { return phone().bulletinBoard.scheduleActiveAt(phone().clock.now()); }

  Texts readOverride() {
    try {
      return {interval()};
    } catch (const simulator::PlatformException& raised) {
      return {"raises " + raised.name()};
    }
  }

  std::vector<Scenario> scenarios() {
    return {
        {"start", nullptr, [this] { return startWith("everyone"); }},
        {"start-with-group", nullptr, [this] { return startWith("family"); }},
        {"reload", "family", [this] { return deliver("reloadsettings", "everyone"); }},
        {"reload-with-group", "nobody", [this] { return deliver("reloadsettings", "family"); }},
        {"other-group-by-weekday-change", "family",
         [this] { return deliver("weekdaysettingschanged", "work"); }},
        {"group-listing", "everyone", [this] { return listGroups(); }},
        {"everyone", "everyone", decision("+15550000000")},
        {"nobody", "nobody", decision(annasNumber)},
        {"favourites", "favourites", decision(annasNumber)},
        {"contacts", "contacts", decision(annasNumber)},
        {"group-by-number", "family", decision(annasNumber)},
        {"group-by-address", "family", decision(annasAddress)},
        {"group-by-address-with-digits", "family", decision("x@1234567")},
        {"group-with-feeds-and-log", "family", decision(annasNumber), true},
        {"matcher", "family", [this] { return matcher(annasNumber) ? Texts{"yes"} : Texts{}; }},
        {"schedule", "family", [this] { return Texts{isActive() ? "active" : "suppressed"}; }},
        {"weekday-query", "family",
         [this] { return suppressed(0) && !suppressed(1) ? Texts{"today"} : Texts{}; }},
        {"override", "everyone", [this] { return readOverride(); }},
        {"manual-notification", "everyone", [this] { return deliver("manualdndenabled"); }},
        {"dnd-off", "everyone", [this] { return report(0); }},
    };
  }

  // ---- One case --------------------------------------------------------------------------------

  struct Outcome {
    Observation before = {{mode, {"0"}}, {digits, {"0"}}};
    Observation after, recovered;
    std::uint64_t injected = 0;
  };

  Outcome run(const Scenario& scenario, auto arm) {
    const std::int64_t alive = simulator::liveObjectCount();
    Outcome outcome;
    phone().setFoundationVersion(scenario.hasFeedsAndLogs ? 1300.0 : 1240.1);
    if (scenario.settings != nullptr) {
      startWith(scenario.settings);
      report(1);
      debugLogging(scenario.hasFeedsAndLogs);
      outcome.before = loaded();
      log();
    }
    arm();
    const Texts answer = scenario.act();
    outcome.injected = simulator::injectedFailures();
    simulator::resetFaults();
    const Texts logged = scenario.settings == nullptr ? startLog : log();
    outcome.after = loaded();
    outcome.after["isDNDActive"] = {std::to_string(boolean("isDNDActive"))};
    for (const char* const stamp : {"ctorTime", "manualDNDEnabledTime"}) {
      outcome.after[stamp] = Texts(object(stamp) == nullptr ? 0 : 1);
    }
    outcome.after["answer"] = answer;
    if (!scenario.hasFeedsAndLogs) outcome.after["log"] = logged;
    outcome.after["hooks"] = hooks();
    outcome.after["observers"] = observers();
    recover();
    outcome.recovered = loaded();
    outcome.recovered["answer"] = {matcher("5550002") ? "yes" : "no"};
    end();
    EXPECT_EQ(simulator::liveObjectCount(), alive) << "objects left alive";
    simulator::forgetZombies();
    return outcome;
  }

  // What a load of the settings leaves.
  Observation loaded() {
    Observation seen;
    seen["enableDebugLogging"] = {std::to_string(boolean("enableDebugLogging"))};
    for (const auto& name : {mode, digits}) seen[name] = {std::to_string(integer(name))};
    for (const auto& name : {ids, phones, emails, days}) seen[name] = texts(name).value_or(Texts{});
    return seen;
  }

  // The replacements that are live, known by the lines that each one logs.
  Texts hooks() {
    const std::pair<const char*, std::function<void()>> questions[] = {
        {"change with source", [this] { report(1, 0); }},
        {"change", [this] { report(1); }},
        {"gate", [this] { message("somebody"); }},
        {"schedule", [this] { isActive(); }},
    };
    Texts live;
    debugLogging(true);
    for (const auto& [name, ask] : questions) {
      ask();
      if (!log().empty()) live.emplace_back(name);
    }
    debugLogging(false);
    return live;
  }

  Texts observers() {
    Texts names;
    for (const auto& observer : phone().notifications.observers()) names.push_back(observer.name);
    return names;
  }

  // One good load, by the first observer, which is one of the settings'. Where there is none, the
  // host has to start again.
  void recover() {
    useSettings("work");
    const Texts names = observers();
    if (names.empty()) return restart();
    phone().notifications.post(names.front());
    phone().notifications.runMainLoop();
  }

  // ---- The whole sweep -------------------------------------------------------------------------

  void sweep(const Scenario& scenario, const Outcome& good, const FaultRow& row, bool onward) {
    for (std::uint64_t call = 1; call < moreCallsThanAny; ++call) {
      const std::string name =
          fmt::format("{}:{}:{}:{}", scenario.name, row.operation, call, onward ? "on" : "once");
      if (!only_.empty() && only_ != name) continue;
      howToRepeat =
          fmt::format("repeat with: HUSHLANE_FAULT_CASE='{}' {} --gtest_filter='FaultSweep.*'",
                      name, std::filesystem::read_symlink("/proc/self/exe").string());
      SCOPED_TRACE(howToRepeat);
      const Outcome outcome = run(scenario, [&] { simulator::failAt(row.fault, call, onward); });
      if (outcome.injected == 0) return;
      ++cases_;
      reached_.insert(row.fault);
      compare(good, outcome, row);
    }
    EXPECT_FALSE(only_.empty()) << scenario.name << " calls " << row.operation << " without end";
  }

  void compare(const Outcome& good, Outcome outcome, const FaultRow& row) {
    for (const auto& [what, expected] : good.after) {
      const Texts& seen = outcome.after[what];
      if (seen == expected) continue;
      const Texts& before = outcome.before[what];
      bool documented = false;
      for (const DocumentedEffect& effect : documentedEffects()) {
        if (std::ranges::count(effect.operations, row.fault) == 0) continue;
        if (std::ranges::count(effect.things, what) == 0) continue;
        if (!agrees(effect, seen, before, expected)) continue;
        documented = true;
        seen_.insert({&effect, row.fault, what});
      }
      EXPECT_TRUE(documented) << what << " is " << testing::PrintToString(seen) << ", was "
                              << testing::PrintToString(before) << " and should be "
                              << testing::PrintToString(expected);
    }
    EXPECT_EQ(outcome.recovered, good.recovered) << "after a good load";
  }

  const std::int64_t anna_ =
      phone().addressBook.addPerson("Anna", {"+1 (555) 123-4567", "555-0001"}, {annasAddress});
  const std::int64_t ben_ = phone().addressBook.addPerson("Ben", {"555-0002"}, {"ben@b", "b@b"});
  const std::int64_t family_ = phone().addressBook.addGroup("Family", {anna_, ben_});
  const std::int64_t work_ = phone().addressBook.addGroup("Work", {ben_});

  // The mode, the number of digits, and the weekdays that are switched off.
  using Settings = std::tuple<std::int64_t, std::int64_t, std::string>;
  const std::map<std::string, Settings> settings_ = {
      {"family", {family_, 6, "7"}}, {"work", {work_, 5, "26"}},      {"everyone", {-100, 4, "17"}},
      {"nobody", {-200, 4, "17"}},   {"favourites", {-300, 4, "17"}}, {"contacts", {-400, 4, "17"}},
  };

  static constexpr std::uint64_t moreCallsThanAny = 500;  // of a scenario to an operation

  std::string only_;
  std::set<Fault> reached_;
  std::set<std::tuple<const DocumentedEffect*, Fault, std::string>> seen_;
  std::uint64_t cases_ = 0;
};

TEST_F(FaultSweep, EveryFailureHasItsDocumentedEffectAndNoOther) {
  if (const char* const wanted = std::getenv("HUSHLANE_FAULT_CASE")) only_ = wanted;
  for (const int signal : {SIGABRT, SIGSEGV}) std::signal(signal, &nameCaseAndDie);
  for (const Scenario& scenario : scenarios()) {
    const Outcome good = run(scenario, [] {});
    for (const FaultRow& row : simulator::faultTable()) {
      for (const bool onward : {false, true}) sweep(scenario, good, row, onward);
    }
  }
  std::printf("%llu failures injected\n", static_cast<unsigned long long>(cases_));
  if (!only_.empty()) {
    EXPECT_EQ(cases_, 1u) << "no such case: " << only_;
    return;
  }
  for (const FaultRow& row : simulator::faultTable()) {
    EXPECT_TRUE(reached_.contains(row.fault)) << row.operation << " fails in no scenario";
  }
  for (const DocumentedEffect& effect : documentedEffects()) {
    for (const Fault fault : effect.operations) {
      for (const std::string& what : effect.things) {
        EXPECT_TRUE(seen_.contains({&effect, fault, what}))
            << "documented, but never seen: "
            << simulator::faultTable()[static_cast<std::size_t>(fault)].operation << ", " << what
            << " " << effect.text;
      }
    }
  }
}

// ---- The table is complete ---------------------------------------------------------------------

const std::vector<Texts> cannotFail = {
    // They have no failure to report.
    {"objc_retain", "objc_release", "objc_autorelease"},
    {"objc_autoreleasePoolPush", "objc_autoreleasePoolPop"},
    {"objc_msgSend", "sel_registerName"},
    {"NSLog", "dispatch_semaphore_signal", "dispatch_semaphore_wait"},
    {"CFNotificationCenterGetDarwinNotifyCenter", "CFNotificationCenterAddObserver"},
    {"addObject:", "setObject:forKey:", "date"},
    // They answer with a plain value.
    {"boolValue", "intValue", "weekday", "length", "count"},
    {"containsObject:", "hasSuffix:", "rangeOfString:"},
    {"_doesAddressBookContainDestinationID:", "_doesFavoritesListContainDestinationID:"},
    {"shouldPresentNotificationOfType:fromSenderWithDestinationID:inFeed:"},
    // The library asks for nothing that is not there: its records come from the address book
    // itself, its indices are within the bounds.
    {"ABRecordGetRecordID", "objectAtIndex:", "countByEnumeratingWithState:objects:count:"},
};

TEST_F(FaultSweep, HasARowForEveryOperationThatTheLibraryCalls) {
  std::set<std::string> called;
  // The platform's functions that the library takes, by the linker's own list.
  const std::regex platform("(AB|CF|MS|NS(?!Foundation)|obj|sel_|dispatch_).*");
  const std::string listing = phone().root / "functions";
  const std::string list = fmt::format(
      "nm --dynamic --undefined-only --format=just-symbols {} > {}", HUSHLANE_LIBRARY, listing);
  ASSERT_EQ(std::system(list.c_str()), 0) << list;
  std::ifstream functions(listing);
  for (std::string name; functions >> name;) {
    if (std::regex_match(name, platform)) called.insert(name);
  }
  for (const Scenario& scenario : scenarios()) {
    simulator::startTrace();
    run(scenario, [] {});
    for (const std::string& call : simulator::stopTrace()) {
      if (call.starts_with("message ")) called.insert(call.substr(call.rfind(' ') + 1));
    }
  }
  std::set<std::string> known;
  for (const FaultRow& row : simulator::faultTable()) {
    const std::string operation(row.operation.substr(row.operation.find(' ') + 1));
    known.insert(operation.substr(0, operation.find(']')));
  }
  for (const Texts& names : cannotFail) {
    for (const std::string& name : names) {
      EXPECT_TRUE(called.contains(name)) << name << " can't fail, but is never called";
      EXPECT_TRUE(known.insert(name).second) << name << " has a row, so it can fail";
    }
  }
  for (const std::string& name : called) {
    EXPECT_TRUE(known.contains(name)) << name << " has no row, nor is it said that it can't fail";
  }
}

}  // namespace
}  // namespace tests
