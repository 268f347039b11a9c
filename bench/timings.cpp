// The times of the library's operations, each beside the time of the same work done at its best.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/phone.hpp"

namespace {

using namespace bench;
using simulator::AutoreleasePool;
using simulator::header;
using simulator::make;
using simulator::makeString;
using simulator::own;
using simulator::Owned;
using simulator::String;

constexpr int message = 1;

// A phone on which every message is held back and the group's members are cached.
class Loaded : public Phone {
 public:
  explicit Loaded(std::size_t members) : Phone(members) {
    load(HUSHLANE_LIBRARY);
    set("isDNDActive", true);
  }
};

std::size_t sizeOf(const benchmark::State& state) {
  return static_cast<std::size_t>(state.range(0));
}

const String& string(id object) { return *static_cast<const String*>(header(object)); }

std::u16string plainCopy(id object) {
  const String& text = string(object);
  std::u16string copy(text.length(), u'\0');
  for (std::size_t i = 0; i < text.length(); ++i) copy[i] = text.at(i);
  return copy;
}

std::vector<std::u16string> plainCopies(Phone& phone, const std::string& collection) {
  std::vector<std::u16string> copies;
  for (const id item : phone.collection(collection).items) copies.push_back(plainCopy(item));
  return copies;
}

// ---- Senders in a group -------------------------------------------------------------------------

void askTheGate(benchmark::State& state, std::size_t members, const char* sender) {
  Loaded phone(members);
  const Decision decide;
  const auto destinationId = own(makeString(sender));
  for (auto _ : state) {
    const AutoreleasePool pool;
    if (decide(message, destinationId.get())) throw std::runtime_error("a stranger got through");
  }
}

void numberGate(benchmark::State& state) { askTheGate(state, sizeOf(state) / 2, strangersNumber); }

BOOL answerNo(id, SEL, id) { return false; }

// What asking each number costs when the string does nothing to answer.
void numberMessages(benchmark::State& state) {
  IMP original = nullptr;
  MSHookMessageEx(simulator::classNamed("NSString"), sel_registerName("hasSuffix:"),
                  reinterpret_cast<IMP>(&answerNo), &original);
  numberGate(state);
  MSHookMessageEx(simulator::classNamed("NSString"), sel_registerName("hasSuffix:"), original,
                  nullptr);
}

void numberPlain(benchmark::State& state) {
  constexpr std::size_t digits = 7;
  Loaded phone(sizeOf(state) / 2);
  const auto numbers = plainCopies(phone, "privilegedMessageSenderPhones");
  const auto sender = plainCopy(own(makeString(strangersNumber)).get());
  for (auto _ : state) {
    const std::u16string tail = sender.substr(sender.size() - digits);
    bool found = false;
    for (const std::u16string& number : numbers) {
      if (number.ends_with(tail)) {
        found = true;
        break;
      }
    }
    if (found) throw std::runtime_error("a stranger's number was found");
  }
}

void emailGate(benchmark::State& state) { askTheGate(state, sizeOf(state), strangersAddress); }

void emailPlain(benchmark::State& state) {
  Loaded phone(sizeOf(state));
  const auto addresses = plainCopies(phone, "privilegedMessageSenderEmails");
  const auto sender = plainCopy(own(makeString(strangersAddress)).get());
  for (auto _ : state) {
    bool found = false;
    for (const std::u16string& address : addresses) {
      if (address == sender) {
        found = true;
        break;
      }
    }
    if (found) throw std::runtime_error("a stranger's address was found");
  }
}

BENCHMARK(numberGate)->Arg(1'000)->Arg(100'000);
BENCHMARK(numberMessages)->Arg(1'000);
BENCHMARK(numberPlain)->Arg(1'000)->Arg(100'000);
BENCHMARK(emailGate)->Arg(1'000);
BENCHMARK(emailPlain)->Arg(1'000);

// ---- Weekdays -----------------------------------------------------------------------------------

// The platform's own answer is no part of either side: it is given at once here.
BOOL answerAtOnce(id, SEL, id) { return true; }

void weekdayGate(benchmark::State& state) {
  IMP original = nullptr;
  MSHookMessageEx(simulator::classNamed("BBBehaviorOverride"), sel_registerName("isActiveForDate:"),
                  reinterpret_cast<IMP>(&answerAtOnce), &original);
  Loaded phone(1);
  const auto override = simulator::makeOverride({});
  const auto moment = own(simulator::makeDate(1e9));
  const SEL question = sel_registerName("isActiveForDate:");
  const auto answer = reinterpret_cast<BOOL (*)(id, SEL, id)>(
      simulator::methodOf(object_getClass(override.get()), question));
  for (auto _ : state) {
    const AutoreleasePool pool;
    benchmark::DoNotOptimize(answer(override.get(), question, moment.get()));
  }
}

template <class R, class... Args>
R send(id receiver, SEL selector, Args... args) {
  const IMP method = class_getMethodImplementation(object_getClass(receiver), selector);
  return reinterpret_cast<R (*)(id, SEL, Args...)>(method)(receiver, selector, args...);
}

void weekdayPlain(benchmark::State& state) {
  constexpr NSUInteger weekdayUnit = 512;
  Phone phone(1);
  const auto moment = own(simulator::makeDate(1e9));
  const id type = simulator::classNamed("NSCalendar");
  const SEL currentCalendar = sel_registerName("currentCalendar");
  const SEL componentsFromDate = sel_registerName("components:fromDate:");
  const SEL weekday = sel_registerName("weekday");
  for (auto _ : state) {
    const AutoreleasePool pool;
    const id components = send<id>(send<id>(type, currentCalendar), componentsFromDate, weekdayUnit,
                                   static_cast<id>(moment.get()));
    benchmark::DoNotOptimize(send<NSInteger>(components, weekday));
  }
}

BENCHMARK(weekdayGate);
BENCHMARK(weekdayPlain);

// ---- Loading the settings -----------------------------------------------------------------------

void loadGate(benchmark::State& state) {
  Loaded phone(sizeOf(state));
  for (auto _ : state) phone.reload();
  if (phone.collection("privilegedMessageSenderPhones").items.size() != 2 * sizeOf(state)) {
    throw std::runtime_error("not every number was cached");
  }
}

struct PlainSenders {
  std::vector<std::int32_t> ids;
  std::vector<std::u16string> phones;
  std::vector<std::u16string> emails;
};

std::u16string digitsOf(id number) {
  const String& text = string(number);
  std::u16string digits;
  for (std::size_t i = 0; i < text.length(); ++i) {
    if (text.at(i) >= '0' && text.at(i) <= '9') digits.push_back(text.at(i));
  }
  return digits;
}

void readPhones(ABRecordRef member, std::vector<std::u16string>& phones) {
  const auto values = own(ABRecordCopyValue(member, kABPersonPhoneProperty));
  const auto numbers = static_cast<ABMultiValueRef>(values.get());
  for (CFIndex i = 0; i < ABMultiValueGetCount(numbers); ++i) {
    phones.push_back(digitsOf(own(ABMultiValueCopyValueAtIndex(numbers, i)).get()));
  }
}

void readEmails(ABRecordRef member, std::vector<std::u16string>& emails) {
  const auto values = own(ABRecordCopyValue(member, kABPersonEmailProperty));
  const auto list =
      own(ABMultiValueCopyArrayOfAllValues(static_cast<ABMultiValueRef>(values.get())));
  for (const id address : static_cast<const simulator::Array*>(header(list.get()))->items) {
    emails.push_back(plainCopy(address));
  }
}

struct ReadBlock : BlockLiteral {
  ABAddressBookRef book;
  PlainSenders* senders;
  dispatch_semaphore_t finished;
};
constexpr BlockDescriptor readBlockDescriptor = {0, sizeof(ReadBlock)};

void readGroup(const ReadBlock* block, bool, CFErrorRef) {
  const ABRecordRef group = ABAddressBookGetGroupWithRecordID(block->book, Phone::group);
  const auto members = own(ABGroupCopyArrayOfAllMembers(group));
  for (const id item : static_cast<const simulator::Array*>(header(members.get()))->items) {
    const auto member = static_cast<ABRecordRef>(item);
    block->senders->ids.push_back(ABRecordGetRecordID(member));
    readPhones(member, block->senders->phones);
    readEmails(member, block->senders->emails);
  }
}

void finishReading(const ReadBlock* block, bool granted, CFErrorRef error) {
  readGroup(block, granted, error);
  objc_release(block->book);
  dispatch_semaphore_signal(block->finished);
}

PlainSenders readPlainly() {
  PlainSenders senders;
  const auto finished = own(dispatch_semaphore_create(0));
  ReadBlock block;
  block.isa = static_cast<void*>(&_NSConcreteStackBlock);
  block.flags = 0;
  block.reserved = 0;
  block.invoke = reinterpret_cast<IMP>(&finishReading);
  block.descriptor = &readBlockDescriptor;
  block.book = ABAddressBookCreateWithOptions(nullptr, nullptr);
  block.senders = &senders;
  block.finished = finished.get();
  ABAddressBookRequestAccessWithCompletion(block.book, &block);
  dispatch_semaphore_wait(finished.get(), DISPATCH_TIME_FOREVER);
  return senders;
}

void loadPlain(benchmark::State& state) {
  Phone phone(sizeOf(state));
  PlainSenders senders;
  for (auto _ : state) senders = readPlainly();
  if (senders.phones.size() != 2 * sizeOf(state)) throw std::runtime_error("numbers are missing");
}

BENCHMARK(loadGate)->Arg(1'000)->Arg(10'000)->Arg(100'000)->MeasureProcessCPUTime()->Unit(
    benchmark::kMicrosecond);
BENCHMARK(loadPlain)->Arg(1'000)->Arg(10'000)->Arg(100'000)->MeasureProcessCPUTime()->Unit(
    benchmark::kMicrosecond);

// ---- Asking while the settings reload -----------------------------------------------------------

struct Asked {
  std::vector<double> nanoseconds;       // of every decision
  std::vector<double> nanosecondsOfYes;  // of those that found the member, so a full list
  long waits = 0;                        // how often the thread gave up its processor to wait
};

long waitsOfThisThread() {
  rusage usage{};
  getrusage(RUSAGE_THREAD, &usage);
  return usage.ru_nvcsw;
}

Asked ask(const std::string& sender, std::size_t times) {
  using Clock = std::chrono::steady_clock;
  const Decision decide;
  const auto destinationId = own(makeString(sender));
  Asked asked;
  asked.nanoseconds.reserve(times);
  asked.nanosecondsOfYes.reserve(times);
  const long waitsBefore = waitsOfThisThread();
  for (std::size_t i = 0; i < times; ++i) {
    const AutoreleasePool pool;
    const auto before = Clock::now();
    const bool presented = decide(message, destinationId.get());
    const std::chrono::duration<double, std::nano> took = Clock::now() - before;
    asked.nanoseconds.push_back(took.count());
    if (presented) asked.nanosecondsOfYes.push_back(took.count());
  }
  asked.waits = waitsOfThisThread() - waitsBefore;
  return asked;
}

// The 99.9th percentile.
double slowestOf(std::vector<double> times) {
  const auto place = times.begin() + static_cast<std::ptrdiff_t>(times.size() * 999 / 1000);
  std::nth_element(times.begin(), place, times.end());
  return *place;
}

constexpr std::size_t decisions = 200'000;

// The asking thread is another than the one that loads, as on the phone. Both cases have one, so
// that memory is managed for several threads in both. The sender is the last on the list, so that
// each decision that finds the list full walks all of it. The time of the iteration means nothing.
void askWhile(benchmark::State& state, bool reloading) {
  Loaded phone(100);
  const std::string sender =
      simulator::toUtf8(phone.collection("privilegedMessageSenderPhones").items.back());
  for (auto _ : state) {
    Asked asked;
    std::atomic<bool> ended{false};
    std::thread reader([&] {
      asked = ask(sender, decisions);
      ended = true;
    });
    while (reloading && !ended) phone.reload();
    reader.join();
    if (asked.nanosecondsOfYes.size() < 1'000) throw std::runtime_error("too few found the member");
    state.counters["slowest"] = slowestOf(std::move(asked.nanoseconds));
    state.counters["slowestYes"] = slowestOf(std::move(asked.nanosecondsOfYes));
    state.counters["waits"] = static_cast<double>(asked.waits);
  }
}

void askWhileQuiet(benchmark::State& state) { askWhile(state, false); }
void askWhileReloading(benchmark::State& state) { askWhile(state, true); }

BENCHMARK(askWhileQuiet)->Iterations(1);
BENCHMARK(askWhileReloading)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
