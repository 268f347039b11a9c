#include "simulator/foundation/keyed_archive.hpp"

#include "tests/support/phone_test.hpp"

namespace simulator {
namespace {

// A class of the test's own, with an object and an integer.
struct Shelf : Object {
  Owned<Object> content;
  std::int64_t width = 0;
};

void encodeShelf(id object, KeyedCoder& coder) {
  const auto* shelf = static_cast<Shelf*>(header(object));
  coder.encodeObject("content", shelf->content.get());
  coder.encodeInteger("width", shelf->width);
}

Owned<Shelf> makeShelf(std::int64_t width, Owned<Object> content) {
  auto shelf = own(make<Shelf>(classNamed("Shelf")));
  shelf->width = width;
  shelf->content = std::move(content);
  return shelf;
}

id decodeShelf(KeyedCoder& coder) {
  return makeShelf(coder.decodeInteger("width"), coder.decodeObject("content")).release();
}

class KeyedArchive : public tests::PhoneTest {
 protected:
  KeyedArchive() {
    [[maybe_unused]] static const auto shelf = defineClass<Shelf>("Shelf", "NSObject");
    registerArchivable({"Shelf", &encodeShelf, &decodeShelf});
  }
};

// One of everything, and the list itself once more inside a shelf.
Owned<Array> sampleOf(const Owned<Object>& shared) {
  auto list = own(makeMutableArray());
  for (Object* const plain :
       std::initializer_list<Object*>{makeString("$null"), makeInteger(-100), makeBoolean(false),
                                      makeReal(0.5), makeData({1, 2, 3}), makeDate(-1.25)}) {
    append(list.get(), own(plain).get());
  }
  const auto entries = own(makeDictionary());
  store(entries.get(), own(makeString("key")).get(), shared.get());
  append(list.get(), entries.get());
  append(list.get(), makeShelf(-7, shared).get());
  append(list.get(), makeShelf(1, {}).get());
  return list;
}

TEST_F(KeyedArchive, givesBackEveryKindOfObjectAndSharesWhatWasShared) {
  const auto original = sampleOf(own<Object>(makeArray()));
  for (const PropertyListForm form : {PropertyListForm::binary, PropertyListForm::xml}) {
    const auto copy = own(header(unarchive(archive(original.get(), form))));
    const auto* list = as<Array>(copy.get(), "NSMutableArray");
    ASSERT_TRUE(list != nullptr && list->items.size() == original->items.size());
    for (std::size_t i = 0; i < 7; ++i) {
      EXPECT_TRUE(ObjectEqual()(list->items[i], original->items[i])) << describe(list->items[i]);
    }
    const auto* entries = as<Dictionary>(list->items[6], "NSDictionary");
    const auto* shelf = as<Shelf>(list->items[7], "Shelf");
    const auto* empty = as<Shelf>(list->items[8], "Shelf");
    ASSERT_TRUE(entries != nullptr && shelf != nullptr && empty != nullptr);
    EXPECT_EQ(shelf->width, -7);
    EXPECT_EQ(find(entries, "key"), shelf->content.get());
    EXPECT_FALSE(empty->content);
  }
}

// What unarchiving gives: the object's description, or the name of what it raises.
std::string outcome(std::span<const std::uint8_t> bytes) {
  try {
    const id object = unarchive(bytes);
    const auto owner = own(object);
    return describe(object);
  } catch (const PlatformException& exception) {
    return exception.name();
  }
}
std::string outcome(const std::string& text) {
  return outcome(std::vector<std::uint8_t>(text.begin(), text.end()));
}

std::string archiveWith(const std::string& objects, const std::string& root = "1") {
  const std::string start =
      "<plist><dict><key>$archiver</key><string>NSKeyedArchiver</string>"
      "<key>$version</key><integer>100000</integer><key>$top</key><dict><key>root</key>";
  return start + "<dict><key>CF$UID</key><integer>" + root +
         "</integer></dict></dict><key>$objects</key><array><string>$null</string>" + objects +
         "</array></dict></plist>";
}

std::string uid(const std::string& index) {
  return "<dict><key>CF$UID</key><integer>" + index + "</integer></dict>";
}

// An archived object: its class, by index, and the rest of its keys.
std::string entry(const std::string& type, const std::string& keys) {
  return "<dict><key>$class</key>" + uid(type) + keys + "</dict>";
}
std::string list(const std::string& key, const std::string& items) {
  return "<key>" + key + "</key><array>" + items + "</array>";
}
std::string type(const std::string& name) {
  return "<dict><key>$classname</key><string>" + name + "</string></dict>";
}

TEST_F(KeyedArchive, raisesForADamagedArchive) {
  EXPECT_EQ(outcome(archiveWith("<string>here</string>")), "here");
  EXPECT_EQ(outcome(archiveWith("", "0")), "(null)");
  EXPECT_EQ(outcome(archiveWith(entry("2", "<key>NS.string</key><string>old</string>") +
                                type("NSMutableString"))),
            "old");
  for (const char* const noArchive : {"", "<plist><array/></plist>", "<plist><dict/></plist>"}) {
    EXPECT_EQ(outcome(noArchive), "NSInvalidArgumentException") << noArchive;
  }
  for (const std::string& objects :
       {std::string(), std::string("<array/>"), std::string("<dict/>"), entry("1", ""),
        entry("9", ""), entry("2", "") + type("NSNobody"), entry("2", "") + type("NSArray"),
        entry("2", list("NS.objects", uid("1"))) + type("NSArray"),
        entry("2", list("NS.objects", uid("0"))) + type("NSArray"),
        entry("2", list("NS.objects", uid("4294967297"))) + type("NSArray"),
        entry("2", list("NS.objects", "<true/>")) + type("NSArray"),
        entry("2", list("NS.keys", uid("3")) + list("NS.objects", "")) + type("NSDictionary") +
            "<string>key</string>",
        entry("2", "<key>NS.time</key><real>nan</real>") + type("NSDate"),
        entry("2", "") + type("NSDate"), entry("2", "") + type("NSString"),
        entry("2", "<key>width</key><string>wide</string>") + type("Shelf")}) {
    EXPECT_EQ(outcome(archiveWith(objects)), "NSInvalidUnarchiveOperationException") << objects;
  }
}

TEST_F(KeyedArchive, boundsTheDepthInBothDirections) {
  const auto nested = [](int levels) {
    auto shelf = makeShelf(0, {});
    for (int i = 1; i < levels; ++i) shelf = makeShelf(i, share<Object>(shelf.get()));
    return shelf;
  };
  const auto deepest = archive(nested(512).get(), PropertyListForm::binary);
  EXPECT_TRUE(outcome(deepest).starts_with("<Shelf"));
  EXPECT_THROW(archive(nested(513).get(), PropertyListForm::binary), PlatformException);
  std::string chain = type("Shelf");
  for (int i = 3; i < 700; ++i) chain += entry("1", "<key>content</key>" + uid(std::to_string(i)));
  EXPECT_EQ(outcome(archiveWith(chain, "2")), "NSInvalidUnarchiveOperationException");
}

// The fixture sees to it that nothing is left alive, whatever the bytes are.
TEST_F(KeyedArchive, survivesEveryTruncationAndEveryChangedByte) {
  for (const PropertyListForm form : {PropertyListForm::binary, PropertyListForm::xml}) {
    const auto whole = archive(sampleOf(own<Object>(makeArray())).get(), form);
    // The last byte of the XML form is a line feed, which nobody misses.
    for (std::size_t length = 0; length + 1 < whole.size(); ++length) {
      EXPECT_EQ(outcome(std::span(whole).first(length)), "NSInvalidArgumentException") << length;
    }
    for (std::size_t i = 0; i < whole.size(); ++i) {
      for (const int flip : {0x01, 0x80}) {
        auto changed = whole;
        changed[i] = static_cast<std::uint8_t>(changed[i] ^ flip);
        outcome(changed);
      }
    }
  }
}

TEST_F(KeyedArchive, answersItsMessages) {
  const AutoreleasePool pool;
  const id unarchiver = classNamed("NSKeyedUnarchiver");
  const id data = simulator::message<id, id>(
      classNamed("NSKeyedArchiver"), "archivedDataWithRootObject:", own(makeString("kept")).get());
  EXPECT_EQ(toUtf8(simulator::message(unarchiver, "unarchiveObjectWithData:", data)), "kept");
  EXPECT_EQ(simulator::message(unarchiver, "unarchiveObjectWithData:", id{}), nullptr);
}

}  // namespace
}  // namespace simulator
