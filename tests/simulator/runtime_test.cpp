#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

#include "simulator/faults.hpp"
#include "simulator/runtime/object.hpp"

namespace simulator {
namespace {

struct Animal : Object {
  int legs = 4;
};

struct Parrot : Animal {
  explicit Parrot(int years) : age(years) {}
  int age;
};

int legsOf(Animal* self, SEL) { return self->legs; }

void defineAnimals() {
  defineClass<Animal>("Animal", "NSObject")
      .classMethod(
          "kingdom", +[](Class, SEL) { return 1; })
      .method("legs", &legsOf);
  defineClass<Animal>("Dog", "Animal");
  defineClass<Animal>("Cat", "Animal");
  defineClass<Parrot>("Parrot", "Animal");
  for (int i = 0; i < 1000; ++i) sel_registerName(("filler" + std::to_string(i)).c_str());
  defineClass<Animal>("Horse", "Animal").method("gallop", &legsOf);
}

IMP originalLegs = nullptr;

int legsPlusTen(id self, SEL selector) {
  return 10 + reinterpret_cast<int (*)(id, SEL)>(originalLegs)(self, selector);
}

bool replaceLegs(Class type, const char* method = "legs") {
  originalLegs = nullptr;
  MSHookMessageEx(type, sel_registerName(method), reinterpret_cast<IMP>(&legsPlusTen),
                  &originalLegs);
  return originalLegs != nullptr;
}

Owned<objc_object> animal(const char* type) {
  return own(message(message(classNamed(type), "alloc"), "init"));
}

int legs(const Owned<objc_object>& animal) { return message<int>(animal.get(), "legs"); }

class RuntimeTest : public testing::Test {
 protected:
  RuntimeTest() {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    [[maybe_unused]] static const bool defined = (defineAnimals(), true);
    keepZombies(true);
    baseline_ = liveObjectCount();
  }
  ~RuntimeTest() override {
    restoreRuntime();
    resetFaults();
    EXPECT_EQ(liveObjectCount(), baseline_);
    forgetZombies();
    keepZombies(false);
  }

  std::int64_t baseline_;
};

TEST_F(RuntimeTest, MethodsAreInheritedAndUnknownOnesRaise) {
  const auto dog = animal("Dog");
  EXPECT_EQ(legs(dog), 4);
  EXPECT_EQ(message<int>(classNamed("Dog"), "kingdom"), 1);
  EXPECT_EQ(message<int>(nullptr, "legs"), 0);
  EXPECT_TRUE(isKindOf(dog.get(), classNamed("Animal")));
  EXPECT_FALSE(isKindOf(dog.get(), classNamed("Cat")));
  EXPECT_FALSE(class_respondsToSelector(classNamed("Dog"), sel_registerName("bark")));
  EXPECT_TRUE(class_respondsToSelector(classNamed("Dog"), sel_registerName("legs")));
  const std::tuple<id, const char*, std::string> cases[] = {
      {dog.get(), "bark", "-[Dog bark]: unrecognized selector sent to instance"},
      {classNamed("Dog"), "legs", "+[Dog legs]: unrecognized selector sent to class"},
      {classNamed("Parrot"), "alloc", "+[Parrot alloc]: unrecognized selector sent to class"},
  };
  for (const auto& [receiver, selector, reason] : cases) {
    try {
      message<void>(receiver, selector);
      ADD_FAILURE() << "answered: " << reason;
    } catch (const PlatformException& raised) {
      EXPECT_EQ(raised.what(), "NSInvalidArgumentException: " + reason);
    }
  }
}

TEST_F(RuntimeTest, ReplacementReachesTheClassAndItsSubclassesOnly) {
  const auto parent = animal("Animal");
  const auto dog = animal("Dog");
  const auto cat = animal("Cat");
  EXPECT_EQ(legs(dog), 4);  // found once before it is replaced
  ASSERT_TRUE(replaceLegs(classNamed("Dog")));
  EXPECT_EQ(legs(dog), 14);
  EXPECT_EQ(legs(cat), 4);
  EXPECT_EQ(legs(parent), 4);
  restoreRuntime();
  ASSERT_TRUE(replaceLegs(classNamed("Animal")));
  EXPECT_EQ(legs(dog), 14);
  restoreRuntime();
  EXPECT_EQ(legs(dog), 4);
}

TEST_F(RuntimeTest, MethodsBeyondTheFastTableWork) {
  const auto horse = animal("Horse");
  EXPECT_EQ(message<int>(horse.get(), "gallop"), 4);
  ASSERT_TRUE(replaceLegs(classNamed("Horse"), "gallop"));
  EXPECT_EQ(message<int>(horse.get(), "gallop"), 14);
}

TEST_F(RuntimeTest, NothingIsReplacedWithoutClassOrMethod) {
  const auto dog = animal("Dog");
  hideClass("Dog");
  EXPECT_FALSE(replaceLegs(objc_getClass("Dog")));
  EXPECT_EQ(classNamed("Dog"), object_getClass(dog.get()));
  restoreRuntime();
  EXPECT_EQ(objc_getClass("Dog"), object_getClass(dog.get()));
  removeMethod("Dog", "legs");
  EXPECT_FALSE(class_respondsToSelector(classNamed("Dog"), sel_registerName("legs")));
  EXPECT_FALSE(replaceLegs(classNamed("Dog")));
  restoreRuntime();
  EXPECT_EQ(legs(dog), 4);
}

TEST_F(RuntimeTest, PoolsReleaseWhatWasAutoreleasedInside) {
  const AutoreleasePool outer;
  objc_autorelease(animal("Dog").release());
  void* const middle = objc_autoreleasePoolPush();
  objc_autorelease(animal("Cat").release());
  objc_autoreleasePoolPush();  // left open, as when an exception passes
  objc_autorelease(animal("Cat").release());
  EXPECT_EQ(liveObjectsByClass()["Cat"], 2);
  objc_autoreleasePoolPop(middle);
  EXPECT_EQ(liveObjectsByClass()["Cat"], 0);
  EXPECT_EQ(liveObjectsByClass()["Dog"], 1);
}

TEST_F(RuntimeTest, AutoreleaseWithoutPoolLeaksAndIsReported) {
  const auto before = autoreleasedWithoutPool();
  testing::internal::CaptureStderr();
  const auto dog = own(objc_autorelease(animal("Dog").release()));
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Dog"), std::string::npos);
  EXPECT_EQ(autoreleasedWithoutPool(), before + 1);
  EXPECT_TRUE(isLiveObject(dog.get()));
}

TEST_F(RuntimeTest, MisuseStopsTheProcess) {
  const id freed = animal("Dog").release();
  objc_release(freed);
  void* const pool = objc_autoreleasePoolPush();
  objc_autoreleasePoolPop(pool);
  const std::pair<const char*, std::function<void()>> cases[] = {
      {"Dog: released more often", [&] { objc_release(freed); }},
      {"Dog: retained after it was freed", [&] { objc_retain(freed); }},
      {"-\\[Dog legs\\]: message sent to a freed object", [&] { message<int>(freed, "legs"); }},
      {"Unicorn: no such class", [] { classNamed("Unicorn"); }},
      {"Dog: class defined twice", [] { defineClass<Animal>("Dog", "Animal"); }},
      {"not open on this thread", [&] { objc_autoreleasePoolPop(pool); }},
  };
  for (const auto& [said, misuse] : cases) EXPECT_DEATH(misuse(), said);
}

TEST_F(RuntimeTest, OtherThreadsSeeTheOldOrTheNewMethod) {
  const auto dog = animal("Dog");
  std::atomic<bool> ending{false};
  std::atomic<int> wrong{0};
  std::vector<std::jthread> readers;
  for (int i = 0; i < 4; ++i) {
    readers.emplace_back([&] {
      while (!ending) {
        const auto held = share(dog.get());
        const int seen = legs(held);
        if (seen != 4 && seen != 14) ++wrong;
      }
    });
  }
  EXPECT_TRUE(replaceLegs(classNamed("Dog")));
  for (int i = 0; i < 2000; ++i) {
    sel_registerName(("whileReading" + std::to_string(i)).c_str());
    restoreRuntime();
    MSHookMessageEx(classNamed("Dog"), sel_registerName("legs"),
                    reinterpret_cast<IMP>(&legsPlusTen), nullptr);
  }
  ending = true;
  readers.clear();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace simulator
