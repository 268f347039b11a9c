// The Darwin notify center and the main run loop that delivers its notifications. Also the C
// functions CFNotificationCenterGetDarwinNotifyCenter and CFNotificationCenterAddObserver.
//
// Any thread may post; the thread that calls `runMainLoop` is the main thread, and callbacks run
// there, one at a time, in the order of posting and, for one name, of registration.
#pragma once

#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/abi.hpp"
#include "simulator/context/context.hpp"

namespace simulator {

class NotificationCenter : public Current<NotificationCenter> {
 public:
  struct Observer {
    std::string name;
    CFNotificationCallback callback;
  };

  void add(Observer observer);
  const std::vector<Observer>& observers() const { return observers_; }
  void removeAll();  // forgets what is pending, too

  // A posting reaches the observers registered at the time it is posted.
  void post(const std::string& name);
  void runMainLoop();  // until nothing is left to deliver

 private:
  std::optional<Observer> takeNext();

  std::mutex mutex_;
  std::vector<Observer> observers_;
  std::deque<Observer> pending_;  // one entry for each callback to make
};

void defineNotificationCenter();

}  // namespace simulator
