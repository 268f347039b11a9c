#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "simulator/device.hpp"
#include "simulator/faults.hpp"
#include "simulator/foundation/objects.hpp"
#include "simulator/foundation/property_list.hpp"

namespace simulator {
namespace {

using namespace std::string_literals;

class FoundationTest : public testing::Test {
 protected:
  FoundationTest() : device_(scratchFolder()) {
    keepZombies(true);
    baseline_ = liveObjectCount();
    pool_ = objc_autoreleasePoolPush();
  }
  ~FoundationTest() override {
    objc_autoreleasePoolPop(pool_);
    EXPECT_EQ(liveObjectCount(), baseline_);
    forgetZombies();
    keepZombies(false);
    std::filesystem::remove_all(device_.root);
  }

  static std::filesystem::path scratchFolder() {
    std::string folder = testing::TempDir() + "foundation-XXXXXX";
    return ::mkdtemp(folder.data());
  }

  Device device_;
  std::int64_t baseline_;
  void* pool_;
};

id text(std::string_view utf8) { return objc_autorelease(makeString(utf8)); }
id number(std::int64_t value) { return objc_autorelease(makeInteger(value)); }
id real(double value) { return objc_autorelease(makeReal(value)); }
id boolean(bool value) { return objc_autorelease(makeBoolean(value)); }

id list(const std::vector<id>& items) {
  const id array = message(classNamed("NSMutableArray"), "array");
  for (const id item : items) message<void>(array, "addObject:", item);
  return array;
}

template <class... Args>
id format(const char* utf8, Args... args) {
  using Method = id (*)(id, SEL, id, ...);
  const SEL selector = sel_registerName("stringWithFormat:");
  const id type = classNamed("NSString");
  const IMP method = class_getMethodImplementation(object_getClass(type), selector);
  return reinterpret_cast<Method>(method)(type, selector, text(utf8), args...);
}

std::string raisedName(const std::function<void()>& action) {
  try {
    action();
    return "nothing";
  } catch (const PlatformException& raised) {
    return raised.name();
  }
}

// ---- Strings -----------------------------------------------------------------------------------

TEST_F(FoundationTest, Utf8SurvivesAndMalformedBytesDoNot) {
  const struct {
    std::string utf8;
    std::size_t units;
    std::string back;
  } cases[] = {
      {"", 0, ""},
      {"plain", 5, "plain"},
      {"caf\u00e9", 4, "caf\u00e9"},
      {"\u20ac\u0101", 2, "\u20ac\u0101"},
      {"\u0100", 1, "\u0100"},
      {"\U0001F4F1!", 3, "\U0001F4F1!"},
      {"\xff!", 2, "\ufffd!"},
      {"\xc0\x80", 2, "\ufffd\ufffd"},            // overlong
      {"\xed\xa0\x80", 3, "\ufffd\ufffd\ufffd"},  // a surrogate
      {"\xe2\x82", 2, "\ufffd\ufffd"},            // cut short
  };
  for (const auto& [utf8, units, back] : cases) {
    EXPECT_EQ(message<NSUInteger>(text(utf8), "length"), units) << utf8;
    EXPECT_EQ(toUtf8(text(utf8)), back);
    EXPECT_EQ(std::string(message<const char*>(text(utf8), "UTF8String")), back);
    const id made = message(classNamed("NSString"), "stringWithUTF8String:", utf8.c_str());
    EXPECT_EQ(made != nullptr, utf8 == back) << "malformed bytes give no string: " << utf8;
  }
  const char16_t lone[] = {u'a', 0xD800, u'b', 0xDC00};
  EXPECT_EQ(toUtf8(own(makeString(lone, 4)).get()), "a\ufffdb\ufffd");
}

TEST_F(FoundationTest, PrefixesSuffixesAndPlaces) {
  const struct {
    const char *string, *part;
    bool prefix, suffix;
    NSUInteger place;
  } cases[] = {
      {"15551234567", "1234567", false, true, 4},
      {"4567", "1234567", false, false, NSNotFound},
      {"4567", "4567", true, true, 0},
      {"4567", "", false, false, NSNotFound},
      {"", "", false, false, NSNotFound},
      {"a@b@", "@", false, true, 1},
      {"abcab", "ab", true, true, 0},
      {"\u20ac12", "12", false, true, 1},  // two widths
      {"12\u20ac", "12", true, false, 0},
      {"12", "\u20ac", false, false, NSNotFound},
      {"\u20ac\u20ad", "\u20ad", false, true, 1},
      {"\u20acab\u20ad", "ab\u20ad", false, true, 1},
      {"caf\u00e9", "cafe\u0301", false, false, NSNotFound},  // unit for unit
  };
  for (const auto& [string, part, prefix, suffix, place] : cases) {
    EXPECT_EQ(message<BOOL>(text(string), "hasPrefix:", text(part)), prefix) << string << part;
    EXPECT_EQ(message<BOOL>(text(string), "hasSuffix:", text(part)), suffix) << string << part;
    const auto range = message<NSRange>(text(string), "rangeOfString:", text(part));
    EXPECT_EQ(range.location, place) << string << part;
    EXPECT_EQ(range.length, place == NSNotFound ? 0 : message<NSUInteger>(text(part), "length"));
  }
}

TEST_F(FoundationTest, Substrings) {
  const std::pair<std::string, std::string> cases[] = {
      {"1234567", "4567"}, {"abc", ""}, {"\u20acbcd\u20ac", "d\u20ac"}};
  for (const auto& [whole, tail] : cases) {
    EXPECT_EQ(toUtf8(message(text(whole), "substringFromIndex:", NSUInteger{3})), tail);
  }
  // What became narrow is the same string as one that always was.
  EXPECT_TRUE(equalStrings(
      static_cast<String*>(header(message(text("\u20acab"), "substringFromIndex:", 1ul))),
      static_cast<String*>(header(text("ab")))));
}

TEST_F(FoundationTest, DigitReduction) {
  const std::pair<const char*, const char*> cases[] = {
      {"+1 (555) 123-4567 ext. 8", "155512345678"},
      {"none", ""},
      {"", ""},
      {"\u0661\u0662 3", "3"},  // digits of another script
      {"\U0001F4DE5", "5"},
  };
  const id digits = message(classNamed("NSCharacterSet"),
                            "characterSetWithCharactersInString:", text("0123456789"));
  for (const auto& [written, reduced] : cases) {
    const id pieces = message(
        text(written), "componentsSeparatedByCharactersInSet:", message(digits, "invertedSet"));
    EXPECT_EQ(toUtf8(message(pieces, "componentsJoinedByString:", text(""))), reduced) << written;
  }
  const id accents = message(classNamed("NSCharacterSet"),
                             "characterSetWithCharactersInString:", text("\u20ac\u00e9-"));
  const id pieces =
      message(text("a-b\u00e9\u20acc"), "componentsSeparatedByCharactersInSet:", accents);
  EXPECT_EQ(toUtf8(message(pieces, "componentsJoinedByString:", text("|"))), "a|b||c");
}

// ---- Readings ----------------------------------------------------------------------------------

TEST_F(FoundationTest, IntegerAndBooleanReadings) {
  constexpr int least = std::numeric_limits<int>::min();
  constexpr int most = std::numeric_limits<int>::max();
  const struct {
    id value;
    int integer;
    bool truth;
  } cases[] = {
      {text("12"), 12, true},
      {text(" \t\n-12x"), -12, true},
      {text("+7"), 7, true},
      {text("+-7"), 0, false},
      {text(""), 0, false},
      {text("-"), 0, false},
      {text("x12"), 0, false},
      {text("0x1F"), 0, false},
      {text("0.9"), 0, false},
      {text("2147483648"), most, true},
      {text("-2147483648"), least, true},
      {text("-99999999999999999999999"), least, true},
      {text("YES"), 0, true},
      {text("yes"), 0, true},
      {text("True"), 0, true},
      {text("  -00t"), 0, true},
      {text("0000"), 0, false},
      {text("no"), 0, false},
      {text("\u0661"), 0, false},
      {number(-300), -300, true},
      {number(0), 0, false},
      {number((std::int64_t{1} << 32) + 5), 5, true},
      {number(std::int64_t{1} << 32), 0, true},
      {boolean(true), 1, true},
      {boolean(false), 0, false},
      {real(2.9), 2, true},
      {real(-2.9), -2, true},
      {real(0.5), 0, true},
      {real(0.0), 0, false},
      {real(1e10), most, true},
      {real(-1e300), least, true},
      {real(std::nan("")), 0, true},
  };
  for (const auto& [value, integer, truth] : cases) {
    EXPECT_EQ(message<int>(value, "intValue"), integer) << describe(value);
    EXPECT_EQ(message<BOOL>(value, "boolValue"), truth) << describe(value);
  }
}

TEST_F(FoundationTest, EqualObjectsHaveEqualHashes) {
  const std::int64_t large = (std::int64_t{1} << 53) + 1;  // no double holds it
  const struct {
    id left, right;
    bool equal;
  } cases[] = {
      {number(1), boolean(true), true},
      {number(1), real(1.0), true},
      {boolean(false), real(-0.0), true},
      {number(1), real(1.5), false},
      {number(large), real(static_cast<double>(large)), false},
      {number(std::numeric_limits<std::int64_t>::max()), real(0x1p63), false},
      {number(std::numeric_limits<std::int64_t>::min()), real(0x1p63), false},
      {number(3), text("3"), false},
      {text("3"), number(3), false},
      {text("\u20ac"), text("\u20ac"), true},
      {text("ac"), text("\u6361\u6361"), false},
      {text("a"), text("ab"), false},
      {list({number(1), text("a")}), list({real(1), text("a")}), true},
      {list({number(1)}), list({number(1), number(1)}), false},
      {objc_autorelease(makeDate(5)), objc_autorelease(makeDate(5)), true},
      {objc_autorelease(makeData({1})), objc_autorelease(makeData({2})), false},
      {objc_autorelease(makeUid(1)), number(1), false},
      {text(""), nullptr, false},
  };
  for (const auto& [left, right, equal] : cases) {
    const std::string both = describe(left) + " and " + describe(right);
    EXPECT_EQ(message<BOOL>(left, "isEqual:", right), equal) << both;
    EXPECT_EQ(message<BOOL>(list({text("x"), right == nullptr ? text("y") : right}),
                            "containsObject:", left),
              equal)
        << both;
    if (equal) {
      EXPECT_EQ(message<NSUInteger>(left, "hash"), message<NSUInteger>(right, "hash")) << both;
    }
  }
}

// ---- Collections -------------------------------------------------------------------------------

TEST_F(FoundationTest, ArraysWalkInPlace) {
  const id array = list({text("a"), text("b")});
  message<void>(array, "addObjectsFromArray:", array);
  NSFastEnumerationState walk{};
  id none[1];
  const auto next = [&] {
    return message<NSUInteger>(array, "countByEnumeratingWithState:objects:count:", &walk, none,
                               NSUInteger{1});
  };
  ASSERT_EQ(next(), 4u);
  EXPECT_EQ(toUtf8(walk.itemsPtr[3]), "b");
  EXPECT_EQ(walk.itemsPtr[0], message(array, "objectAtIndex:", NSUInteger{0}));
  const unsigned long before = *walk.mutationsPtr;
  EXPECT_EQ(next(), 0u);
  message<void>(array, "removeAllObjects");
  EXPECT_NE(*walk.mutationsPtr, before);
  EXPECT_EQ(message<NSUInteger>(array, "count"), 0u);
}

TEST_F(FoundationTest, DictionariesFindEqualKeys) {
  const id dictionary = message(classNamed("NSMutableDictionary"), "dictionary");
  message<void>(dictionary, "setObject:forKey:", text("first"), text("k\u00e9y"));
  message<void>(dictionary, "setObject:forKey:", text("second"), text("k\u00e9y"));
  EXPECT_EQ(message<NSUInteger>(dictionary, "count"), 1u);
  EXPECT_EQ(toUtf8(message(dictionary, "objectForKey:", text("k\u00e9y"))), "second");
  EXPECT_EQ(toUtf8(find(static_cast<Dictionary*>(header(dictionary)), "k\u00e9y")), "second");
  EXPECT_EQ(message(dictionary, "objectForKey:", text("key")), nullptr);
  EXPECT_EQ(message(dictionary, "objectForKey:", id{}), nullptr);
  EXPECT_EQ(describe(message(dictionary, "allKeys")), "(\n    \"k\u00e9y\"\n)");
}

TEST_F(FoundationTest, DictionariesComeFromTheFilesOfThePhone) {
  const auto content = own(makeDictionary());
  store(content.get(), text("k"), number(7));
  savePropertyList(device_.root / "var/good.plist", content.get(), PropertyListForm::binary);
  savePropertyList(device_.root / "var/list.plist", list({number(7)}), PropertyListForm::xml);
  std::ofstream(device_.root / "var/broken.plist") << "bplist00 and no more";
  const std::pair<const char*, bool> cases[] = {
      {"/var/good.plist", true},    {"/var/../../var/good.plist", true}, {"/var/list.plist", false},
      {"/var/broken.plist", false}, {"/var/there-is-no.plist", false},   {"/var", false}};
  const auto read = [](id path) {
    return own(
        message(message(classNamed("NSDictionary"), "alloc"), "initWithContentsOfFile:", path));
  };
  for (const auto& [path, good] : cases) {
    const auto dictionary = read(text(path));
    EXPECT_EQ(static_cast<bool>(dictionary), good) << path;
    EXPECT_EQ(message<int>(message(dictionary.get(), "objectForKey:", text("k")), "intValue"),
              good ? 7 : 0);
  }
  EXPECT_FALSE(read(nullptr));
  failAt(Fault::initWithContentsOfFile, 1);
  EXPECT_FALSE(read(text("/var/good.plist")));
}

TEST_F(FoundationTest, BadArgumentsRaise) {
  const id string = text("abc");
  const id array = list({string});
  const id dictionary = message(classNamed("NSMutableDictionary"), "dictionary");
  const id calendar = message(classNamed("NSCalendar"), "currentCalendar");
  const std::string range = "NSRangeException";
  const std::string argument = "NSInvalidArgumentException";
  const std::tuple<std::string, std::string, std::function<void()>> cases[] = {
      {"substring", range, [&] { message(string, "substringFromIndex:", 4ul); }},
      {"substring, at the end", "nothing", [&] { message(string, "substringFromIndex:", 3ul); }},
      {"character", range, [&] { message<char16_t>(string, "characterAtIndex:", 3ul); }},
      {"suffix", argument, [&] { message<BOOL>(string, "hasSuffix:", id{}); }},
      {"place", argument, [&] { message<NSRange>(string, "rangeOfString:", id{}); }},
      {"index", range, [&] { message(array, "objectAtIndex:", 1ul); }},
      {"empty", range, [&] { message(list({}), "objectAtIndex:", 0ul); }},
      {"add", argument, [&] { message<void>(array, "addObject:", id{}); }},
      {"immutable", argument, [&] { message<void>(own(makeArray()).get(), "addObject:", string); }},
      {"value", argument, [&] { message<void>(dictionary, "setObject:forKey:", id{}, string); }},
      {"key", argument, [&] { message<void>(dictionary, "setObject:forKey:", string, id{}); }},
      {"date", argument, [&] { message(calendar, "components:fromDate:", 512ul, id{}); }},
      {"bytes", argument,
       [&] { message(classNamed("NSString"), "stringWithUTF8String:", nullptr); }},
      {"conversion", argument, [&] { format("%q", 1); }},
      {"end of format", argument, [&] { format("100%"); }},
  };
  for (const auto& [name, raised, action] : cases) EXPECT_EQ(raisedName(action), raised) << name;
}

// ---- Ownership ---------------------------------------------------------------------------------

TEST_F(FoundationTest, OnlyInitGivesAnOwnedObject) {
  const std::int64_t before = liveObjectCount();
  {
    const auto init = [](const char* type) {
      return message(message(classNamed(type), "alloc"), "init");
    };
    for (const char* type : {"NSMutableArray", "NSMutableDictionary", "NSDate", "NSObject"}) {
      const auto object = own(init(type));
      EXPECT_EQ(liveObjectsByClass()[type], 1) << type;
    }
    EXPECT_EQ(toUtf8(own(init("NSString")).get()), "");
    const auto string =
        own(message(message(classNamed("NSString"), "alloc"), "initWithUTF8String:", "made"));
    EXPECT_EQ(toUtf8(string.get()), "made");
  }
  EXPECT_EQ(liveObjectCount(), before) << "a placeholder leaked, or an object was autoreleased";
}

// ---- Printing ----------------------------------------------------------------------------------

TEST_F(FoundationTest, Formats) {
  constexpr auto max = std::numeric_limits<std::uint64_t>::max();
  const std::pair<id, std::string> cases[] = {
      {format("schedulerWeekday_%d", 7), "schedulerWeekday_7"},
      {format("%@|%@|%@", text("caf\u00e9"), id{}, number(-3)), "caf\u00e9|(null)|-3"},
      {format("%i %u %x", -1, 4000000000u, 255u), "-1 4000000000 ff"},
      {format("%ld %lu %lld %llu", -1L, 1UL, -1LL, max), "-1 1 -1 18446744073709551615"},
      {format("%f %g %c%s%%", 0.5, 0.5, 'c', "s"), "0.500000 0.5 cs%"},
      {format("%s", static_cast<const char*>(nullptr)), "(null)"},
  };
  for (const auto& [made, expected] : cases) EXPECT_EQ(toUtf8(made), expected);

  const auto logFormat = own(makeString("HL: %@ %d"));
  NSLog(static_cast<NSString*>(static_cast<id>(logFormat.get())), number(1), 2);
  EXPECT_EQ(device_.log.take(), std::vector{"HL: 1 2"s});
}

TEST_F(FoundationTest, Descriptions) {
  const auto dictionary = own(makeDictionary());
  store(dictionary.get(), text("a"), real(0.1));
  store(dictionary.get(), text("b"), list({number(1), text("a@b \"c\"")}));
  const std::pair<id, std::string> cases[] = {
      {list({}), "(\n)"},
      {list({text("15551234567"), text(""), boolean(true)}),
       "(\n    15551234567,\n    \"\",\n    1\n)"},
      {dictionary.get(),
       "{\n    a = 0.1;\n    b = (\n        1,\n        \"a@b \\\"c\\\"\"\n    );\n}"},
      {objc_autorelease(makeDate(0)), "2001-01-01 00:00:00 +0000"},
      {objc_autorelease(makeData({1, 2, 3, 4, 0xff})), "<01020304 ff>"},
      {classNamed("NSDate"), "NSDate"},
  };
  for (const auto& [object, expected] : cases) {
    EXPECT_EQ(describe(object), expected);
    EXPECT_EQ(toUtf8(message(object, "description")), expected);
  }
}

// ---- Time --------------------------------------------------------------------------------------

TEST_F(FoundationTest, WeekdaysAreThoseOfTheLocalDay) {
  using namespace date::literals;
  const auto moment = [](int month, int day, int hour) {
    return date::sys_days(date::year(2026) / month / day) + std::chrono::hours(hour);
  };
  const struct {
    const char* zone;
    date::sys_seconds moment;
    NSInteger weekday;
  } cases[] = {
      {"Etc/UTC", moment(11, 21, 23), 7},         {"Etc/UTC", moment(11, 22, 0), 1},
      {"Europe/Berlin", moment(11, 21, 23), 1},   {"America/New_York", moment(11, 22, 4), 7},
      {"America/New_York", moment(11, 22, 5), 1}, {"Pacific/Kiritimati", moment(11, 21, 10), 1},
  };
  for (const auto& [zone, when, weekday] : cases) {
    device_.clock.setTimeZone(zone);
    device_.clock.set(when);
    const id components =
        message(message(classNamed("NSCalendar"), "currentCalendar"), "components:fromDate:", 512ul,
                message(classNamed("NSDate"), "date"));
    EXPECT_EQ(message<NSInteger>(components, "weekday"), weekday) << zone;
  }
  const id calendar = message(classNamed("NSCalendar"), "currentCalendar");
  for (const double extreme : {1e300, -1e300, std::nan(""), -0.5}) {
    const id date =
        message(classNamed("NSDate"), "dateWithTimeIntervalSinceReferenceDate:", extreme);
    const id components = message(calendar, "components:fromDate:", 512ul, date);
    const auto weekday = message<NSInteger>(components, "weekday");
    EXPECT_TRUE(weekday >= 1 && weekday <= 7) << extreme;
  }
  EXPECT_EQ(Clock::fromReferenceDate(-0.5),
            date::sys_days(2000_y / 12 / 31) + std::chrono::seconds(86399));
  EXPECT_EQ(Clock::fromReferenceDate(std::nan("")), Clock::fromReferenceDate(0));
  failAt(Fault::currentCalendar, 1);
  EXPECT_EQ(message(classNamed("NSCalendar"), "currentCalendar"), nullptr);
}

TEST_F(FoundationTest, LocalTimesAroundClockChanges) {
  device_.clock.setTimeZone("Europe/Berlin");
  const auto at = [](int month, int day, int hour, int minute) {
    return (date::sys_days(date::year(2026) / month / day) + std::chrono::hours(hour) +
            std::chrono::minutes(minute))
        .time_since_epoch();
  };
  // The local time that is set, in minutes, and the moment that is meant, in UTC.
  const std::pair<std::chrono::minutes, std::chrono::minutes> cases[] = {
      {at(3, 29, 1, 59), at(3, 29, 0, 59)},
      {at(3, 29, 2, 30), at(3, 29, 1, 0)},  // skipped: the moment of the change
      {at(3, 29, 3, 0), at(3, 29, 1, 0)},
      {at(10, 25, 2, 30), at(10, 25, 0, 30)},  // twice: the first time
      {at(10, 25, 3, 0), at(10, 25, 2, 0)},
  };
  for (const auto& [local, utc] : cases) {
    EXPECT_EQ(device_.clock.instant(date::local_seconds(local)), date::sys_seconds(utc));
  }
  EXPECT_THROW(device_.clock.setTimeZone("Europe/Nowhere"), std::runtime_error);
  EXPECT_EQ(device_.clock.timeZone(), "Europe/Berlin");
}

}  // namespace
}  // namespace simulator
