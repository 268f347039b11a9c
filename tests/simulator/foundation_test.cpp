#include <cmath>
#include <functional>
#include <limits>

#include "simulator/foundation/property_list.hpp"
#include "tests/support/phone_test.hpp"

namespace simulator {
namespace {

class FoundationTest : public tests::PhoneTest {
  const AutoreleasePool pool_;
};

template <class R = id, class... Args>
R send(id receiver, const char* selector, Args... args) {
  return simulator::message<R>(receiver, selector, args...);
}

id text(std::string_view utf8) { return objc_autorelease(makeString(utf8)); }
id number(std::int64_t value) { return objc_autorelease(makeInteger(value)); }
id real(double value) { return objc_autorelease(makeReal(value)); }

id list(const std::vector<id>& items) {
  const id array = objc_autorelease(makeMutableArray());
  for (const id item : items) send<void>(array, "addObject:", item);
  return array;
}

template <class... Args>
id format(const char* utf8, Args... args) {
  using Method = id (*)(id, SEL, id, ...);
  const id type = classNamed("NSString");
  const SEL selector = sel_registerName("stringWithFormat:");
  const IMP method = class_getMethodImplementation(object_getClass(type), selector);
  return reinterpret_cast<Method>(method)(type, selector, text(utf8), args...);
}

TEST_F(FoundationTest, Utf8SurvivesAndMalformedBytesDoNot) {
  const std::tuple<std::string, std::size_t, std::string> cases[] = {
      {"caf\u00e9", 4, "caf\u00e9"},
      {"\u20ac\u0100", 2, "\u20ac\u0100"},
      {"\U0001F4F1!", 3, "\U0001F4F1!"},
      {"\xff!", 2, "\ufffd!"},
      {"\xc0\x80", 2, "\ufffd\ufffd"},            // overlong
      {"\xed\xa0\x80", 3, "\ufffd\ufffd\ufffd"},  // a surrogate
      {"\xe2\x82", 2, "\ufffd\ufffd"},            // cut short
  };
  for (const auto& [utf8, units, back] : cases) {
    EXPECT_EQ(send<NSUInteger>(text(utf8), "length"), units) << utf8;
    EXPECT_EQ(send<const char*>(text(utf8), "UTF8String"), back);
    const id made = send(classNamed("NSString"), "stringWithUTF8String:", utf8.c_str());
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
      {"4567", "1234567", false, false, NSNotFound},
      {"4567", "", false, false, NSNotFound},
      {"a@b@", "@", false, true, 1},
      {"abcab", "ab", true, true, 0},
      {"\u20ac12", "12", false, true, 1},  // two widths
      {"12\u20ac", "12", true, false, 0},
      {"\u20acab\u20ad", "ab\u20ad", false, true, 1},
      {"caf\u00e9", "cafe\u0301", false, false, NSNotFound},  // unit for unit
  };
  for (const auto& [string, part, prefix, suffix, place] : cases) {
    EXPECT_EQ(send<BOOL>(text(string), "hasPrefix:", text(part)), prefix) << string << part;
    EXPECT_EQ(send<BOOL>(text(string), "hasSuffix:", text(part)), suffix) << string << part;
    EXPECT_EQ(send<NSRange>(text(string), "rangeOfString:", text(part)).location, place);
  }
}

TEST_F(FoundationTest, EqualObjectsHaveEqualHashes) {
  const std::int64_t large = (std::int64_t{1} << 53) + 1;  // no double holds it
  const struct {
    id left, right;
    bool equal;
  } cases[] = {
      {number(1), objc_autorelease(makeBoolean(true)), true},
      {number(0), real(-0.0), true},
      {number(1), real(1.5), false},
      {number(large), real(static_cast<double>(large)), false},
      {number(std::numeric_limits<std::int64_t>::max()), real(0x1p63), false},
      {number(3), text("3"), false},
      {text("3"), number(3), false},
      // What became narrow is the same string as one that always was.
      {text("ab"), send(text("\u20acab"), "substringFromIndex:", 1ul), true},
      {text("ac"), text("\u6361\u6361"), false},
      {list({number(1), text("a")}), list({real(1), text("a")}), true},
      {list({number(1)}), list({number(1), number(1)}), false},
      {objc_autorelease(makeDate(5)), objc_autorelease(makeDate(5)), true},
      {objc_autorelease(makeData({1})), objc_autorelease(makeData({2})), false},
      {objc_autorelease(makeUid(1)), number(1), false},
  };
  for (const auto& [left, right, equal] : cases) {
    const std::string both = describe(left) + " and " + describe(right);
    EXPECT_EQ(send<BOOL>(left, "isEqual:", right), equal) << both;
    EXPECT_EQ(send<BOOL>(list({text("x"), right}), "containsObject:", left), equal) << both;
    EXPECT_TRUE(!equal || send<NSUInteger>(left, "hash") == send<NSUInteger>(right, "hash"))
        << both;
  }
}

TEST_F(FoundationTest, AnswersMoreThanTheLibraryAsks) {
  const id accents = send(classNamed("NSCharacterSet"),
                          "characterSetWithCharactersInString:", text("\u20ac\u00e9-"));
  const id pieces =
      send(text("a-b\u00e9\u20acc"), "componentsSeparatedByCharactersInSet:", accents);
  EXPECT_EQ(toUtf8(send(pieces, "componentsJoinedByString:", text("|"))), "a|b||c");
  const id array = list({text("a"), text("b")});
  send<void>(array, "addObjectsFromArray:", array);
  NSFastEnumerationState walk{};
  id none[1];
  ASSERT_EQ(send<NSUInteger>(array, "countByEnumeratingWithState:objects:count:", &walk, none, 1ul),
            4u);
  EXPECT_EQ(toUtf8(walk.itemsPtr[3]), "b");
  const unsigned long before = *walk.mutationsPtr;
  send<void>(array, "removeAllObjects");
  EXPECT_NE(*walk.mutationsPtr, before);
  savePropertyList(phone().root / "a.plist", own(makeDictionary()).get(), PropertyListForm::xml);
  EXPECT_TRUE(own(send(send(classNamed("NSDictionary"), "alloc"),
                       "initWithContentsOfFile:", text("/var/../../a.plist"))));
}

TEST_F(FoundationTest, BadArgumentsRaise) {
  const id string = text("abc");
  const id array = list({string});
  const id dictionary = objc_autorelease(makeMutableDictionary());
  const id calendar = send(classNamed("NSCalendar"), "currentCalendar");
  const std::string range = "NSRangeException";
  const std::string argument = "NSInvalidArgumentException";
  const std::pair<std::string, std::function<void()>> cases[] = {
      {range, [&] { send(string, "substringFromIndex:", 4ul); }},
      {"nothing", [&] { send(string, "substringFromIndex:", 3ul); }},
      {range, [&] { send<char16_t>(string, "characterAtIndex:", 3ul); }},
      {argument, [&] { send<BOOL>(string, "hasSuffix:", id{}); }},
      {argument, [&] { send<NSRange>(string, "rangeOfString:", id{}); }},
      {range, [&] { send(array, "objectAtIndex:", 1ul); }},
      {range, [&] { send(list({}), "objectAtIndex:", 0ul); }},
      {argument, [&] { send<void>(array, "addObject:", id{}); }},
      {argument, [&] { send<void>(own(makeArray()).get(), "addObject:", string); }},
      {argument, [&] { send<void>(dictionary, "setObject:forKey:", id{}, string); }},
      {argument, [&] { send<void>(dictionary, "setObject:forKey:", string, id{}); }},
      {argument, [&] { send(calendar, "components:fromDate:", 512ul, id{}); }},
      {argument, [&] { send(classNamed("NSString"), "stringWithUTF8String:", nullptr); }},
      {argument, [&] { format("%q", 1); }},
      {argument, [&] { format("100%"); }},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    std::string raised = "nothing";
    try {
      cases[i].second();
    } catch (const PlatformException& exception) {
      raised = exception.name();
    }
    EXPECT_EQ(raised, cases[i].first) << "case " << i;
  }
}

TEST_F(FoundationTest, FormatsAndDescribes) {
  constexpr auto max = std::numeric_limits<std::uint64_t>::max();
  const auto dictionary = own(makeDictionary());
  store(dictionary.get(), text("a"), real(0.1));
  store(dictionary.get(), text("b"), list({number(1), text("a@b \"c\""), text("")}));
  const std::pair<id, std::string> cases[] = {
      {format("%@|%@|%@", text("caf\u00e9"), id{}, number(-3)), "caf\u00e9|(null)|-3"},
      {format("%d %i %u %x", 7, -1, 4000000000u, 255u), "7 -1 4000000000 ff"},
      {format("%ld %lu %lld %llu", -1L, 1UL, -1LL, max), "-1 1 -1 18446744073709551615"},
      {format("%f %g %c%s%%", 0.5, 0.5, 'c', "s"), "0.500000 0.5 cs%"},
      {dictionary.get(),
       "{\n    a = 0.1;\n    b = (\n        1,\n        \"a@b \\\"c\\\"\",\n        \"\"\n    "
       ");\n}"},
      {objc_autorelease(makeDate(-0.5)), "2000-12-31 23:59:59 +0000"},
      {objc_autorelease(makeData({1, 2, 3, 4, 0xff})), "<01020304 ff>"},
      {classNamed("NSDate"), "NSDate"},
  };
  for (const auto& [object, expected] : cases) {
    EXPECT_EQ(toUtf8(send(object, "description")), expected);
  }
}

TEST_F(FoundationTest, EveryMomentHasAWeekday) {
  const id calendar = send(classNamed("NSCalendar"), "currentCalendar");
  for (const double extreme : {1e300, -1e300, std::nan("")}) {
    const id date = send(classNamed("NSDate"), "dateWithTimeIntervalSinceReferenceDate:", extreme);
    const id components = send(calendar, "components:fromDate:", 512ul, date);
    const auto weekday = send<NSInteger>(components, "weekday");
    EXPECT_TRUE(weekday >= 1 && weekday <= 7) << extreme;
  }
}

std::string delivered;

void noteDelivery(CFNotificationCenterRef, void*, CFStringRef name, const void*, CFDictionaryRef) {
  delivered += toUtf8(name);
}

TEST_F(FoundationTest, NotificationsComeInTheOrderInWhichTheyWerePosted) {
  delivered.clear();
  for (const char* name : {"c", "a", "b"}) phone().notifications.add({name, &noteDelivery, 0});
  for (const char* name : {"b", "c", "nobody's", "a"}) phone().notifications.post(name);
  EXPECT_EQ(delivered, "");
  phone().notifications.runMainLoop();
  EXPECT_EQ(delivered, "bca");
}

TEST_F(FoundationTest, LocalTimesAroundClockChanges) {
  phone().clock.setTimeZone("Europe/Berlin");
  const auto at = [](int month, int day, int hour, int minute) {
    return (date::sys_days(date::year(2026) / month / day) + std::chrono::hours(hour) +
            std::chrono::minutes(minute))
        .time_since_epoch();
  };
  // The local time that is set, in minutes, and the moment that is meant, in UTC.
  const std::pair<std::chrono::minutes, std::chrono::minutes> cases[] = {
      {at(3, 29, 1, 59), at(3, 29, 0, 59)},
      {at(3, 29, 2, 30), at(3, 29, 1, 0)},     // skipped: the moment of the change
      {at(10, 25, 2, 30), at(10, 25, 0, 30)},  // twice: the first time
      {at(10, 25, 3, 0), at(10, 25, 2, 0)},
  };
  for (const auto& [local, utc] : cases) {
    EXPECT_EQ(phone().clock.instant(date::local_seconds(local)), date::sys_seconds(utc));
  }
}

}  // namespace
}  // namespace simulator
