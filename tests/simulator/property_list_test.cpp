// Property lists, and the archives that are made of them.
#include "simulator/foundation/property_list.hpp"

#include <regex>

#include "simulator/foundation/keyed_archive.hpp"
#include "tests/support/phone_test.hpp"

namespace simulator {
namespace {

using Bytes = std::vector<std::uint8_t>;

class PropertyList : public tests::PhoneTest {};

constexpr PropertyListForm forms[] = {PropertyListForm::binary, PropertyListForm::xml};

const std::string uid = "<dict><key>CF$UID</key><integer>";

// One array in two places, and one of every other kind that is archived.
Owned<Array> makeSample() {
  auto sample = own(makeArray());
  const auto shared = own(makeArray());
  append(shared.get(), own(makeArray()).get());
  for (int i = 0; i < 2; ++i) append(sample.get(), shared.get());
  for (Object* const made : std::initializer_list<Object*>{
           makeString("$null"), makeString(" <a> & \"b\"\n\xC3\xA9 \xF0\x9F\x98\x80 "),
           makeBoolean(true), makeBoolean(false), makeInteger(0), makeInteger(255),
           makeInteger(-100), makeInteger(std::numeric_limits<std::int64_t>::min()), makeReal(0.1),
           makeReal(-1e300), makeData({}), makeData({0, 255, 10, '<'})}) {
    append(sample.get(), own(made).get());
  }
  return sample;
}

Bytes inForm(PropertyListForm form, const Bytes& list) {
  return writePropertyList(parsePropertyList(list).get(), form);
}

// Of each element the class, with a number's kind, and what describes it.
tests::Texts kindsAndTexts(id list) {
  tests::Texts texts;
  for (const id item : as<Array>(list)->items) {
    const auto* const number = as<Number>(item);
    const int kind = number == nullptr ? -1 : static_cast<int>(number->kind);
    texts.push_back(std::string(className(classOf(item))) + std::to_string(kind) + describe(item));
  }
  return texts;
}

TEST_F(PropertyList, givesBackEveryKindOfObjectAlsoFromAnArchive) {
  const auto sample = makeSample();
  const Bytes archived = archive(sample.get());
  for (const PropertyListForm form : forms) {
    const auto again = own(header(unarchive(inForm(form, archived))));
    EXPECT_EQ(kindsAndTexts(again.get()), kindsAndTexts(sample.get()));
    const auto& items = as<Array>(again.get())->items;
    EXPECT_EQ(items[0], items[1]) << "what was shared is no longer";
  }
  const auto dictionary = own(makeDictionary());
  store(dictionary.get(), "key", own(makeArray()).get());
  for (Object* const made : std::initializer_list<Object*>{makeDate(-5), makeDate(785'000'000),
                                                           makeDictionary(), dictionary.get()}) {
    append(sample.get(), made == dictionary.get() ? made : own(made).get());
  }
  for (const PropertyListForm form : forms) {
    const auto listed = parsePropertyList(writePropertyList(sample.get(), form));
    EXPECT_EQ(kindsAndTexts(listed.get()), kindsAndTexts(sample.get()));
  }
}

Bytes bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

void appendNumber(Bytes& bytes, std::size_t value, int size = 2) {
  while (size-- > 0) bytes.push_back(static_cast<std::uint8_t>(value >> 8 * size));
}

// An array as it stands in a binary list whose references take two bytes.
Bytes arrayOf(const std::vector<std::size_t>& references) {
  Bytes array = {0xaf, 0x11};
  appendNumber(array, references.size());
  for (const std::size_t reference : references) appendNumber(array, reference);
  return array;
}

// A binary list from its objects as they stand in the file.
Bytes binaryOf(const std::vector<Bytes>& objects) {
  Bytes file = bytesOf("bplist00");
  Bytes table;
  for (const Bytes& object : objects) {
    appendNumber(table, file.size());
    file.insert(file.end(), object.begin(), object.end());
  }
  const std::size_t start = file.size();
  file.insert(file.end(), table.begin(), table.end());
  appendNumber(file, 0x0202, 8);  // bytes of an entry in the table, and of a reference
  appendNumber(file, objects.size(), 8);
  appendNumber(file, 0, 8);  // the root is the first object
  appendNumber(file, start, 8);
  return file;
}

// A chain of arrays whose root refers to each hundredth of them, the innermost first: reading it
// never follows a long path, and yet the last ones are deep.
Bytes chainFromWithin() {
  std::vector<std::size_t> hundredths;
  std::vector<Bytes> objects = {{}, {0x09}};
  while (objects.size() <= 600) {
    objects.push_back(arrayOf({objects.size() - 1}));
    if (objects.size() % 100 == 0) hundredths.push_back(objects.size() - 1);
  }
  objects[0] = arrayOf(hundredths);
  return binaryOf(objects);
}

Bytes xml(const std::string& before, const std::string& inside) {
  return bytesOf(before + "<plist>" + inside + "</plist>");
}

std::string repeated(const std::string& text, std::size_t times) {
  std::string all;
  while (times-- > 0) all += text;
  return all;
}

Bytes nested(std::size_t levels, const std::string& open, const std::string& close) {
  std::string text;
  for (std::size_t i = 0; i < 2 * levels; ++i) text += i < levels ? open : close;
  return xml("", text);
}

TEST_F(PropertyList, readsWhatOthersWriteAndSaysWhyItRefuses) {
  const std::string levels = "nested more than 512 levels deep";
  const std::string large = "too large when its shared parts are copied";
  const std::string far = "a date that is not between 1933 and 2068";
  const std::string quote = "a quote that is not closed inside of <...>";
  const std::string many = "more than 100000 objects";
  const std::string none = "neither a binary nor an XML property list";
  // Each object an array that holds the next one twice: few objects, that unfold to 2^100.
  std::vector<Bytes> doublings;
  for (std::size_t i = 1; i <= 100; ++i) doublings.push_back(arrayOf({i, i}));
  doublings.push_back({0x09});
  Bytes longText = {0x5f, 0x11, 0xea, 0x60};
  longText.resize(longText.size() + 0xea60, 'a');
  const std::pair<Bytes, std::string> cases[] = {
      {binaryOf({{0x14, 0, 0, 0, 0, 0, 0, 0, 0, 255, 255, 255, 255, 255, 255, 255, 156}}), "-100"},
      {xml("\xEF\xBB\xBF\n", "<string>a<!-- <b> -->b<![CDATA[<c>]]></string>"), "ab<c>"},
      {xml("<!DOCTYPE plist PUBLIC \"-//A//B\" \"http://c\">", "<array/>"), "(\n)"},
      {{}, none},
      {bytesOf("{ a = b; }"), none},
      {bytesOf("bplist00"), "truncated"},
      {binaryOf({arrayOf({0})}), "an object that contains itself"},
      {binaryOf({{0xd1, 0, 1, 0, 1}, {0x09}}), "a key that is no string"},
      {binaryOf({{0xd1, 0, 1, 0, 1}, {0x62, 0, 'k', 0, 0}}), "a key with a null character"},
      {binaryOf({{0xaf, 0x13, 255, 255, 255, 255, 255, 255, 255, 255}}), "truncated"},
      {binaryOf({{0x6f, 0x10, 2, 0, 'a'}}), "truncated"},
      {binaryOf({{0x5f, 0x09}}), "a length that is no integer"},
      {binaryOf({arrayOf(std::vector<std::size_t>(1200, 1)), longText}), large},
      {binaryOf({{0x33, 0x7f, 0xf8, 0, 0, 0, 0, 0, 0}}), far},
      {binaryOf({{0x15}}), "an object of an unknown or damaged kind"},
      {binaryOf(doublings), many},
      {chainFromWithin(), levels},
      {nested(513, "<array>", "</array>"), levels},
      {nested(513, "<dict><key>k</key>", "</dict>"), levels},
      {nested(600, "<array><!-- </array> -->", "</array>"), levels},
      {nested(600, "<array><string><![CDATA[></array>]]></string>", "</array>"), levels},
      {nested(100'000, "<array >", ""), levels},
      {nested(600, "<array x=\">\">", ""), quote},
      {xml("<?x \"?>", "<array/>"), quote},
      {xml("<!-- \"--> \" -->", "<array/>"), quote},
      {xml("<!DOCTYPE plist [ <!ELEMENT array ANY> ]>", "<array/>"),
       "a document type with declarations of its own"},
      {xml("", "<string>" + repeated("&lt;", 100'001) + "</string>"),
       "more than 100000 character references"},
      {xml("", "<array>" + repeated("<true/>", 100'001) + "</array>"), many},
      {Bytes((4u << 20) + 1, 'b'), "larger than 4 MiB"},
      {xml("", "<array></dict>"), "not well-formed XML of a property list"},
      {xml("", "<array><!-- </array>"), "truncated"},
  };
  for (const auto& [bytes, expected] : cases) {
    std::string why;
    const auto read = parsePropertyList(bytes, &why);
    EXPECT_EQ(read ? describe(read.get()) : why, expected)
        << std::string(bytes.begin(), bytes.end()).substr(0, 100);
  }
}

// What unarchiving gives: the object's description, or the name of what it raises.
std::string outcome(std::span<const std::uint8_t> bytes) {
  try {
    return describe(own(header(unarchive(bytes))).get());
  } catch (const PlatformException& exception) {
    return exception.name();
  }
}

const std::string refusal = "NSInvalidUnarchiveOperationException";
using Changes = std::vector<std::pair<std::string, std::string>>;

// What an archive gives in which texts, where they first stand, are others.
std::string outcomeWith(const Changes& changes, id archived) {
  const Bytes bytes = inForm(PropertyListForm::xml, archive(archived));
  const std::regex between(">\\s+<");
  std::string xml = std::regex_replace(std::string(bytes.begin(), bytes.end()), between, "><");
  for (const auto& [text, other] : changes) xml.replace(xml.find(text), text.size(), other);
  return outcome(bytesOf(xml));
}

TEST_F(PropertyList, raisesForADamagedArchive) {
  const std::string items = "<key>NS.objects</key><array>" + uid;
  const std::string name = "<key>$classname</key><string>";
  const Changes changes = {
      {"<string>$null</string><dict>", "<string>$null</string><array/><dict>"},
      {"<key>root</key>" + uid, "<key>root</key>" + uid + "9999"},
      {"<key>$class</key>" + uid, "<key>$class</key>" + uid + "9999"},
      {"<key>$class</key>", "<key>elsewhere</key>"},
      {"<key>$classname</key>", "<key>elsewhere</key>"},
      {name, name + "NSNobody"},
      {"<key>NS.objects</key>", "<key>elsewhere</key>"},
      {items + "2<", items + "0<"},
      {items + "2<", items + "1<"},
      {items + "2<", items + "4294967298<"},
      {items + "2</integer></dict>", "<key>NS.objects</key><array><true/>"},
  };
  const auto sample = makeSample();
  for (const auto& change : changes) {
    EXPECT_EQ(outcomeWith({change}, sample.get()), refusal) << change.second;
  }
}

// Made of an archived list of two strings, of which the first is also the key of the second.
TEST_F(PropertyList, readsTheArchivedKindsThatAreNeverWritten) {
  const auto strings = own(makeArray());
  for (const char* text : {"key", "value"}) append(strings.get(), own(makeString(text)).get());
  const std::string list = "<key>NS.objects</key><array>";
  const auto reference = [](int index) {
    return uid + std::to_string(index) + "</integer></dict>";
  };
  const std::string both = list + reference(2) + reference(3) + "</array>";
  const std::string keys = "<key>NS.keys</key><array>" + reference(2) + "</array>";
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"NSDictionary", keys + list + reference(3) + "</array>", "{\n    key = value;\n}"},
      {"NSDictionary", keys + both, refusal},
      {"NSDate", "<key>NS.time</key><real>0</real>", "2001-01-01 00:00:00 +0000"},
      {"NSDate", "<key>NS.time</key><real>nan</real>", refusal},
      {"NSDate", both, refusal},
      {"NSMutableString", "<key>NS.string</key><string>old</string>", "old"},
  };
  for (const auto& [type, parts, expected] : cases) {
    const Changes changes = {
        {both, parts},
        {"<string>NSArray<", "<string>" + type + "<"},
        {"<key>$classname</key><string>NSArray<", "<key>$classname</key><string>" + type + "<"}};
    EXPECT_EQ(outcomeWith(changes, strings.get()), expected) << type << parts;
  }
}

Owned<Array> makeNested(int levels) {
  auto list = own(makeArray());
  if (levels > 1) append(list.get(), makeNested(levels - 1).get());
  return list;
}

TEST_F(PropertyList, nestsAsDeepAsThePlatformAllowsAndNoDeeper) {
  const auto deepest = makeNested(deepestPropertyList);
  const auto deeper = makeNested(deepestPropertyList + 1);
  for (const PropertyListForm form : forms) {
    EXPECT_TRUE(parsePropertyList(writePropertyList(deepest.get(), form)));
    EXPECT_THROW(writePropertyList(deeper.get(), form), PlatformException);
    EXPECT_EQ(outcome(inForm(form, archive(deepest.get()))), describe(deepest.get()));
  }
  EXPECT_THROW(archive(deeper.get()), PlatformException);
  const auto halves = own(makeArray());
  for (int i = 0; i < 2; ++i) append(halves.get(), makeNested(300).get());
  // The innermost list of the first half, which is empty, gets the second half.
  const Changes joined = {{"<array/>", "<array>" + uid + "303</integer></dict></array>"}};
  EXPECT_EQ(outcomeWith(joined, halves.get()), refusal);
}

// The fixture sees to it that nothing is left alive, whatever the bytes are.
TEST_F(PropertyList, survivesEveryTruncationAndEveryChangedByte) {
  const auto sample = makeSample();
  append(sample.get(), makeOverride({{std::chrono::hours(22), std::chrono::hours(7)}}).get());
  for (const PropertyListForm form : forms) {
    const Bytes whole = inForm(form, archive(sample.get()));
    // The last byte of the XML form is a line feed, which nobody misses.
    for (std::size_t i = 0; i + 1 < whole.size(); ++i) {
      EXPECT_EQ(outcome(std::span(whole).first(i)), "NSInvalidArgumentException") << i;
      for (const int flip : {0x01, 0x80}) {
        Bytes damaged = whole;
        damaged[i] = static_cast<std::uint8_t>(damaged[i] ^ flip);
        outcome(damaged);
      }
    }
  }
}

}  // namespace
}  // namespace simulator
