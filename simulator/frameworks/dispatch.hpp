// A serial queue with a thread of its own: where the platform runs completions. Each work item
// runs inside an autorelease pool. The semaphores of libdispatch are defined beside it.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace simulator {

class DispatchQueue {
 public:
  DispatchQueue();
  DispatchQueue(const DispatchQueue&) = delete;
  DispatchQueue& operator=(const DispatchQueue&) = delete;
  ~DispatchQueue();  // runs what is queued, then ends the thread

  void async(std::function<void()> work);
  void drain();  // returns when everything queued so far has run to its end

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> waiting_;
  bool ready_ = false;
  bool running_ = false;
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace simulator
