#include <gtest/gtest.h>

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
  static const bool once = [] {
    defineClass<Animal>("Animal", "NSObject")
        .classMethod(
            "kingdom", +[](Class, SEL) { return 1; })
        .method("legs", &legsOf);
    defineClass<Animal>("Dog", "Animal");
    defineClass<Animal>("Cat", "Animal");
    defineClass<Parrot>("Parrot", "Animal")
        .method(
            "legs", +[](Parrot*, SEL) { return 2; });
    return true;
  }();
  static_cast<void>(once);
}

IMP originalLegs = nullptr;

int callOriginal(id self, SEL selector) {
  return reinterpret_cast<int (*)(id, SEL)>(originalLegs)(self, selector);
}
int legsPlusTen(id self, SEL selector) { return 10 + callOriginal(self, selector); }

class RuntimeTest : public testing::Test {
 protected:
  RuntimeTest() {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    defineAnimals();
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

  static Owned<objc_object> animal(const char* type) {
    return own(message(message(classNamed(type), "alloc"), "init"));
  }
  static bool replaceLegs(const char* type) {
    originalLegs = nullptr;
    MSHookMessageEx(objc_getClass(type), sel_registerName("legs"),
                    reinterpret_cast<IMP>(&legsPlusTen), &originalLegs);
    return originalLegs != nullptr;
  }

  std::int64_t baseline_;
};

std::string raisedBy(id receiver, const char* selector) {
  try {
    message<void>(receiver, selector);
    return "nothing";
  } catch (const PlatformException& raised) {
    return raised.what();
  }
}

TEST_F(RuntimeTest, MethodsAreInherited) {
  EXPECT_EQ(message<int>(animal("Dog").get(), "legs"), 4);
  EXPECT_EQ(message<int>(own(make<Parrot>(classNamed("Parrot"), 3)).get(), "legs"), 2);
  EXPECT_EQ(message<int>(classNamed("Dog"), "kingdom"), 1);
  EXPECT_EQ(message<int>(nullptr, "legs"), 0);
  EXPECT_TRUE(isKindOf(animal("Dog").get(), classNamed("Animal")));
  EXPECT_FALSE(isKindOf(animal("Dog").get(), classNamed("Cat")));
}

TEST_F(RuntimeTest, UnknownSelectorsRaise) {
  const std::string name = "NSInvalidArgumentException: ";
  const auto dog = animal("Dog");
  EXPECT_EQ(raisedBy(dog.get(), "bark"),
            name + "-[Dog bark]: unrecognized selector sent to instance");
  EXPECT_EQ(raisedBy(classNamed("Dog"), "legs"),
            name + "+[Dog legs]: unrecognized selector sent to class");
  EXPECT_EQ(raisedBy(classNamed("Parrot"), "alloc"),
            name + "+[Parrot alloc]: unrecognized selector sent to class");
  EXPECT_FALSE(class_respondsToSelector(classNamed("Dog"), sel_registerName("bark")));
  EXPECT_TRUE(class_respondsToSelector(classNamed("Dog"), sel_registerName("legs")));
}

TEST_F(RuntimeTest, MethodsBeyondTheFastTableWork) {
  static const SEL late = [] {
    for (int i = 0; i < 1000; ++i) sel_registerName(("filler" + std::to_string(i)).c_str());
    defineClass<Animal>("Horse", "Animal").method("gallop", &legsOf);
    return sel_registerName("gallop");
  }();
  const auto horse = animal("Horse");
  EXPECT_EQ(message<int>(horse.get(), "gallop"), 4);
  MSHookMessageEx(classNamed("Horse"), late, reinterpret_cast<IMP>(&legsPlusTen), &originalLegs);
  EXPECT_EQ(message<int>(horse.get(), "gallop"), 14);
  restoreRuntime();
  EXPECT_EQ(message<int>(horse.get(), "gallop"), 4);
}

TEST_F(RuntimeTest, ReplacementReachesTheClassAndItsSubclassesOnly) {
  const auto parent = animal("Animal");
  const auto dog = animal("Dog");
  const auto cat = animal("Cat");
  EXPECT_EQ(message<int>(dog.get(), "legs"), 4);  // found once before it is replaced
  ASSERT_TRUE(replaceLegs("Dog"));
  EXPECT_EQ(message<int>(dog.get(), "legs"), 14);
  EXPECT_EQ(message<int>(cat.get(), "legs"), 4);
  EXPECT_EQ(message<int>(parent.get(), "legs"), 4);
  restoreRuntime();
  ASSERT_TRUE(replaceLegs("Animal"));
  EXPECT_EQ(message<int>(dog.get(), "legs"), 14);
  EXPECT_EQ(message<int>(cat.get(), "legs"), 14);
  restoreRuntime();
  EXPECT_EQ(message<int>(dog.get(), "legs"), 4);
  EXPECT_EQ(message<int>(parent.get(), "legs"), 4);
}

TEST_F(RuntimeTest, NothingIsReplacedWithoutClassOrMethod) {
  const auto dog = animal("Dog");
  hideClass("Dog");
  EXPECT_EQ(objc_getClass("Dog"), nullptr);
  EXPECT_FALSE(replaceLegs("Dog"));
  EXPECT_EQ(classNamed("Dog"), object_getClass(dog.get()));
  restoreRuntime();
  EXPECT_EQ(objc_getClass("Dog"), object_getClass(dog.get()));

  removeMethod("Dog", "legs");
  EXPECT_FALSE(class_respondsToSelector(classNamed("Dog"), sel_registerName("legs")));
  EXPECT_FALSE(replaceLegs("Dog"));
  restoreRuntime();

  failAt(Fault::MSHookMessageEx, 1);
  EXPECT_FALSE(replaceLegs("Dog"));
  failAt(Fault::objc_getClass, 1);
  EXPECT_EQ(objc_getClass("Dog"), nullptr);
  EXPECT_EQ(objc_getClass("NoSuchClass"), nullptr);
  EXPECT_EQ(message<int>(dog.get(), "legs"), 4);
}

TEST_F(RuntimeTest, LiveObjectsAreCountedByClass) {
  auto dog = animal("Dog");
  const auto shared = share(dog.get());
  EXPECT_EQ(liveObjectsByClass()["Dog"], 1);
  EXPECT_TRUE(isLiveObject(dog.get()));
  const id address = dog.release();
  objc_release(address);
  EXPECT_TRUE(isLiveObject(address));
  objc_release(objc_retain(address));
  EXPECT_EQ(liveObjectCount(), baseline_ + 1);
}

TEST_F(RuntimeTest, PoolsReleaseWhatWasAutoreleasedInside) {
  const AutoreleasePool outer;
  objc_autorelease(animal("Dog").release());
  void* const middle = objc_autoreleasePoolPush();
  objc_autorelease(animal("Cat").release());
  objc_autoreleasePoolPush();  // left open, as when an exception passes
  objc_autorelease(animal("Cat").release());
  EXPECT_EQ(liveObjectCount(), baseline_ + 3);
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
  EXPECT_DEATH(objc_release(freed), "Dog: released more often");
  EXPECT_DEATH(objc_retain(freed), "Dog: retained after it was freed");
  EXPECT_DEATH(message<int>(freed, "legs"), "-\\[Dog legs\\]: message sent to a freed object");
  EXPECT_DEATH(classNamed("Unicorn"), "Unicorn: no such class");
  EXPECT_DEATH(defineClass<Animal>("Dog", "Animal"), "Dog: class defined twice");
  void* const pool = objc_autoreleasePoolPush();
  objc_autoreleasePoolPop(pool);
  EXPECT_DEATH(objc_autoreleasePoolPop(pool), "not open on this thread");
}

TEST_F(RuntimeTest, OtherThreadsSeeTheOldOrTheNewMethod) {
  const auto dog = animal("Dog");
  std::atomic<bool> ending{false};
  std::atomic<int> wrong{0};
  std::vector<std::thread> readers;
  readers.reserve(4);
  for (int i = 0; i < 4; ++i) {
    readers.emplace_back([&] {
      while (!ending) {
        const auto held = share(dog.get());
        const int legs = message<int>(held.get(), "legs");
        if (legs != 4 && legs != 14) ++wrong;
      }
    });
  }
  // The slot always holds the same original, so it may be filled again while readers use it.
  MSHookMessageEx(classNamed("Dog"), sel_registerName("legs"), reinterpret_cast<IMP>(&legsPlusTen),
                  &originalLegs);
  for (int i = 0; i < 2000; ++i) {
    sel_registerName(("whileReading" + std::to_string(i)).c_str());
    removeMethod("Cat", "legs");
    restoreRuntime();
    MSHookMessageEx(classNamed("Dog"), sel_registerName("legs"),
                    reinterpret_cast<IMP>(&legsPlusTen), nullptr);
  }
  ending = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace simulator
