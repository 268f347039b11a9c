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
  const id type = classNamed("NSString");
  const SEL selector = sel_registerName("stringWithFormat:");
  const IMP method = methodOf(object_getClass(type), selector);
  return reinterpret_cast<id (*)(id, SEL, id, ...)>(method)(type, selector, text(utf8), args...);
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
      {"\xc3(", 2, "\ufffd("},
  };
  for (const auto& [utf8, units, back] : cases) {
    EXPECT_EQ(send<NSUInteger>(text(utf8), "length"), units) << utf8;
    EXPECT_EQ(toUtf8(text(utf8)), back);
    const auto made = own(send(text(""), "initWithUTF8String:", utf8.c_str()));
    EXPECT_EQ(bool(made), utf8 == back) << "malformed bytes give no string: " << utf8;
  }
  const char16_t lone[] = {u'a', 0xD800, u'b', 0xDC00};
  EXPECT_EQ(toUtf8(own(makeString(lone, 4)).get()), "a\ufffdb\ufffd");
}

TEST_F(FoundationTest, SuffixesAndPlaces) {
  const std::tuple<const char*, const char*, bool, NSUInteger> cases[] = {
      {"4567", "1234567", false, NSNotFound},
      {"4567", "", false, NSNotFound},
      {"a@b@", "@", true, 1},
      {"abcab", "ab", true, 0},
      {"\u20ac12", "12", true, 1},  // two widths
      {"\u20ac12", "32", false, NSNotFound},
      {"\u20acab\u20ad", "ab\u20ad", true, 1},
      {"\u20acac\u20ad", "ab\u20ad", false, NSNotFound},
  };
  for (const auto& [string, part, suffix, place] : cases) {
    EXPECT_EQ(send<BOOL>(text(string), "hasSuffix:", text(part)), suffix) << string << part;
    EXPECT_EQ(send<NSRange>(text(string), "rangeOfString:", text(part)).location, place);
  }
}

TEST_F(FoundationTest, EqualObjectsHaveEqualHashes) {
  const std::int64_t large = (std::int64_t{1} << 53) + 1;  // no double holds it
  const std::tuple<id, id, bool> cases[] = {
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
    SCOPED_TRACE(describe(left) + " and " + describe(right));
    EXPECT_EQ(send<BOOL>(left, "isEqual:", right), equal);
    EXPECT_EQ(send<BOOL>(list({text("x"), right}), "containsObject:", left), equal);
    EXPECT_TRUE(!equal || send<NSUInteger>(left, "hash") == send<NSUInteger>(right, "hash"));
  }
}

TEST_F(FoundationTest, AnswersMoreThanTheLibraryAsks) {
  const id accents = send(classNamed("NSCharacterSet"),
                          "characterSetWithCharactersInString:", text("\u20ac\u00e9-"));
  const id pieces =
      send(text("a-b\u00e9\u20acc"), "componentsSeparatedByCharactersInSet:", accents);
  EXPECT_EQ(toUtf8(send(pieces, "componentsJoinedByString:", text("|"))), "a|b||c");
  savePropertyList(phone().root / "a.plist", own(makeDictionary()).get(), PropertyListForm::xml);
  const id empty = send(classNamed("NSDictionary"), "alloc");
  EXPECT_TRUE(own(send(empty, "initWithContentsOfFile:", text("/var/../../a.plist"))));
}

// Each exception is known by how its text begins.
TEST_F(FoundationTest, BadArgumentsRaise) {
  const id string = text("abc");
  const id array = list({string});
  const id dictionary = objc_autorelease(makeMutableDictionary());
  const std::string range = "NSRangeException: ";
  const std::string argument = "NSInvalidArgumentException: ";
  const std::pair<std::string, std::function<void()>> cases[] = {
      {range, [&] { send(string, "substringFromIndex:", 4ul); }},
      {"nothing", [&] { send(string, "substringFromIndex:", 3ul); }},
      {argument, [&] { send<BOOL>(string, "hasSuffix:", id{}); }},
      {argument, [&] { send<NSRange>(string, "rangeOfString:", id{}); }},
      {range, [&] { send(array, "objectAtIndex:", 1ul); }},
      {argument, [&] { send<void>(array, "addObject:", id{}); }},
      {argument, [&] { send<void>(dictionary, "setObject:forKey:", id{}, string); }},
      {argument, [&] { send<void>(dictionary, "setObject:forKey:", string, id{}); }},
      {argument, [&] { send(string, "initWithUTF8String:", nullptr); }},
      {argument, [&] { format("%q", 1); }},
      {argument, [&] { format("100%"); }},
      {argument + "-[NSArray addObject:]: unrecognized selector sent to instance",
       [&] { send<void>(own(makeArray()).get(), "addObject:", string); }},
      {argument + "+[NSArray count]: unrecognized selector sent to class",
       [] { send<void>(classNamed("NSArray"), "count"); }},
  };
  for (const auto& [expected, mistake] : cases) {
    std::string raised = "nothing";
    try {
      mistake();
    } catch (const PlatformException& exception) {
      raised = exception.what();
    }
    EXPECT_TRUE(raised.starts_with(expected)) << "case " << &expected - &cases[0].first;
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
      {objc_autorelease(makeDate(1e300)), "30520-11-12 16:00:00 +0000"},
      {objc_autorelease(makeDate(std::numeric_limits<double>::quiet_NaN())),
       "2001-01-01 00:00:00 +0000"},
      {objc_autorelease(makeData({1, 2, 3, 4, 0xff})), "<01020304 ff>"},
      {classNamed("NSDate"), "NSDate"},
  };
  for (const auto& [object, expected] : cases) {
    EXPECT_EQ(toUtf8(send(object, "description")), expected);
  }
}

TEST_F(FoundationTest, NotificationsComeInTheOrderInWhichTheyWerePosted) {
  static std::string delivered;
  delivered.clear();
  const CFNotificationCallback note = [](auto, auto, CFStringRef name, auto, auto) {
    delivered += toUtf8(name);
  };
  for (const char* name : {"c", "a", "b"}) phone().notifications.add({name, note, 0});
  for (const char* name : {"b", "c", "nobody's", "a"}) phone().notifications.post(name);
  EXPECT_EQ(delivered, "");
  phone().notifications.runMainLoop();
  EXPECT_EQ(delivered, "bca");
}

TEST_F(FoundationTest, LocalTimesAroundClockChanges) {
  using namespace std::chrono_literals;
  constexpr date::year_month_day spring = date::year(2026) / 3 / 29;
  constexpr date::year_month_day autumn = date::year(2026) / 10 / 25;
  phone().clock.setTimeZone("Europe/Berlin");
  // 02:30 is skipped, and stands for the moment of the change; or it comes twice: the first time.
  EXPECT_EQ(phone().clock.instant(date::local_days(spring) + 150min), date::sys_days(spring) + 1h);
  EXPECT_EQ(phone().clock.instant(date::local_days(autumn) + 150min),
            date::sys_days(autumn) + 30min);
}

}  // namespace
}  // namespace simulator
