// A serial queue with a thread of its own: where the platform runs completions. Each work item
// runs inside an autorelease pool. The semaphores of libdispatch are defined beside it.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "simulator/context/context.hpp"

namespace simulator {

// What the completion that runs on this thread has to release before it signals; else the process
// stops. An address only, null for nothing.
inline thread_local const void* heldByCompletion = nullptr;

class DispatchQueue : public Current<DispatchQueue> {
 public:
  DispatchQueue();
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

void defineDispatch();

}  // namespace simulator
