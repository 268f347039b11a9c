#include <date/date.h>

#include <cmath>
#include <functional>

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
  const id array = objc_autorelease(make<Array>(classNamed("NSMutableArray")));
  for (const id item : items) send<void>(array, "addObject:", item);
  return array;
}

template <class... Args>
id format(const char* utf8, Args... args) {
  const auto send = reinterpret_cast<id (*)(id, SEL, id, ...)>(&objc_msgSend);
  return send(classNamed("NSString"), sel_registerName("stringWithFormat:"), text(utf8), args...);
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
    const id allocated = send(classNamed("NSString"), "alloc");
    const auto made = own(send(allocated, "initWithUTF8String:", utf8.c_str()));
    EXPECT_EQ(bool(made), utf8 == back) << "malformed bytes give no string: " << utf8;
  }
  const std::u16string lone = {u'a', 0xD800, u'b', 0xDC00};
  EXPECT_EQ(toUtf8(own(makeString(lone)).get()), "a\ufffdb\ufffd");
}

// Each exception is known by how its text begins.
TEST_F(FoundationTest, BadArgumentsRaise) {
  const id string = text("abc");
  const id array = list({string});
  const id dictionary = objc_autorelease(make<Dictionary>(classNamed("NSMutableDictionary")));
  const std::string range = "NSRangeException: ";
  const std::string argument = "NSInvalidArgumentException: ";
  const std::pair<std::string, std::function<void()>> cases[] = {
      {range, [&] { send(string, "substringFromIndex:", 4ul); }},
      {argument, [&] { send<BOOL>(string, "hasSuffix:", id{}); }},
      {argument, [&] { send<NSRange>(string, "rangeOfString:", id{}); }},
      {range, [&] { send(array, "objectAtIndex:", 1ul); }},
      {argument, [&] { send<void>(array, "addObject:", id{}); }},
      {argument, [&] { send<void>(dictionary, "setObject:forKey:", id{}, string); }},
      {argument, [&] { send<void>(dictionary, "setObject:forKey:", string, id{}); }},
      {argument, [&] { send(string, "initWithUTF8String:", nullptr); }},
      {argument, [&] { format("%i", 1); }},
      {argument, [&] { format("100%"); }},
      {argument, [&] { send<void>(own(makeArray()).get(), "addObject:", string); }},
      {argument + "+[NSArray count]: unrecognized selector sent to class",
       [] { send<void>(classNamed("NSArray"), "count"); }},
  };
  for (const auto& [expected, mistake] : cases) {
    try {
      mistake();
      ADD_FAILURE() << "case " << &expected - &cases[0].first << " raises nothing";
    } catch (const PlatformException& exception) {
      EXPECT_TRUE(std::string_view(exception.what()).starts_with(expected)) << exception.what();
    }
  }
}

TEST_F(FoundationTest, FormatsAndDescribes) {
  const std::string lines =
      "{\n    a = 0.1;\n    b = (\n        1,\n        \"a@b \\\"c\\\"\",\n        \"\"\n    );\n}";
  const auto dictionary = own(makeDictionary());
  const auto date = [](double value) { return objc_autorelease(makeDate(value)); };
  store(dictionary.get(), "a", real(0.1));
  store(dictionary.get(), "b", list({number(1), text("a@b \"c\""), text("")}));
  const std::pair<id, std::string> cases[] = {
      {format("%@|%@|%@", text("caf\u00e9"), id{}, number(-3)), "caf\u00e9|(null)|-3"},
      {format("%d%d", 7, -1), "7-1"},
      {dictionary.get(), lines},
      {date(-0.5), "2000-12-31 23:59:59 +0000"},
      {date(1e300), "30520-11-12 16:00:00 +0000"},
      {date(std::nan("")), "2001-01-01 00:00:00 +0000"},
      {objc_autorelease(makeData({1, 2, 3, 4, 0xff})), "<01020304 ff>"},
  };
  for (const auto& [object, expected] : cases) EXPECT_EQ(describe(object), expected);
}

TEST_F(FoundationTest, LocalTimesAroundClockChanges) {
  using namespace std::chrono_literals;
  phone().clock.setTimeZone("Europe/Berlin");
  // 02:30 is skipped, and stands for the moment of the change; or it comes twice: the first time.
  for (const auto& [day, after] : {std::pair{date::year(2026) / 3 / 29, 60min},
                                   std::pair{date::year(2026) / 10 / 25, 30min}}) {
    EXPECT_EQ(phone().clock.instant(date::local_days(day) + 150min), date::sys_days(day) + after);
  }
}

}  // namespace
}  // namespace simulator
