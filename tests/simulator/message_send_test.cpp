// What a compiled program may expect of objc_msgSend, on whatever processor.

#include <gtest/gtest.h>
#include <signal.h>
#include <unwind.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "simulator/runtime/object.hpp"

namespace simulator {
namespace {

using Wide = double __attribute__((vector_size(16)));

template <class R, class... Args>
R send(id receiver, const char* selector, Args... args) {
  return reinterpret_cast<R (*)(id, SEL, Args...)>(&objc_msgSend)(
      receiver, sel_registerName(selector), args...);
}

struct Witness : Object {
  const double weight = 0.25;
};
constexpr const char* listened = "objectForKey:";  // whose message may fail

// More than fits into registers of either kind. Every word counts with a weight of its own.
double receive(Witness* self, SEL selector, long a, long b, long c, long d, Wide e, Wide f, Wide g,
               Wide h, Wide i, Wide j, Wide k, Wide l, long m, Wide n) {
  double sum = self == nullptr ? 0 : self->weight + static_cast<double>(selector->name.size());
  for (const long word : {a, b, c, d, m}) sum = 2 * sum + static_cast<double>(word);
  for (const Wide& words : {e, f, g, h, i, j, k, l, n}) sum = 4 * sum + 2 * words[0] + words[1];
  return sum;
}

// Looks for its words where the caller says that they are.
double sumOfTwo(Witness*, SEL selector, ...) {
  va_list words;
  va_start(words, selector);
  const double first = va_arg(words, double);
  const double second = va_arg(words, double);
  va_end(words);
  return first + second;
}

double half(Witness*, SEL) { return 0.5; }
std::array<long, 3> large(Witness*, SEL) { return {1, 2, 3}; }

// With the thread sanitizer a step may lie in its runtime, under a lock that the handler waits for.
#if defined(__has_feature)
#define HAS_THREAD_SANITIZER __has_feature(thread_sanitizer)
#else
#define HAS_THREAD_SANITIZER 0
#endif

#if defined(__x86_64__) && !HAS_THREAD_SANITIZER

// ---- Step by step: the processor stops after each instruction ----------------------------------

// What a walk from here finds: where the runner's frame is, and the frame pointers from the
// sender's frame up to there, in one number. 0 when it does not come by.
struct Frame {
  std::uintptr_t runner = 0;
  std::uintptr_t pointers = 0;
  bool sent = false;
  bool operator==(const Frame&) const = default;
};
std::array<Frame, 100> frames;  // at each step in objc_msgSend; a signal handler allocates nothing
std::size_t steps;
bool within;

[[gnu::noinline]] void runStepByStep(const std::function<void()>& run) {
  constexpr std::uint64_t trapFlag = 0x100;
  asm volatile("pushfq; orq %0, (%%rsp); popfq" ::"i"(trapFlag) : "cc", "memory");
  run();
  asm volatile("pushfq; andq %0, (%%rsp); popfq" ::"i"(~trapFlag) : "cc", "memory");
}

// The unwinder takes an address for that of a return, so it is asked for the one behind.
const void* functionAt(_Unwind_Ptr address) {
  return _Unwind_FindEnclosingFunction(reinterpret_cast<void*>(address + 1));
}

_Unwind_Reason_Code lookForRunner(_Unwind_Context* context, void* found) {
  constexpr int framePointer = 6;
  auto& frame = *static_cast<Frame*>(found);
  if (frame.sent) frame.pointers = 31 * frame.pointers + _Unwind_GetGR(context, framePointer);
  const void* const function = functionAt(_Unwind_GetIP(context));
  if (function == reinterpret_cast<void*>(&objc_msgSend)) frame.sent = true;
  if (function != reinterpret_cast<void*>(&runStepByStep)) return _URC_NO_REASON;
  frame.runner = _Unwind_GetCFA(context);
  return _URC_END_OF_STACK;
}

// What any look-up may leave in the registers of arguments.
void overwriteArguments(mcontext_t& registers) {
  for (const int i : {REG_RDI, REG_RSI, REG_RDX, REG_RCX, REG_R8, REG_R9}) registers.gregs[i] = -1;
  for (std::size_t i = 0; i < 8; ++i) registers.fpregs->_xmm[i] = {{1, 2, 3, 4}};
}

void step(int, siginfo_t*, void* context) {
  auto& registers = static_cast<ucontext_t*>(context)->uc_mcontext;
  const void* const function = functionAt(static_cast<_Unwind_Ptr>(registers.gregs[REG_RIP]));
  const bool wasWithin = std::exchange(within, function == reinterpret_cast<void*>(&objc_msgSend));
  if (!within) return;
  if (!wasWithin && steps > 0) overwriteArguments(registers);
  _Unwind_Backtrace(&lookForRunner, &frames.at(steps++));
}

void expectTheWayBack(const std::function<void()>& run, std::size_t fewestSteps) {
  frames = {};
  steps = 0;
  struct sigaction before;
  struct sigaction stepping {};
  stepping.sa_flags = SA_SIGINFO;
  stepping.sa_sigaction = &step;
  ASSERT_EQ(sigaction(SIGTRAP, &stepping, &before), 0);
  runStepByStep(run);
  sigaction(SIGTRAP, &before, nullptr);
  EXPECT_GE(steps, fewestSteps);
  EXPECT_TRUE(frames[0].sent && frames[0].runner != 0);
  EXPECT_EQ(std::size_t(std::count(frames.begin(), frames.end(), frames[0])), steps);
}

#else

void expectTheWayBack(const std::function<void()>& run, std::size_t) { run(); }

#endif

class MessageSendTest : public ::testing::Test {
 protected:
  static Owned<Witness> makeWitness() {
    [[maybe_unused]] static const auto defined = defineClass<Witness>("Witness", "NSObject")
                                                     .method(listened, &receive)
                                                     .method("sum", &sumOfTwo)
                                                     .method("large", &large)
                                                     .method("half", &half);
    return own(make<Witness>(classNamed("Witness")));
  }

  const Owned<Witness> witness_ = makeWitness();
};

TEST_F(MessageSendTest, HandsOnEveryArgumentAndTellsTheWayBackAtEveryInstruction) {
  const SEL selector = sel_registerName(listened);
  const auto wide = [](double first) { return Wide{first, first + 0.5}; };
  const auto ask = [&](const auto& function) {
    return function(101l, 102l, 103l, 104l, wide(5), wide(6), wide(7), wide(8), wide(9), wide(10),
                    wide(11), wide(12), 113l, wide(14));
  };
  const double expected =
      ask([&](auto... words) { return receive(witness_.get(), selector, words...); });
  for (const id receiver : {id{witness_.get()}, id{nullptr}}) {
    double got = 1;
    const auto sent = [&](auto... words) { return send<double>(receiver, listened, words...); };
    expectTheWayBack([&] { got = ask(sent); }, receiver == nullptr ? 6 : 30);
    EXPECT_EQ(got, receiver == nullptr ? 0 : expected);
  }
  const auto variadic = reinterpret_cast<double (*)(id, SEL, ...)>(&objc_msgSend);
  EXPECT_EQ(variadic(witness_.get(), sel_registerName("sum"), 1.5, 2.5), 4);
}

// The registers that results come back in hold something else before.
TEST_F(MessageSendTest, GivesZeroForNothing) {
  using Words = std::array<long, 2>;
  using Reals = std::array<double, 2>;
  EXPECT_EQ(send<double>(witness_.get(), "half"), 0.5);
  EXPECT_EQ(send<double>(nullptr, "half"), 0);
  EXPECT_EQ(send<id>(nullptr, "self", 1l), nullptr);
  EXPECT_EQ(send<Words>(nullptr, "range", 1l, 2l), Words{});
  EXPECT_EQ(send<Reals>(nullptr, "pair", 1.5, 2.5), Reals{});
#if defined(__aarch64__)
  using Four = std::array<double, 4>;
  EXPECT_EQ(send<Four>(nullptr, "four", 1.5, 2.5, 3.5, 4.5), Four{});
  EXPECT_EQ((send<std::array<long, 3>>(witness_.get(), "large")[2]), 3) << "behind a pointer";
#endif
}

TEST_F(MessageSendTest, RaisesThroughItsOwnFrame) {
  const auto held = std::make_shared<bool>();
  try {
    const auto kept = held;
    send<void>(witness_.get(), "neverDefined");
    ADD_FAILURE() << "nothing was raised";
  } catch (const PlatformException& raised) {
    EXPECT_NE(std::string(raised.what()).find("-[Witness neverDefined]"), std::string::npos);
  }
  EXPECT_EQ(held.use_count(), 1) << "what the sender holds was not released";
}

}  // namespace
}  // namespace simulator
