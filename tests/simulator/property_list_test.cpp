#include "simulator/foundation/property_list.hpp"

#include <algorithm>
#include <limits>

#include "tests/support/phone_test.hpp"

namespace simulator {
namespace {

using Bytes = std::vector<std::uint8_t>;

class PropertyList : public tests::PhoneTest {};

Bytes bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

void appendPair(Bytes& bytes, std::size_t value) {
  bytes.push_back(static_cast<std::uint8_t>(value >> 8));
  bytes.push_back(static_cast<std::uint8_t>(value));
}

// An array as it stands in a binary list whose references take two bytes.
Bytes arrayOf(const std::vector<std::size_t>& references) {
  Bytes array = {0xaf, 0x11};
  appendPair(array, references.size());
  for (const std::size_t reference : references) appendPair(array, reference);
  return array;
}

// A binary list from its objects as they stand in the file.
Bytes binaryOf(const std::vector<Bytes>& objects, std::uint8_t top = 0) {
  Bytes file = bytesOf("bplist00");
  Bytes table;
  for (const Bytes& object : objects) {
    appendPair(table, file.size());
    file.insert(file.end(), object.begin(), object.end());
  }
  Bytes trailer = {0, 0, 0, 0, 0, 0, 2, 2, 0, 0, 0, 0, 0, 0};
  appendPair(trailer, objects.size());
  trailer.insert(trailer.end(), {0, 0, 0, 0, 0, 0, 0, top, 0, 0, 0, 0, 0, 0});
  appendPair(trailer, file.size());
  file.insert(file.end(), table.begin(), table.end());
  file.insert(file.end(), trailer.begin(), trailer.end());
  return file;
}

// Each object an array that holds the next one twice: few objects, that unfold to 2^length.
Bytes doublings(std::size_t length) {
  std::vector<Bytes> objects;
  for (std::size_t i = 1; i <= length; ++i) objects.push_back(arrayOf({i, i}));
  objects.push_back({0x09});
  return binaryOf(objects);
}

// An array that holds the same text again and again.
Bytes oneTextMany(std::size_t times, std::size_t length) {
  Bytes text = {0x5f, 0x11};
  appendPair(text, length);
  text.resize(text.size() + length, 'a');
  return binaryOf({arrayOf(std::vector<std::size_t>(times, 1)), text});
}

// A chain of arrays whose root refers to all of them, the innermost first: reading it never
// follows a long path, and yet the last ones are deep.
Bytes chainFromWithin(std::size_t length) {
  std::vector<std::size_t> all;
  std::vector<Bytes> objects = {{}, {0x09}};
  for (std::size_t i = 1; i <= length; ++i) all.push_back(i);
  for (std::size_t i = 2; i <= length; ++i) objects.push_back(arrayOf({i - 1}));
  objects[0] = arrayOf(all);
  return binaryOf(objects);
}

std::string nested(int levels, const std::string& open, const std::string& close) {
  std::string text = "<plist>";
  for (int i = 0; i < levels; ++i) text += open;
  for (int i = 0; i < levels; ++i) text += close;
  return text + "</plist>";
}

TEST_F(PropertyList, givesBackWhatWasWritten) {
  for (const PropertyListForm form : {PropertyListForm::binary, PropertyListForm::xml}) {
    for (Object* const made : std::initializer_list<Object*>{
             makeBoolean(true), makeBoolean(false), makeInteger(0), makeInteger(255),
             makeInteger(-100), makeInteger(std::numeric_limits<std::int64_t>::min()),
             makeReal(0.1), makeReal(-1e300),
             makeString(" <a> & \"b\"\n\xC3\xA9 \xF0\x9F\x98\x80 "), makeData({}),
             makeData({0, 255, 10, '<'}), makeDate(-5), makeDate(785'000'000), makeUid(70'000),
             makeArray(), makeDictionary()}) {
      const auto written = own(made);
      const auto list = own(makeArray());
      append(list.get(), made);
      const auto root = parsePropertyList(writePropertyList(list.get(), form));
      const auto* array = as<Array>(root.get(), "NSArray");
      ASSERT_TRUE(array != nullptr && array->items.size() == 1) << describe(made);
      const id read = array->items[0];
      EXPECT_EQ(object_getClass(read), object_getClass(made)) << describe(made);
      EXPECT_TRUE(ObjectEqual()(read, made)) << describe(made);
      if (const auto* number = as<Number>(made, "NSNumber")) {
        EXPECT_EQ(as<Number>(read, "NSNumber")->kind, number->kind) << describe(made);
      }
    }
  }
}

TEST_F(PropertyList, readsWhatOthersWrite) {
  const Bytes utf16 = {0x62, 0x00, 0xe9, 0x30, 0x42};
  const Bytes longInteger = {0x14, 0, 0, 0, 0, 0, 0, 0, 0, 255, 255, 255, 255, 255, 255, 255, 156};
  const struct {
    Bytes bytes;
    std::string description;
  } cases[] = {
      {binaryOf({utf16}), "\xC3\xA9\xE3\x81\x82"},
      {binaryOf({{0x12, 255, 255, 255, 156}}), "4294967196"},
      {binaryOf({longInteger}), "-100"},
      {binaryOf({{0x22, 0x3f, 0xc0, 0, 0}}), "1.5"},
      {binaryOf({{0x09}, {0x08}}, 1), "0"},
      {binaryOf({arrayOf({1, 1}), {0x51, 'x'}}), "(\n    x,\n    x\n)"},
      {bytesOf("\xEF\xBB\xBF\n<plist><string>a<!-- <b> -->b<![CDATA[<c>]]></string></plist>"),
       "ab<c>"},
      {bytesOf("<!DOCTYPE plist [ <!ELEMENT array ANY> ]><plist><array/></plist>"), "(\n)"},
  };
  for (const auto& [bytes, description] : cases) {
    std::string why;
    const auto root = parsePropertyList(bytes, &why);
    EXPECT_EQ(describe(root.get()), description) << why;
  }
}

TEST_F(PropertyList, refusesWhatIsNoneAndSaysWhy) {
  const std::string levels = "nested more than 512 levels deep";
  const std::string xml = "not well-formed XML of a property list";
  const Bytes hugeTable = [] {
    Bytes bytes = binaryOf({{0x09}});
    bytes[bytes.size() - 32 + 8] = 0x7f;
    return bytes;
  }();
  const struct {
    Bytes bytes;
    std::string why;
  } cases[] = {
      {{}, "neither a binary nor an XML property list"},
      {bytesOf("{ a = b; }"), "neither a binary nor an XML property list"},
      {bytesOf("bplist00"), "truncated"},
      {hugeTable, "its table of objects does not fit in the file"},
      {binaryOf({{0x09}}, 7), "a reference to an object that is not there"},
      {binaryOf({arrayOf({0})}), "an object that contains itself"},
      {binaryOf({{0xd1, 0, 1, 0, 0}, {0x51, 'k'}}), "an object that contains itself"},
      {binaryOf({{0xd1, 0, 1, 0, 1}, {0x09}}), "a key that is no string"},
      {binaryOf({{0xd1, 0, 1, 0, 1}, {0x52, 'k', 0}}), "a key with a null character"},
      {binaryOf({{0xd1, 0, 1, 0, 1}, {0x62, 0, 'k', 0, 0}}), "a key with a null character"},
      {binaryOf({{0x4f, 0x13, 0x7f, 255, 255, 255, 255, 255, 255, 255}}), "truncated"},
      {oneTextMany(1200, 60'000), "too large when its shared parts are copied"},
      {binaryOf({{0xaf, 0x13, 255, 255, 255, 255, 255, 255, 255, 255}}), "truncated"},
      {binaryOf({{0x6f, 0x10, 4, 0, 'a'}}), "truncated"},
      {binaryOf({{0x5f, 0x09}}), "a length that is no integer"},
      {binaryOf({{0x33, 0x7f, 0xf8, 0, 0, 0, 0, 0, 0}}),
       "a date that is not between 1933 and 2068"},
      {binaryOf({{0x15}}), "an object of an unknown or damaged kind"},
      {binaryOf({{0x70}}), "an object of an unknown or damaged kind"},
      {doublings(100), "more than 1000000 objects"},
      {chainFromWithin(600), levels},
      {bytesOf(nested(513, "<array>", "</array>")), levels},
      {bytesOf(nested(513, "<dict><key>k</key>", "</dict>")), levels},
      {bytesOf(nested(600, "<array><!-- </array> -->", "</array>")), levels},
      {bytesOf(nested(600, "<array><string><![CDATA[</array>]]></string>", "</array>")), levels},
      {bytesOf(nested(100'000, "<array >", "")), levels},
      {bytesOf("<plist><array></dict></plist>"), xml},
      {bytesOf("<plist><array><!-- </array></plist>"), "truncated"},
      {bytesOf("<plist><date>4001-01-01T00:00:00Z</date></plist>"),
       "a date that is not between 1933 and 2068"},
  };
  for (const auto& [bytes, expected] : cases) {
    std::string why;
    EXPECT_FALSE(parsePropertyList(bytes, &why)) << expected;
    EXPECT_EQ(why, expected) << std::string(bytes.begin(), bytes.end()).substr(0, 100);
  }
}

TEST_F(PropertyList, nestsAsDeepAsThePlatformAllowsAndNoDeeper) {
  auto list = own(makeArray());
  for (int levels = 1; levels < deepestPropertyList; ++levels) {
    const auto outer = own(makeArray());
    append(outer.get(), list.get());
    list = outer;
  }
  const auto deeper = own(makeArray());
  append(deeper.get(), list.get());
  for (const PropertyListForm form : {PropertyListForm::binary, PropertyListForm::xml}) {
    EXPECT_TRUE(parsePropertyList(writePropertyList(list.get(), form)));
    EXPECT_THROW(writePropertyList(deeper.get(), form), PlatformException);
  }
}

}  // namespace
}  // namespace simulator
