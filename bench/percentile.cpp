// How long the slowest decisions take while the settings reload, and while they don't: per run a
// line with the 99.9th percentiles in nanoseconds, of all decisions and of those that found the
// list full, and how often the asking thread waited.
#include <fmt/format.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

#include "bench/phone.hpp"

namespace {

using namespace bench;

constexpr int message = 1;
constexpr std::size_t decisions = 200'000;
constexpr int runs = 7;

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

Asked ask(const std::string& sender) {
  using Clock = std::chrono::steady_clock;
  const Decision decide;
  const auto destinationId = simulator::own(simulator::makeString(sender));
  Asked asked;
  asked.nanoseconds.reserve(decisions);
  asked.nanosecondsOfYes.reserve(decisions);
  const long waitsBefore = waitsOfThisThread();
  for (std::size_t i = 0; i < decisions; ++i) {
    const simulator::AutoreleasePool pool;
    const auto before = Clock::now();
    const bool presented = decide(message, destinationId.get());
    const std::chrono::duration<double, std::nano> took = Clock::now() - before;
    asked.nanoseconds.push_back(took.count());
    if (presented) asked.nanosecondsOfYes.push_back(took.count());
  }
  asked.waits = waitsOfThisThread() - waitsBefore;
  return asked;
}

double slowestOf(std::vector<double>& times) {
  if (times.size() < 1'000) throw std::runtime_error("too few decisions found the member");
  const auto place = times.begin() + static_cast<std::ptrdiff_t>(times.size() * 999 / 1000);
  std::nth_element(times.begin(), place, times.end());
  return *place;
}

// The asking thread is another than the one that loads, as on the phone. Both cases have one, so
// that memory is managed for several threads in both.
void askWhile(Phone& phone, const std::string& sender, bool reloading) {
  Asked asked;
  std::atomic<bool> ended{false};
  std::thread reader([&] {
    asked = ask(sender);
    ended = true;
  });
  while (reloading && !ended) phone.reload();
  reader.join();
  fmt::print("{} {} {} {}\n", reloading ? "reloading" : "quiet", slowestOf(asked.nanoseconds),
             slowestOf(asked.nanosecondsOfYes), asked.waits);
}

}  // namespace

// The sender is the last on the list, so that whoever finds the list full walks all of it.
int main() {
  Phone phone(100);
  phone.load();
  phone.set("isDNDActive", true);
  const std::string sender =
      simulator::toUtf8(phone.collection("privilegedMessageSenderPhones").items.back());
  for (int run = 0; run < runs; ++run) {
    for (const bool reloading : {false, true}) askWhile(phone, sender, reloading);
  }
}
