#include "simulator/foundation/keyed_archive.hpp"

#include <cmath>
#include <initializer_list>
#include <map>
#include <optional>
#include <utility>

#include "simulator/context/faults.hpp"

namespace simulator {
namespace {

constexpr std::int64_t formatVersion = 100000;
constexpr const char* archiverName = "NSKeyedArchiver";

// Deeper object graphs than any that a phone archives are refused, since both directions recurse.
constexpr int deepestGraph = 512;

[[noreturn]] void damaged(const std::string& what) {
  throw PlatformException("NSInvalidUnarchiveOperationException",
                          "*** -[NSKeyedUnarchiver decodeObjectForKey:]: " + what);
}

[[noreturn]] void misused(const std::string& what) {
  throw PlatformException("NSInvalidArgumentException", what);
}

std::map<std::string, ArchivableClass, std::less<>>& archivableClasses() {
  static std::map<std::string, ArchivableClass, std::less<>> classes;
  return classes;
}

// Strings, numbers and data stand among the objects as they are.
bool isPlain(id object) {
  return as<String>(object) != nullptr || as<Number>(object) != nullptr ||
         as<Data>(object) != nullptr;
}

void put(Dictionary* entry, const char* key, Object* value) {
  const auto owner = own(value);
  store(entry, key, value);
}

// ---- Archiving ---------------------------------------------------------------------------------

class Encoder final : public KeyedCoder {
 public:
  Owned<Dictionary> archiveOf(id root) {
    append(objects_.get(), own(makeString("$null")).get());
    auto top = own(makeDictionary());
    put(top.get(), "root", makeUid(add(root)));
    auto whole = own(makeDictionary());
    put(whole.get(), "$archiver", makeString(archiverName));
    put(whole.get(), "$version", makeInteger(formatVersion));
    put(whole.get(), "$top", top.release());
    put(whole.get(), "$objects", objects_.release());
    return whole;
  }

  void encodeObject(const char* key, id value) override { put(entry_, key, makeUid(add(value))); }
  void encodeInteger(const char* key, std::int64_t value) override {
    put(entry_, key, makeInteger(value));
  }
  Owned<Object> decodeObject(const char*) override { misused("an archiver does not decode"); }
  std::int64_t decodeInteger(const char*) override { misused("an archiver does not decode"); }

 private:
  std::uint64_t append(id object) {
    simulator::append(objects_.get(), object);
    return objects_->items.size() - 1;
  }
  static void append(Array* list, id object) { simulator::append(list, object); }

  // The object's index; its own parts follow it, so that each object is archived once.
  std::uint64_t add(id object) {
    if (object == nullptr) return 0;
    if (const auto known = indices_.find(object); known != indices_.end()) return known->second;
    encoded_.push_back(share(header(object)));
    if (isPlain(object)) return indices_[object] = append(object);
    if (++depth_ > deepestGraph) misused("an object graph too deep to archive");
    const auto entry = own(makeDictionary());
    const std::uint64_t index = indices_[object] = append(entry.get());
    Dictionary* const outer = std::exchange(entry_, entry.get());
    encodeParts(object);
    entry_ = outer;
    --depth_;
    return index;
  }

  void encodeParts(id object) {
    if (const auto* array = as<Array>(object)) {
      encodeList("NS.objects", array->items);
      encodeClass("NSArray");
    } else {
      const std::string name(className(classOf(object)));
      const auto type = archivableClasses().find(name);
      if (type == archivableClasses().end()) {
        misused("-[" + name + " encodeWithCoder:]: unrecognized selector sent to instance");
      }
      type->second.encode(object, *this);
      encodeClass(name);
    }
  }

  void encodeList(const char* key, const std::vector<id>& items) {
    auto list = own(makeArray());
    for (const id item : items) append(list.get(), own(makeUid(add(item))).get());
    put(entry_, key, list.release());
  }

  void encodeClass(const std::string& name) {
    std::uint64_t& index = classes_[name];
    if (index == 0) {
      auto chain = own(makeArray());
      append(chain.get(), own(makeString(name)).get());
      append(chain.get(), own(makeString("NSObject")).get());
      const auto entry = own(makeDictionary());
      put(entry.get(), "$classname", makeString(name));
      put(entry.get(), "$classes", chain.release());
      index = append(entry.get());
    }
    put(entry_, "$class", makeUid(index));
  }

  Owned<Array> objects_ = own(makeArray());
  Dictionary* entry_ = nullptr;  // of the object whose keys are being written
  int depth_ = 0;
  std::vector<Owned<Object>> encoded_;  // kept, so that no address stands for two objects
  std::map<id, std::uint64_t> indices_;
  std::map<std::string, std::uint64_t> classes_;
};

// ---- Unarchiving -------------------------------------------------------------------------------

class Decoder final : public KeyedCoder {
 public:
  explicit Decoder(const Array& objects) : archived_(objects.items), slots_(archived_.size()) {}

  Owned<Object> objectAt(id reference) {
    const auto* uid = as<Uid>(reference);
    if (uid == nullptr) damaged("a value that is no reference to an object");
    if (uid->value == 0) return {};
    if (uid->value >= slots_.size()) damaged("a reference to an object that is not there");
    Slot& slot = slots_[uid->value];
    if (slot.state == State::decoding) damaged("an object that contains itself");
    if (slot.state == State::archived) {
      slot.state = State::decoding;
      slot.object = decode(archived_[uid->value]);
      slot.state = State::decoded;
    }
    return slot.object;
  }

  Owned<Object> decodeObject(const char* key) override {
    const id reference = find(entry_, key);
    return reference == nullptr ? Owned<Object>() : objectAt(reference);
  }
  std::int64_t decodeInteger(const char* key) override {
    const id value = find(entry_, key);
    if (value == nullptr) return 0;
    const auto* number = as<Number>(value);
    if (number == nullptr || number->kind == Number::Kind::real) {
      damaged(std::string("the value for ") + key + " is no integer");
    }
    return number->integer;
  }
  void encodeObject(const char*, id) override { misused("an unarchiver does not encode"); }
  void encodeInteger(const char*, std::int64_t) override {
    misused("an unarchiver does not encode");
  }

 private:
  enum class State : std::uint8_t { archived, decoding, decoded };
  struct Slot {
    Owned<Object> object;
    State state = State::archived;
  };

  Owned<Object> decode(id archived) {
    if (isPlain(archived)) return share(header(archived));
    const auto* entry = as<Dictionary>(archived);
    if (entry == nullptr) damaged("an object that is no dictionary of keys");
    if (++depth_ > deepestGraph) damaged("objects nested too deeply");
    const Dictionary* const outer = std::exchange(entry_, entry);
    auto object = decodeAs(classNameOf(*entry));
    entry_ = outer;
    --depth_;
    return object;
  }

  std::string classNameOf(const Dictionary& entry) const {
    const auto* uid = as<Uid>(find(&entry, "$class"));
    if (uid == nullptr || uid->value >= archived_.size()) damaged("an object without a class");
    const auto* type = as<Dictionary>(archived_[uid->value]);
    const id name = type == nullptr ? nullptr : find(type, "$classname");
    if (as<String>(name) == nullptr) damaged("a class without a name");
    return toUtf8(name);
  }

  Owned<Object> decodeAs(const std::string& name) {
    if (name == "NSArray" || name == "NSMutableArray") return decodeArray();
    if (name == "NSDictionary" || name == "NSMutableDictionary") return decodeDictionary();
    if (name == "NSDate") return decodeDate();
    if (name == "NSString" || name == "NSMutableString") return plainPart("NS.string");
    if (name == "NSData" || name == "NSMutableData") return plainPart("NS.data");
    const auto type = archivableClasses().find(name);
    if (type == archivableClasses().end()) damaged("cannot decode object of class (" + name + ")");
    const id object = type->second.decode(*this);
    return object == nullptr ? Owned<Object>() : own(header(object));
  }

  std::vector<Owned<Object>> decodeList(const char* key) {
    const auto* references = as<Array>(find(entry_, key));
    if (references == nullptr) damaged(std::string("no list under ") + key);
    std::vector<Owned<Object>> objects;
    for (const id reference : references->items) {
      objects.push_back(objectAt(reference));
      if (!objects.back()) damaged(std::string("nothing in the list under ") + key);
    }
    return objects;
  }

  Owned<Object> decodeArray() {
    auto array = own(makeArray());
    for (const auto& item : decodeList("NS.objects")) append(array.get(), item.get());
    return own<Object>(array.release());
  }

  Owned<Object> decodeDictionary() {
    auto dictionary = own(makeDictionary());
    const auto keys = decodeList("NS.keys");
    const auto values = decodeList("NS.objects");
    if (keys.size() != values.size()) damaged("a dictionary with more keys than values, or fewer");
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const auto* key = as<String>(keys[i].get());
      if (key == nullptr) damaged("a dictionary with a key that is no string");
      dictionary->entries.insert_or_assign(key->units, values[i]);
    }
    return own<Object>(dictionary.release());
  }

  Owned<Object> decodeDate() {
    const auto* number = as<Number>(find(entry_, "NS.time"));
    if (number == nullptr) damaged("a date without a time");
    const bool isReal = number->kind == Number::Kind::real;
    const double seconds = isReal ? number->real : static_cast<double>(number->integer);
    if (!std::isfinite(seconds)) damaged("a date that is no moment");
    return own<Object>(makeDate(seconds));
  }

  Owned<Object> plainPart(const char* key) {
    const id part = find(entry_, key);
    if (!isPlain(part)) damaged(std::string("no content under ") + key);
    return share(header(part));
  }

  const std::vector<id>& archived_;
  std::vector<Slot> slots_;
  const Dictionary* entry_ = nullptr;  // of the object whose keys are being read
  int depth_ = 0;
};

// Where the archive keeps its objects and its root, once it is known to be one.
struct Archive {
  const Array* objects = nullptr;
  id root = nullptr;  // a reference; null when the archive has none
};

std::optional<Archive> archiveIn(id list) {
  const auto* whole = as<Dictionary>(list);
  if (whole == nullptr) return std::nullopt;
  const auto* version = as<Number>(find(whole, "$version"));
  const auto* top = as<Dictionary>(find(whole, "$top"));
  const auto* objects = as<Array>(find(whole, "$objects"));
  if (version == nullptr || version->integer != formatVersion || top == nullptr ||
      objects == nullptr || toUtf8(find(whole, "$archiver")) != archiverName) {
    return std::nullopt;
  }
  return Archive{objects, find(top, "root")};
}

id unarchiveObjectWithData(Class, SEL, id data) {
  if (failsNow(Fault::unarchiveObjectWithData)) damaged("it was told to fail");
  if (data == nullptr) return nullptr;
  const auto* bytes = as<Data>(data);
  if (bytes == nullptr) {
    misused("-[" + std::string(className(classOf(data))) +
            " bytes]: unrecognized selector sent to instance");
  }
  return objc_autorelease(unarchive(bytes->bytes));
}

}  // namespace

void registerArchivable(ArchivableClass type) {
  std::string name = type.name;
  archivableClasses().insert_or_assign(std::move(name), std::move(type));
}

std::vector<std::uint8_t> archive(id root) {
  return writePropertyList(Encoder().archiveOf(root).get(), PropertyListForm::binary);
}

id unarchive(std::span<const std::uint8_t> bytes) {
  std::string why = "not an archive";
  const Owned<Object> list = parsePropertyList(bytes, &why);
  const auto found = archiveIn(list.get());
  if (!found) {
    misused("*** -[NSKeyedUnarchiver initForReadingWithData:]: incomprehensible archive: " + why);
  }
  if (found->root == nullptr) return nullptr;
  return Decoder(*found->objects).objectAt(found->root).release();
}

void defineKeyedArchive() {
  defineClass<Object>("NSKeyedUnarchiver")
      .classMethod("unarchiveObjectWithData:", &unarchiveObjectWithData);
}

}  // namespace simulator
