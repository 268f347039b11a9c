#include <atomic>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "simulator/context/call_trace.hpp"
#include "simulator/runtime/object.hpp"

namespace simulator {
namespace {

// What one thread's pools hold, the innermost last. A null entry is where a pool begins; the
// pool's token is the position after it, since a token is never null.
struct PoolStack {
  std::vector<id> entries;
  std::size_t pools = 0;
};

thread_local PoolStack stack;
std::atomic<std::int64_t> withoutPool{0};

void popLast() {
  const id last = stack.entries.back();
  stack.entries.pop_back();
  if (last == nullptr) {
    --stack.pools;
  } else {
    objc_release(last);  // may autorelease more, which lands in the same pool
  }
}

}  // namespace

std::int64_t autoreleasedWithoutPool() { return withoutPool; }

}  // namespace simulator

using simulator::stack;

void* objc_autoreleasePoolPush() noexcept {
  simulator::traceCall("objc_autoreleasePoolPush");
  stack.entries.push_back(nullptr);
  ++stack.pools;
  return reinterpret_cast<void*>(stack.entries.size());
}

void objc_autoreleasePoolPop(void* pool) noexcept {
  simulator::traceCall("objc_autoreleasePoolPop");
  const std::size_t position = reinterpret_cast<std::size_t>(pool);
  if (position == 0 || position > stack.entries.size() || stack.entries[position - 1] != nullptr) {
    simulator::fatal("an autorelease pool was popped that is not open on this thread");
  }
  while (stack.entries.size() >= position) simulator::popLast();
}

id objc_autorelease(id object) noexcept {
  if (object == nullptr) return nullptr;
  if (simulator::header(object)->references == simulator::Object::immortal) return object;
  if (stack.pools == 0) {
    ++simulator::withoutPool;
    std::fprintf(stderr, "autoreleased without a pool, so it leaks: an object of class %s\n",
                 std::string(simulator::className(simulator::classOf(object))).c_str());
    return object;
  }
  stack.entries.push_back(object);
  return object;
}
