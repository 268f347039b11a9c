#include "simulator/frameworks/dispatch.hpp"

#include <chrono>

#include "settings_pane/abi.hpp"
#include "simulator/context/call_trace.hpp"
#include "simulator/context/faults.hpp"
#include "simulator/runtime/object.hpp"

namespace simulator {

DispatchQueue::DispatchQueue() : thread_([this] { run(); }) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return ready_; });
}

DispatchQueue::~DispatchQueue() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void DispatchQueue::async(std::function<void()> work) {
  {
    const std::lock_guard lock(mutex_);
    waiting_.push_back(std::move(work));
  }
  changed_.notify_all();
}

void DispatchQueue::drain() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return waiting_.empty() && !running_; });
}

void DispatchQueue::run() {
  // A thread's first pool registers a destructor, for which it needs the loader's lock. A library
  // that waits for this queue in its initializer holds that lock, so it has to happen before.
  { const AutoreleasePool first; }
  std::unique_lock lock(mutex_);
  ready_ = true;
  changed_.notify_all();
  while (true) {
    changed_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
    if (waiting_.empty()) return;
    std::function<void()> work = std::move(waiting_.front());
    waiting_.pop_front();
    running_ = true;
    lock.unlock();
    {
      const AutoreleasePool pool;
      work();
      work = nullptr;
    }
    lock.lock();
    running_ = false;
    changed_.notify_all();
  }
}

namespace {

struct Semaphore : Object {
  static constexpr const char* platformClass = "OS_dispatch_semaphore";

  std::mutex mutex;
  std::condition_variable raised;
  std::intptr_t count = 0;
};

Semaphore* asSemaphore(dispatch_semaphore_t semaphore) {
  if (semaphore == nullptr) fatal("a null semaphore was used");
  return static_cast<Semaphore*>(header(semaphore));
}

}  // namespace

void defineDispatch() { defineClass<Semaphore>(); }

}  // namespace simulator

using simulator::Semaphore;

dispatch_semaphore_t dispatch_semaphore_create(std::intptr_t value) noexcept {
  if (value < 0 || simulator::failsNow(simulator::Fault::dispatch_semaphore_create)) return nullptr;
  return simulator::orNothing([&] {
    auto* const semaphore = simulator::make<Semaphore>();
    semaphore->count = value;
    return reinterpret_cast<dispatch_semaphore_t>(static_cast<id>(semaphore));
  });
}

// A moment is a count of the steady clock.
dispatch_time_t dispatch_time(dispatch_time_t when, std::int64_t nanoseconds) noexcept {
  if (when != DISPATCH_TIME_NOW) simulator::fatal("a moment that does not count from now");
  const auto moment = std::chrono::steady_clock::now() + std::chrono::nanoseconds(nanoseconds);
  return static_cast<dispatch_time_t>(moment.time_since_epoch().count());
}

std::intptr_t dispatch_semaphore_wait(dispatch_semaphore_t semaphore,
                                      dispatch_time_t timeout) noexcept {
  simulator::traceCall("dispatch_semaphore_wait");
  Semaphore* const waited = simulator::asSemaphore(semaphore);
  const auto isRaised = [waited] { return waited->count > 0; };
  std::unique_lock lock(waited->mutex);
  if (timeout == DISPATCH_TIME_FOREVER) {
    waited->raised.wait(lock, isRaised);
  } else {
    const std::chrono::nanoseconds sinceEpoch(static_cast<std::int64_t>(timeout));
    const std::chrono::steady_clock::time_point limit(sinceEpoch);
    if (!waited->raised.wait_until(lock, limit, isRaised)) return 1;
  }
  --waited->count;
  return 0;
}

// Notifies under the lock, so that the waiter wakes only after the last use of the semaphore here
// but for the unlocking itself; against that one the signaller holds a reference of its own.
std::intptr_t dispatch_semaphore_signal(dispatch_semaphore_t semaphore) noexcept {
  simulator::traceCall("dispatch_semaphore_signal");
  if (simulator::heldByCompletion != nullptr) {
    simulator::fatal("a completion signals before it has released the address book");
  }
  Semaphore* const raised = simulator::asSemaphore(semaphore);
  const auto held = simulator::share(raised);
  const std::lock_guard lock(raised->mutex);
  ++raised->count;
  raised->raised.notify_one();
  return 0;
}

void* _NSConcreteStackBlock[32];
