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

// ---- The documented effects --------------------------------------------------------------------

enum class Effect { stays, fewer, becomes, adds };

// In a run in which one of the operations fails, each of the things may differ from a good run in
// this way: it stays as it was before, has fewer elements, becomes just `text`, or has `text`
// besides.
struct DocumentedEffect {
  std::vector<Fault> operations;
  Texts things;
  Effect effect;
  const char* text = "";
};

const std::vector<DocumentedEffect>& documentedEffects() {
  using enum Fault;
  using enum Effect;
  const std::string mode = "allowedMessageGroup";
  const std::string digits = "maxNumOfDigitsToCompare";
  const std::string days = "daysForSuppressingScheduler";
  const std::string ids = "privilegedMessageSenderIDs";
  const std::string phones = "privilegedMessageSenderPhones";
  const std::string emails = "privilegedMessageSenderEmails";
  static const std::vector<DocumentedEffect> rows = {
      // A load that gets no settings changes none.
      {{CFPreferencesCopyKeyList, CFPreferencesCopyMultiple},
       {mode, digits, days, ids, phones, emails},
       stays},
      {{CFPreferencesCopyKeyList}, {"log"}, adds, "HL: unable to get preferences"},
      {{CFPreferencesCopyMultiple}, {"log"}, adds, "HL: preferences dictionary error"},

      // A value that is missing, or has no such reading, is as if it had never been set.
      {{objectForKey, class_respondsToSelector}, {mode}, becomes, "-200"},
      {{objectForKey, class_respondsToSelector}, {digits}, becomes, "7"},
      {{objectForKey, class_respondsToSelector}, {ids, phones, emails}, fewer},
      {{objectForKey, class_respondsToSelector, stringWithFormat, numberWithInt}, {days}, fewer},

      // What the address book does not give is not in the group; all else is.
      {{ABAddressBookCreateWithOptions, ABAddressBookRequestAccessWithCompletion,
        ABAddressBookGetGroupWithRecordID, ABGroupCopyArrayOfAllMembers, dispatch_semaphore_create},
       {ids, phones, emails},
       fewer},
      {{ABAddressBookCreateWithOptions},
       {"log"},
       adds,
       "HL: unable to get addressbook for caching privileged message senders!"},
      {{ABRecordCopyValue}, {phones, emails}, fewer},
      {{ABMultiValueGetCount, ABMultiValueCopyValueAtIndex, componentsSeparatedByCharactersInSet,
        componentsJoinedByString, characterSetWithCharactersInString, invertedSet},
       {phones},
       fewer},
      {{ABMultiValueCopyArrayOfAllValues}, {emails}, fewer},
      {{numberWithInt}, {ids}, fewer},

      // A list of groups, or of what is known of each.
      {{objc_getClass, ABAddressBookCreateWithOptions, ABAddressBookRequestAccessWithCompletion,
        ABAddressBookCopyArrayOfAllGroups, ABRecordCopyCompositeName, dispatch_semaphore_create,
        alloc, init, initWithUTF8String, numberWithInt},
       {"answer"},
       fewer},

      // A question that can't be decided: the platform's own answer stands.
      {{alloc, initWithUTF8String, class_respondsToSelector, substringFromIndex},
       {"answer"},
       becomes,
       "held back"},
      {{substringFromIndex, currentCalendar, componentsFromDate}, {"answer"}, fewer},
      {{objc_getClass, currentCalendar, componentsFromDate, numberWithInt},
       {"answer"},
       becomes,
       "active"},
      {{objc_getClass, alloc, initWithUTF8String, class_respondsToSelector, initWithContentsOfFile,
        objectForKey, unarchivesNothing, effectiveIntervals},
       {"answer"},
       becomes,
       "nothing"},
      {{unarchiveObjectWithData},
       {"answer"},
       becomes,
       "raises NSInvalidUnarchiveOperationException"},

      // A host that lacks a class or a method is not hooked there.
      {{objc_getClass, MSHookMessageEx}, {"hooks"}, fewer},

      // A host that can make no strings, lists, numbers or dates: what would hold them is missing,
      // and a domain that can't be named can't be read.
      {{objc_getClass, alloc, initWithUTF8String}, {mode, digits}, stays},
      {{objc_getClass, alloc, init, initWithUTF8String}, {days, ids, phones, emails}, fewer},
      {{objc_getClass, alloc, initWithUTF8String}, {"observers", "log"}, fewer},
      {{objc_getClass, alloc, init}, {"ctorTime"}, fewer},
      {{alloc, init}, {"manualDNDEnabledTime"}, fewer},
      {{alloc, initWithUTF8String}, {mode}, becomes, "-200"},
      {{alloc, initWithUTF8String}, {digits}, becomes, "7"},
      {{alloc, initWithUTF8String}, {"log"}, adds, "HL: unable to get preferences"},
      {{alloc, initWithUTF8String}, {"log"}, becomes, "HL: DnD state changed to (null)"},
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
  switch (documented.effect) {
    case Effect::stays:
      return seen == before;
    case Effect::fewer:
      return isPartOf(seen, good);
    case Effect::becomes:
      return seen == Texts{documented.text};
    case Effect::adds:
      return std::ranges::find(seen, documented.text) != seen.end() && isPartOf(good, seen);
  }
  return false;
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
    double foundation = 1047.25;
    bool debugLogging = false;
  };

  FaultSweep() {
    const std::int32_t anna =
        phone().addressBook.addPerson("Anna", {"+1 (555) 123-4567", "555-0001"}, {annasAddress});
    const std::int32_t ben = phone().addressBook.addPerson("Ben", {"555-0002"}, {"ben@b", "b@b"});
    const std::int32_t family = phone().addressBook.addGroup("Family", {anna, ben});
    const std::int32_t work = phone().addressBook.addGroup("Work", {ben});
    phone().addressBook.addFavourite(annasNumber);
    phone().bulletinBoard.setSchedule(
        simulator::DailyPeriod{std::chrono::hours(19), std::chrono::hours(23)});
    prepareSettings("family", family, 6, {"7"});
    prepareSettings("work", work, 5, {"2", "6"});
    for (const auto& [name, mode] : {std::pair("everyone", -100), std::pair("nobody", -200),
                                     std::pair("favourites", -300), std::pair("contacts", -400)}) {
      prepareSettings(name, mode, 4, {"1", "7"});
    }
  }

  // A file of settings, kept aside.
  void prepareSettings(const std::string& name, std::int64_t mode, std::int64_t digits,
                       const Texts& days) {
    phone().preferences.clear(simulator::settingsDomain);
    set("allowedMessageGroup", mode);
    set("maxNumOfDigitsToCompare", digits);
    for (const std::string& day : days) set("schedulerWeekday_" + day, false);
    set("schedulerWeekday_3", true);
    std::filesystem::copy_file(settingsFile(), preparedFile(name));
  }
  void useSettings(const std::string& name) {
    std::filesystem::copy_file(preparedFile(name), settingsFile(),
                               std::filesystem::copy_options::overwrite_existing);
  }
  std::filesystem::path settingsFile() {
    return phone().preferences.file(simulator::settingsDomain);
  }
  std::filesystem::path preparedFile(const std::string& name) { return phone().root / name; }

  Texts decide(const char* sender) { return {message(sender) ? "presented" : "held back"}; }

  Texts startWith(const char* settings) {
    useSettings(settings);
    start();
    return {};
  }
  Texts reloadWith(const char* settings, const char* notification = "reloadsettings") {
    useSettings(settings);
    return deliver(notification);
  }
  // Without the host's asking its overrides again, which is a scenario of its own.
  Texts deliver(const std::string& notification) {
    phone().notifications.post("org.mernwick.hushlane." + notification);
    phone().notifications.runMainLoop();
    return {};
  }

  // An absent name is an empty one, and an absent ID is left out.
  Texts listGroups() {
    const simulator::AutoreleasePool pool;
    const auto* const list =
        simulator::as<simulator::Array>(function<id()>("loadABGroups")(), "NSArray");
    Texts texts;
    for (std::size_t i = 0; list != nullptr && i < list->items.size(); ++i) {
      const auto* const entry =
          simulator::as<simulator::Dictionary>(list->items[i], "NSDictionary");
      for (const char* const key : {"id", "name"}) {
        const id value = simulator::find(entry, key);
        const std::string text = value == nullptr ? "" : simulator::describe(value);
        if (!text.empty()) texts.push_back(key + (" " + text));
      }
    }
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
    const auto decides = [this](const char* sender) {
      return [=, this] { return decide(sender); };
    };
    return {
        {"start", nullptr, [this] { return startWith("everyone"); }},
        {"start-with-group", nullptr, [this] { return startWith("family"); }},
        {"reload", "family", [this] { return reloadWith("everyone"); }},
        {"reload-with-group", "nobody", [this] { return reloadWith("family"); }},
        {"other-group-by-weekday-change", "family",
         [this] { return reloadWith("work", "weekdaysettingschanged"); }},
        {"group-listing", "everyone", [this] { return listGroups(); }},
        {"everyone", "everyone", decides("+15550000000")},
        {"nobody", "nobody", decides(annasNumber)},
        {"favourites", "favourites", decides(annasNumber)},
        {"contacts", "contacts", decides(annasNumber)},
        {"group-by-number", "family", decides(annasNumber)},
        {"group-by-address", "family", decides(annasAddress)},
        {"group-with-feeds-and-log", "family", decides(annasNumber), 1300.0, true},
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
    Observation before, after, recovered;
    std::uint64_t injected = 0;
  };

  void prepare(const Scenario& scenario) {
    phone().setFoundationVersion(scenario.foundation);
    if (scenario.settings == nullptr) return;
    useSettings(scenario.settings);
    start();
    report(1);
    debugLogging(scenario.debugLogging);
  }

  template <class Arm>
  Outcome run(const Scenario& scenario, Arm arm) {
    const std::int64_t alive = simulator::liveObjectCount();
    prepare(scenario);
    Outcome outcome;
    outcome.before = scenario.settings != nullptr ? settings() : atLoad();
    log();
    startLog.clear();
    arm();
    const Texts answer = scenario.act();
    outcome.injected = simulator::injectedFailures();
    simulator::resetFaults();
    Texts logged = startLog;
    std::ranges::move(log(), std::back_inserter(logged));
    outcome.after = settings();
    outcome.after["answer"] = answer;
    if (!scenario.debugLogging) outcome.after["log"] = logged;
    outcome.after["hooks"] = hooks();
    outcome.after["observers"] = observers();
    recover();
    outcome.recovered = settings();
    outcome.recovered["answer"] = {matcher("5550002") ? "yes" : "no"};
    end();
    EXPECT_EQ(simulator::liveObjectCount(), alive) << "objects left alive";
    simulator::forgetZombies();
    return outcome;
  }

  Observation settings() {
    Observation seen;
    for (const char* name : {"allowedMessageGroup", "maxNumOfDigitsToCompare"}) {
      seen[name] = {std::to_string(integer(name))};
    }
    for (const char* name : {"enableDebugLogging", "isDNDActive"}) {
      seen[name] = {boolean(name) ? "yes" : "no"};
    }
    for (const char* name : {"privilegedMessageSenderIDs", "privilegedMessageSenderPhones",
                             "privilegedMessageSenderEmails", "daysForSuppressingScheduler"}) {
      seen[name] = texts(name).value_or(Texts{});
    }
    for (const char* name : {"ctorTime", "manualDNDEnabledTime"}) {
      seen[name] = object(name) == nullptr ? Texts{} : Texts{"stamped"};
    }
    return seen;
  }

  // The replacements that are live, known by the lines that each one logs.
  Texts hooks() {
    const bool wasActive = boolean("isDNDActive");
    const bool wasLogging = boolean("enableDebugLogging");
    Texts live;
    const auto ask = [&](const char* name, auto question) {
      question();
      if (!log().empty()) live.emplace_back(name);
    };
    const std::uint64_t types = phone().bulletinBoard.activeOverrideTypes;
    debugLogging(true);
    ask("change with source", [&] { report(types, 0); });
    ask("change", [&] { report(types); });
    ask("gate", [&] { message("somebody"); });
    ask("schedule", [&] { isActive(); });
    value<bool>("isDNDActive") = wasActive;
    debugLogging(wasLogging);
    return live;
  }

  Texts observers() {
    Texts names;
    for (const auto& observer : phone().notifications.observers()) names.push_back(observer.name);
    return names;
  }

  // A good load. Where no observer hears of it, the host has to start again.
  void recover() {
    useSettings("work");
    for (const std::string& name : observers()) {
      if (name.ends_with("manualdndenabled")) continue;
      phone().notifications.post(name);
      phone().notifications.runMainLoop();
      return;
    }
    restart();
  }

  // ---- The whole sweep -------------------------------------------------------------------------

  void sweep(const Scenario& scenario, const Outcome& good, const FaultRow& row, bool onward) {
    for (std::uint64_t call = 1;; ++call) {
      const std::string name =
          fmt::format("{}:{}:{}:{}", scenario.name, row.operation, call, onward ? "on" : "once");
      if (!only_.empty() && only_ != name) {
        if (call > lastCallAlone) return;
        continue;
      }
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
  }

  void compare(const Outcome& good, const Outcome& outcome, const FaultRow& row) {
    for (const auto& [what, expected] : good.after) {
      const Texts& seen = outcome.after.at(what);
      if (seen == expected) continue;
      const Texts start = outcome.before.contains(what) ? outcome.before.at(what) : Texts();
      bool documented = false;
      for (const DocumentedEffect& effect : documentedEffects()) {
        if (std::ranges::count(effect.operations, row.fault) == 0) continue;
        if (std::ranges::count(effect.things, what) == 0) continue;
        if (!agrees(effect, seen, start, expected)) continue;
        documented = true;
        seen_.insert({&effect, row.fault, what});
      }
      EXPECT_TRUE(documented) << what << " is " << testing::PrintToString(seen) << ", was "
                              << testing::PrintToString(start) << " and should be "
                              << testing::PrintToString(expected);
    }
    for (const auto& [what, expected] : good.recovered) {
      if (what == "ctorTime" || what == "manualDNDEnabledTime" || what == "isDNDActive") continue;
      EXPECT_EQ(outcome.recovered.at(what), expected) << what << " after a good load";
    }
  }

  static Observation atLoad() {
    return {{"allowedMessageGroup", {"0"}}, {"maxNumOfDigitsToCompare", {"0"}}};
  }

  static constexpr std::uint64_t lastCallAlone = 500;

  std::string only_;
  std::set<Fault> reached_;
  std::set<std::tuple<const DocumentedEffect*, Fault, std::string>> seen_;
  std::uint64_t cases_ = 0;
};

TEST_F(FaultSweep, EveryFailureHasItsDocumentedEffectAndNoOther) {
  if (const char* const wanted = std::getenv("HUSHLANE_FAULT_CASE")) only_ = wanted;
  for (const int signal : {SIGABRT, SIGSEGV}) std::signal(signal, &nameCaseAndDie);
  for (const Scenario& scenario : scenarios()) {
    if (!only_.empty() && !only_.starts_with(std::string(scenario.name) + ":")) continue;
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

// Functions that have no failure to report, or none that the library could meet: each record that
// it asks for an ID comes from the address book itself.
const std::set<std::string> functionsThatCannotFail = {"ABRecordGetRecordID",
                                                       "CFNotificationCenterAddObserver",
                                                       "CFNotificationCenterGetDarwinNotifyCenter",
                                                       "NSLog",
                                                       "class_getMethodImplementation",
                                                       "dispatch_semaphore_signal",
                                                       "dispatch_semaphore_wait",
                                                       "objc_autorelease",
                                                       "objc_autoreleasePoolPop",
                                                       "objc_autoreleasePoolPush",
                                                       "objc_release",
                                                       "objc_retain",
                                                       "object_getClass",
                                                       "sel_registerName"};

// Messages whose answer is a plain value or none at all, or that give what they are sure to have:
// objects are asked for by an index within the bounds.
const std::set<std::string> messagesThatCannotFail = {
    "_doesAddressBookContainDestinationID:",
    "_doesFavoritesListContainDestinationID:",
    "addObject:",
    "boolValue",
    "containsObject:",
    "count",
    "countByEnumeratingWithState:objects:count:",
    "date",
    "hasSuffix:",
    "intValue",
    "length",
    "objectAtIndex:",
    "rangeOfString:",
    "setObject:forKey:",
    "shouldPresentNotificationOfType:fromSenderWithDestinationID:inFeed:",
    "weekday"};

// The platform's functions that the library takes, by the linker's own list.
std::set<std::string> functionsTaken() {
  static const std::regex platform("(AB|CF|MS|NS(?!Foundation)|obj|class_|sel_|dispatch_).*");
  std::set<std::string> names;
  const std::string command = std::string("nm --dynamic --undefined-only ") + HUSHLANE_LIBRARY;
  FILE* const listing = popen(command.c_str(), "r");
  char name[512];
  while (std::fscanf(listing, " %*c %511[^@\n]%*[^\n]", name) == 1) {
    if (std::regex_match(name, platform)) names.insert(name);
  }
  EXPECT_EQ(pclose(listing), 0) << command;
  return names;
}

std::set<std::string> operationsInTheTable() {
  std::set<std::string> names;
  for (const FaultRow& row : simulator::faultTable()) {
    std::string name(row.operation.substr(row.operation.find(' ') + 1));
    std::erase(name, ']');
    names.insert(name);
  }
  return names;
}

void expectCovered(const std::set<std::string>& called, const std::set<std::string>& cannotFail) {
  const std::set<std::string> rows = operationsInTheTable();
  for (const std::string& name : called) {
    EXPECT_NE(rows.contains(name), cannotFail.contains(name))
        << name << " must be either a row of the table of faults or on the list of what can't fail";
  }
  for (const std::string& name : cannotFail) {
    EXPECT_TRUE(called.contains(name)) << name << " is on the list, but never called";
  }
}

TEST_F(FaultSweep, HasARowForEveryOperationThatTheLibraryCalls) {
  expectCovered(functionsTaken(), functionsThatCannotFail);
  std::set<std::string> messages;
  for (const Scenario& scenario : scenarios()) {
    simulator::startTrace();
    run(scenario, [] {});
    for (const std::string& call : simulator::stopTrace()) {
      if (call.starts_with("message ")) messages.insert(call.substr(call.rfind(' ') + 1));
    }
  }
  expectCovered(messages, messagesThatCannotFail);
}

}  // namespace
}  // namespace tests
