#include "simulator/frameworks/notification_center.hpp"

#include <optional>

#include "simulator/context/call_trace.hpp"
#include "simulator/foundation/objects.hpp"

namespace simulator {

void NotificationCenter::add(Observer observer) {
  const std::lock_guard lock(mutex_);
  observers_.push_back(std::move(observer));
}

void NotificationCenter::removeAll() {
  const std::lock_guard lock(mutex_);
  observers_.clear();
  pending_.clear();
}

void NotificationCenter::post(const std::string& name) {
  const std::lock_guard lock(mutex_);
  for (const Observer& observer : observers_) {
    if (observer.name == name) pending_.push_back(observer);
  }
}

void NotificationCenter::runMainLoop() {
  while (const std::optional<Observer> next = takeNext()) {
    const AutoreleasePool pool;
    const Owned<String> name = own(makeString(next->name));
    next->callback(CFNotificationCenterGetDarwinNotifyCenter(), nullptr,
                   reinterpret_cast<CFStringRef>(static_cast<id>(name.get())), nullptr, nullptr);
  }
}

std::optional<NotificationCenter::Observer> NotificationCenter::takeNext() {
  const std::lock_guard lock(mutex_);
  if (pending_.empty()) return std::nullopt;
  Observer next = std::move(pending_.front());
  pending_.pop_front();
  return next;
}

void defineNotificationCenter() { defineClass<Object>("CFNotificationCenter"); }

}  // namespace simulator

namespace {

// The center is a constant of the platform: the same on every call, and never counted.
CFNotificationCenterRef darwinCenter() {
  static simulator::Object center;
  static std::once_flag made;
  std::call_once(made, [] {
    center.isa = simulator::classNamed("CFNotificationCenter");
    center.references = simulator::Object::immortal;
  });
  return reinterpret_cast<CFNotificationCenterRef>(static_cast<id>(&center));
}

}  // namespace

CFNotificationCenterRef CFNotificationCenterGetDarwinNotifyCenter() noexcept {
  simulator::traceCall("CFNotificationCenterGetDarwinNotifyCenter");
  return darwinCenter();
}

// The Darwin center knows notifications by name alone: it needs one, ignores the observer, the
// object and the suspension behaviour, and delivers at once.
void CFNotificationCenterAddObserver(CFNotificationCenterRef center, const void*,
                                     CFNotificationCallback callback, CFStringRef name, const void*,
                                     CFNotificationSuspensionBehavior behavior) noexcept {
  if (center != darwinCenter() || name == nullptr || callback == nullptr) {
    simulator::fatal("CFNotificationCenterAddObserver: no Darwin center, no name or no callback");
  }
  simulator::orNothing([&] {
    simulator::traceCall("CFNotificationCenterAddObserver", simulator::toUtf8(name),
                         std::to_string(behavior));
    simulator::NotificationCenter::current().add({simulator::toUtf8(name), callback});
  });
}
