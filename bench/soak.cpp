// Four readers ask the library without pause while its settings are loaded again without pause, and
// every answer is checked. Objects are really freed, so that a stale handle is met by a sanitizer.
//
// Each load chooses the next of eight groups; each group has a number, an address, a weekday and a
// count of digits of its own. A reader notes which loads had ended before it asked and which had
// begun when it got its answer: only what those loads give, or a list that is still empty, may be
// in the answer. When no load ran meanwhile, there is just one right answer.

#include <date/date.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "hushlane/hushlane.h"
#include "simulator/device.hpp"
#include "simulator/foundation/objects.hpp"
#include "simulator/loader/loaded_library.hpp"

namespace {

using namespace simulator;

constexpr std::uint64_t groupCount = 8;
constexpr std::uint64_t weekdays = 7;
constexpr std::int64_t fewestDigits = 7;

// ---- What the settings of one load are ----------------------------------------------------------

std::uint64_t groupOf(std::uint64_t load) { return load % groupCount; }
std::string numberOf(std::uint64_t group) { return "1555123400" + std::to_string(group); }
std::string addressOf(std::uint64_t group) {
  return "member" + std::to_string(group) + "@example.org";
}
std::int64_t digitsOf(std::uint64_t group) {
  return fewestDigits + static_cast<std::int64_t>(group % 4);
}

// Weekday 1 is always suppressed, weekday 7 never, one of the others in turn.
constexpr std::uint64_t alwaysSuppressed = 1;
std::uint64_t weekdayOf(std::uint64_t group) { return 2 + group % 5; }

// ---- The phone ----------------------------------------------------------------------------------

class Phone {
 public:
  explicit Phone(const std::filesystem::path& root) : device_(root) {
    for (std::uint64_t group = 0; group < groupCount; ++group) {
      const std::int64_t member = device_.addressBook.addPerson(
          "Member", {"+" + numberOf(group), "555 010"}, {addressOf(group), "shared@example.org"});
      groupIds.push_back(device_.addressBook.addGroup("Group", {member}));
      writeSettings(group);
    }
    device_.bulletinBoard.setSchedule(DailyPeriod{std::chrono::hours(0), std::chrono::hours(24)});
    device_.bulletinBoard.platformAnswer = PlatformAnswer::no;
  }

  Device& device() { return device_; }

  // Puts the prepared file of the group in the place of the settings.
  void useSettings(std::uint64_t group) {
    const auto linked = device_.root / "next";
    std::filesystem::create_hard_link(prepared(group), linked);
    std::filesystem::rename(linked, device_.preferences.file(settingsDomain));
    std::filesystem::remove(linked);  // still there when that group is in place already
  }

  std::vector<std::int64_t> groupIds;

 private:
  std::filesystem::path prepared(std::uint64_t group) {
    return device_.root / ("settings" + std::to_string(group));
  }

  void writeSettings(std::uint64_t group) {
    PreferencesStore& store = device_.preferences;
    store.clear(settingsDomain);
    store.set(settingsDomain, "allowedMessageGroup", groupIds[group]);
    store.set(settingsDomain, "maxNumOfDigitsToCompare", digitsOf(group));
    for (const std::uint64_t day : {alwaysSuppressed, weekdayOf(group)}) {
      store.set(settingsDomain, "schedulerWeekday_" + std::to_string(day), false);
    }
    std::filesystem::rename(store.file(settingsDomain), prepared(group));
  }

  Device device_;
};

// ---- The loads as the readers know them ---------------------------------------------------------

std::atomic<std::uint64_t> begun{0};
std::atomic<std::uint64_t> ended{0};
std::atomic<bool> stopping{false};

// The loads whose settings an answer may come from.
struct Window {
  std::uint64_t first = ended;
  std::uint64_t last = 0;

  void close() { last = begun; }
  bool quiet() const { return first == last; }
  template <class Holds>
  bool any(Holds holds) const {
    // A reader that slept for many loads can't tell any group apart.
    if (last - first >= groupCount) return true;
    for (std::uint64_t load = first; load <= last; ++load) {
      if (holds(groupOf(load))) return true;
    }
    return false;
  }
};

[[noreturn]] void fail(const char* question, std::uint64_t asked, const Window& window) {
  std::fprintf(stderr, "soak: wrong answer: %s of group %llu, in loads %llu to %llu\n", question,
               static_cast<unsigned long long>(asked),
               static_cast<unsigned long long>(window.first),
               static_cast<unsigned long long>(window.last));
  std::_Exit(1);
}

// A yes needs a load that gives it; a no is wrong when the only load gives a yes.
template <class Ask, class Holds>
void check(const char* question, std::uint64_t asked, Ask ask, Holds holds) {
  Window window;
  const bool yes = ask();
  window.close();
  if (yes ? !window.any(holds) : window.quiet() && holds(groupOf(window.first))) {
    fail(question, asked, window);
  }
}

// ---- The readers --------------------------------------------------------------------------------

// A cheap sequence of its own for each reader.
class Sequence {
 public:
  explicit Sequence(std::uint64_t seed) : state_(seed * 0x9e3779b97f4a7c15 + 1) {}
  std::uint64_t below(std::uint64_t limit) {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return (state_ >> 32) % limit;
  }

 private:
  std::uint64_t state_;
};

class Readers {
 public:
  Readers(Phone& phone, const LoadedLibrary& library) : phone_(phone), library_(library) {
    for (std::uint64_t group = 0; group < groupCount; ++group) {
      numbers_.push_back(own(makeString("+" + numberOf(group))));
      addresses_.push_back(own(makeString(addressOf(group))));
    }
    using std::chrono::hours;
    for (std::uint64_t day = 0; day < weekdays; ++day) {
      const auto sunday = date::sys_days(date::year(2026) / 11 / 22);
      moments_.push_back(own(makeDate(
          Clock::sinceReferenceDate(sunday + hours(12) + hours(24 * static_cast<int>(day))))));
    }
  }

  void start() {
    for (const auto& ask : questions_) begin(ask);
  }

  // What is made on first use and kept for good is no leak.
  void askOnce() {
    const AutoreleasePool pool;
    Sequence sequence(1);
    for (const auto& ask : questions_) ask(sequence);
  }

  std::uint64_t decisions() const {
    std::uint64_t sum = 0;
    for (const auto& count : counts_) sum += count->load(std::memory_order_relaxed);
    return sum;
  }

  void join() {
    for (std::thread& thread : threads_) thread.join();
  }

 private:
  // Batches, so that autoreleased objects don't pile up.
  void begin(const std::function<void(Sequence&)>& ask) {
    counts_.push_back(std::make_unique<std::atomic<std::uint64_t>>(0));
    std::atomic<std::uint64_t>& count = *counts_.back();
    threads_.emplace_back([ask, &count, seed = counts_.size()] {
      constexpr int batch = 64;
      Sequence sequence(seed);
      while (!stopping) {
        const AutoreleasePool pool;
        for (int i = 0; i < batch; ++i) ask(sequence);
        count.fetch_add(batch, std::memory_order_relaxed);
      }
    });
  }

  void askGate(const char* question, const std::vector<Owned<String>>& senders,
               Sequence& sequence) {
    static const SEL selector =
        sel_registerName("shouldPresentNotificationOfType:fromSenderWithDestinationID:");
    const std::uint64_t asked = sequence.below(groupCount);
    const id server = phone_.device().bulletinBoard.server();
    check(
        question, asked,
        [&] {
          const IMP gate = methodOf(classOf(server), selector);
          return reinterpret_cast<BOOL (*)(id, SEL, int, id)>(gate)(server, selector, 1,
                                                                    senders[asked].get());
        },
        [&](std::uint64_t group) { return group == asked; });
  }

  void askSchedule(Sequence& sequence) {
    const std::uint64_t weekday = 1 + sequence.below(weekdays);
    const id behaviorOverride = override_.get();
    check(
        "the schedule", weekday,
        [&] {
          return !message<BOOL>(behaviorOverride,
                                "isActiveForDate:", static_cast<id>(moments_[weekday - 1].get()));
        },
        [&](std::uint64_t group) {
          return weekday == alwaysSuppressed || weekday == weekdayOf(group);
        });
    Window always;
    if (message<BOOL>(behaviorOverride,
                      "isActiveForDate:", static_cast<id>(moments_[alwaysSuppressed - 1].get()))) {
      always.close();
      fail("the schedule, always suppressed", alwaysSuppressed, always);
    }
  }

  void askMatcher(Sequence& sequence) {
    const std::uint64_t asked = sequence.below(groupCount);
    check(
        "the matcher", asked, [&] { return matcher_(numbers_[asked].get()); },
        [&](std::uint64_t group) { return group == asked; });
  }

  // Exported integers are read as outside code reads them, whole.
  void readValues() {
    Window window;
    const std::int64_t mode = __atomic_load_n(&mode_, __ATOMIC_SEQ_CST);
    const std::int64_t digits = __atomic_load_n(&digits_, __ATOMIC_SEQ_CST);
    window.close();
    if (!window.any([&](std::uint64_t group) { return mode == phone_.groupIds[group]; })) {
      fail("the exported group", static_cast<std::uint64_t>(mode), window);
    }
    if (!window.any([&](std::uint64_t group) { return digits == digitsOf(group); })) {
      fail("the exported count of digits", static_cast<std::uint64_t>(digits), window);
    }
  }

  Phone& phone_;
  const LoadedLibrary& library_;
  bool (*matcher_)(id) = library_.function<bool(id)>("phoneNumberBelongsToPrivilegedPerson");
  decltype(::allowedMessageGroup)& mode_ =
      library_.value<decltype(::allowedMessageGroup)>("allowedMessageGroup");
  decltype(::maxNumOfDigitsToCompare)& digits_ =
      library_.value<decltype(::maxNumOfDigitsToCompare)>("maxNumOfDigitsToCompare");
  Owned<Object> override_ =
      makeOverride({DailyPeriod{std::chrono::hours(0), std::chrono::hours(24)}});
  std::vector<Owned<String>> numbers_, addresses_;
  std::vector<Owned<Date>> moments_;
  const std::vector<std::function<void(Sequence&)>> questions_ = {
      [this](Sequence& sequence) { askGate("the gate, by number", numbers_, sequence); },
      [this](Sequence& sequence) { askGate("the gate, by address", addresses_, sequence); },
      [this](Sequence& sequence) { askSchedule(sequence); },
      [this](Sequence& sequence) {
        askMatcher(sequence);
        readValues();
      },
  };
  std::vector<std::unique_ptr<std::atomic<std::uint64_t>>> counts_;
  std::vector<std::thread> threads_;
};

// ---- The writer ---------------------------------------------------------------------------------

struct Goal {
  std::uint64_t decisions = 100'000'000;
  std::uint64_t loads = 100'000;
  std::uint64_t seconds = 0;
};

void load(Phone& phone, std::uint64_t number) {
  phone.useSettings(groupOf(number));
  begun = number;
  phone.device().notifications.post("org.mernwick.hushlane.reloadsettings");
  phone.device().notifications.runMainLoop();
  ended = number;
}

// The queue may still be emptying its autorelease pool when a load has ended.
std::map<std::string, std::int64_t> living(Phone& phone) {
  phone.device().queue.drain();
  return liveObjectsByClass();
}

int run(Phone& phone, const LoadedLibrary& library, const Goal& goal) {
  using Clock = std::chrono::steady_clock;
  load(phone, groupCount);
  phone.device().bulletinBoard.reportOverrideTypes(1, std::nullopt);
  Readers readers(phone, library);
  readers.askOnce();
  const auto alive = living(phone);
  const auto from = Clock::now();
  const auto passed = [&] { return std::chrono::duration<double>(Clock::now() - from).count(); };
  const auto reached = [&](std::uint64_t loads) {
    if (goal.seconds != 0) return passed() >= static_cast<double>(goal.seconds);
    return loads >= goal.loads && readers.decisions() >= goal.decisions;
  };
  readers.start();
  std::uint64_t number = groupCount;
  while (!reached(number - groupCount)) load(phone, ++number);
  stopping = true;
  readers.join();
  const double seconds = passed();
  const std::uint64_t decisions = readers.decisions();
  const std::uint64_t loads = number - groupCount;
  // Two loads without readers free all that was put off; the second has the first one's settings.
  load(phone, (number / groupCount + 1) * groupCount);
  load(phone, (number / groupCount + 2) * groupCount);
  std::int64_t left = 0;
  for (const auto& [type, count] : living(phone)) {
    const auto before = alive.find(type);
    const std::int64_t more = count - (before == alive.end() ? 0 : before->second);
    if (more != 0)
      std::printf("soak: %lld more of %s\n", static_cast<long long>(more), type.c_str());
    left += more;
  }
  std::printf(
      "soak: %llu decisions over %llu loads in %.0f s, every answer right; %lld objects left\n",
      static_cast<unsigned long long>(decisions), static_cast<unsigned long long>(loads), seconds,
      static_cast<long long>(left));
  return left == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App options(
      "Asks the library on four threads while its settings are loaded again and again.");
  Goal goal;
  std::string library;
  std::string root;
  options.add_option("--library", library, "the library under test")->required();
  options.add_option("--root", root, "an empty directory for the phone's files")->required();
  options.add_option("--decisions", goal.decisions, "go on for so many")->capture_default_str();
  options.add_option("--loads", goal.loads, "and for so many loads")->capture_default_str();
  options.add_option("--seconds", goal.seconds, "or just for so long");
  CLI11_PARSE(options, argc, argv);

  // The library is never unloaded: the host's end is no part of this.
  static auto* const phone = new Phone(root);
  static auto* const loaded = new LoadedLibrary(library);
  const int result = run(*phone, *loaded, goal);
  std::fflush(stdout);
  std::_Exit(result);
}
