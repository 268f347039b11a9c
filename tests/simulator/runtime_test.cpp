#include <functional>
#include <thread>

#include "simulator/runtime/object.hpp"
#include "tests/support/phone_test.hpp"

namespace simulator {
namespace {

class RuntimeTest : public tests::PhoneTest {};

IMP originalCount = nullptr;

NSUInteger tenMore(id list, SEL selector) {
  return 10 + reinterpret_cast<NSUInteger (*)(id, SEL)>(originalCount)(list, selector);
}

void replaceCount(const char* type, IMP* slot = &originalCount) {
  MSHookMessageEx(classNamed(type), sel_registerName("count"), reinterpret_cast<IMP>(&tenMore),
                  slot);
}

NSUInteger countOf(const Owned<Array>& list) { return message<NSUInteger>(list.get(), "count"); }

TEST_F(RuntimeTest, ReplacementReachesTheClassAndItsSubclassesUntilItIsRestored) {
  const auto list = own(makeArray());
  const auto special = own(make<Array>(classNamed("NSMutableArray")));
  const auto expectCounts = [&](NSUInteger ofList, NSUInteger ofSpecial) {
    EXPECT_EQ(countOf(list), ofList);
    EXPECT_EQ(countOf(special), ofSpecial);
    restoreRuntime();
  };
  expectCounts(0, 0);
  replaceCount("NSMutableArray");
  expectCounts(0, 10);
  replaceCount("NSArray");
  expectCounts(10, 10);
  removeMethod("NSArray", "count");
  hideClass("NSArray");  // from the library alone
  originalCount = nullptr;
  replaceCount("NSArray");
  EXPECT_EQ(originalCount, nullptr) << "what the host lacks was replaced";
  restoreRuntime();
  expectCounts(0, 0);
}

TEST_F(RuntimeTest, PoolsReleaseWhatWasAutoreleasedInside) {
  const AutoreleasePool outer;
  void* const middle = objc_autoreleasePoolPush();
  objc_autorelease(makeData({}));
  objc_autoreleasePoolPush();  // left open, as when an exception passes
  objc_autorelease(makeData({}));
  objc_autoreleasePoolPop(middle);
  EXPECT_EQ(liveObjectsByClass()["NSData"], 0);
}

TEST(RuntimeWithoutPool, AutoreleaseLeaksAndIsReported) {
  const std::int64_t before = autoreleasedWithoutPool();
  testing::internal::CaptureStderr();
  const auto leaked = own(objc_autorelease(makeDate(0)));
  EXPECT_NE(testing::internal::GetCapturedStderr().find("NSDate"), std::string::npos);
  EXPECT_EQ(autoreleasedWithoutPool(), before + 1);
}

// Without the fixture, whose scratch folder a process that stops would leave behind.
TEST(RuntimeDeathTest, MisuseStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  keepZombies(true);
  const id freed = makeDate(0);
  objc_release(freed);
  void* const pool = objc_autoreleasePoolPush();
  objc_autoreleasePoolPop(pool);
  const std::pair<const char*, std::function<void()>> cases[] = {
      {"NSDate: released more often", [&] { objc_release(freed); }},
      {"NSDate: retained after it was freed", [&] { objc_retain(freed); }},
      {"init\\]: message sent to a freed", [&] { simulator::message<void>(freed, "init"); }},
      {"Unicorn: no such class", [] { classNamed("Unicorn"); }},
      {"NSDate: class defined twice", [] { defineClass<Object>("NSDate", "NSObject"); }},
      {"not open on this thread", [&] { objc_autoreleasePoolPop(pool); }},
  };
  for (const auto& [said, misuse] : cases) EXPECT_DEATH(misuse(), said);
  forgetZombies();
  keepZombies(false);
}

TEST_F(RuntimeTest, OtherThreadsSeeTheOldOrTheNewMethod) {
  const auto list = own(makeArray());
  std::atomic<int> wrong{0};
  const auto read = [&](const std::stop_token& ending) {
    while (!ending.stop_requested()) {
      const NSUInteger seen = countOf(share(list.get()));
      if (seen != 0 && seen != 10) ++wrong;
    }
  };
  std::vector<std::jthread> readers;
  for (int i = 0; i < 4; ++i) readers.emplace_back(read);
  replaceCount("NSArray");
  for (int i = 0; i < 2000; ++i) {
    sel_registerName(("whileReading" + std::to_string(i)).c_str());
    restoreRuntime();
    replaceCount("NSArray", nullptr);
  }
  readers.clear();  // stops and joins each
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace simulator
