// libplist reads and writes both forms. What it is given to read is looked through before, since it
// builds and frees its trees by recursion: binary objects refer to each other by number, so hostile
// bytes can ask for circles, for endless depth, or for a few shared objects that unfold to
// millions. The layout of the binary form is what the comment at the head of CFBinaryPList.c
// describes.
#include "simulator/foundation/property_list.hpp"

#include <plist/plist.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace simulator {
namespace {

using Bytes = std::span<const std::uint8_t>;

// A list may hold so many objects, shared ones counted at each place where they stand.
constexpr std::uint64_t mostObjects = 100'000;

// The bytes are no property list that can be used, and why. Never leaves this file.
struct Malformed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

const std::string tooDeep =
    "nested more than " + std::to_string(deepestPropertyList) + " levels deep";
const std::string tooLarge = "larger than " + std::to_string(largestPropertyList >> 20) + " MiB";
const std::string tooMany = "more than " + std::to_string(mostObjects) + " objects";

Owned<Object> owned(Object* object) { return own(object); }

// ---- Looking through the binary form -----------------------------------------------------------

// Throws Malformed unless the tree of objects is one that can safely be built.
class BinaryCheck {
 public:
  explicit BinaryCheck(Bytes bytes) : bytes_(bytes) {}

  void check() {
    constexpr std::size_t headerSize = 8;
    constexpr std::size_t trailerSize = 32;
    if (bytes_.size() < headerSize + trailerSize) throw Malformed("truncated");
    const std::size_t trailer = bytes_.size() - trailerSize;
    offsetSize_ = bytes_[trailer + 6];
    referenceSize_ = bytes_[trailer + 7];
    const std::uint64_t count = number(trailer + 8, 8);
    const std::uint64_t root = number(trailer + 16, 8);
    table_ = number(trailer + 24, 8);
    if (offsetSize_ < 1 || offsetSize_ > 8 || referenceSize_ < 1 || referenceSize_ > 8 ||
        table_ > trailer || count > (trailer - table_) / offsetSize_) {
      throw Malformed("its table of objects does not fit in the file");
    }
    if (count > mostObjects) throw Malformed(tooMany);
    slots_.resize(count);
    visit(root, 1);
  }

 private:
  // The kinds of objects that have a length.
  static constexpr unsigned data = 0x4;
  static constexpr unsigned text = 0x5;
  static constexpr unsigned wideText = 0x6;
  static constexpr unsigned array = 0xa;
  static constexpr unsigned dictionary = 0xd;

  enum class State : std::uint8_t { unvisited, visiting, visited };
  struct Slot {
    // In it, itself included, shared ones counted each time: libplist copies them.
    std::uint64_t objects = 1;
    std::uint64_t bytes = 0;  // of texts and data
    int height = 1;           // levels from here down
    bool isKey = false;
    State state = State::unvisited;
  };

  // Big-endian, the last 8 bytes of longer ones.
  std::uint64_t number(std::uint64_t offset, std::uint64_t size) const {
    std::uint64_t value = 0;
    for (std::uint64_t i = 0; i < size; ++i) value = value << 8 | bytes_[offset + i];
    return value;
  }

  // `count` items of `size` bytes at the cursor, which moves past them.
  std::uint64_t take(std::uint64_t& cursor, std::uint64_t count, std::uint64_t size) const {
    if (cursor > table_ || count > (table_ - cursor) / size) throw Malformed("truncated");
    return std::exchange(cursor, cursor + count * size);
  }

  std::uint64_t length(std::uint64_t& cursor, unsigned low) const {
    if (low < 15) return low;
    const unsigned marker = bytes_[take(cursor, 1, 1)];
    const unsigned sizePower = marker & 0x0f;
    if (marker >> 4 != 0x1 || sizePower > 3) throw Malformed("a length that is no integer");
    const std::uint64_t size = 1u << sizePower;
    return number(take(cursor, 1, size), size);
  }

  const Slot& visit(std::uint64_t index, int depth) {
    if (index >= slots_.size()) throw Malformed("a reference to an object that is not there");
    Slot& slot = slots_[index];
    if (slot.state == State::visiting) throw Malformed("an object that contains itself");
    if (slot.state == State::visited) return slot;
    if (depth > deepestPropertyList) throw Malformed(tooDeep);
    slot.state = State::visiting;
    visitContent(number(table_ + index * offsetSize_, offsetSize_), slot, depth);
    slot.state = State::visited;
    return slot;
  }

  void visitContent(std::uint64_t cursor, Slot& slot, int depth) {
    const unsigned marker = bytes_[take(cursor, 1, 1)];
    const unsigned kind = marker >> 4;
    const bool isContainer = kind == array || kind == dictionary;
    if (!isContainer && (kind < data || kind > wideText)) return;
    const std::uint64_t count = length(cursor, marker & 0x0f);
    if (!isContainer) {
      const std::uint64_t unit = kind == wideText ? 2 : 1;
      take(cursor, count, unit);
      slot.bytes = count * unit;
      return;
    }
    if (kind == dictionary) visitAll(cursor, count, slot, depth, true);
    visitAll(cursor, count, slot, depth, false);
  }

  void visitAll(std::uint64_t& cursor, std::uint64_t count, Slot& slot, int depth, bool areKeys) {
    const std::uint64_t references = take(cursor, count, referenceSize_);
    for (std::uint64_t i = 0; i < count; ++i) {
      const std::uint64_t index = number(references + i * referenceSize_, referenceSize_);
      const Slot& child = visit(index, depth + 1);
      if (areKeys) checkKey(index);
      slot.height = std::max(slot.height, child.height + 1);
      slot.objects += child.objects;
      slot.bytes += child.bytes;
      if (slot.height > deepestPropertyList) throw Malformed(tooDeep);
      if (slot.objects > mostObjects) throw Malformed(tooMany);
      if (slot.bytes > largestPropertyList)
        throw Malformed("too large when its shared parts are copied");
    }
  }

  // A null character in a key makes libplist stop the process.
  void checkKey(std::uint64_t index) {
    if (std::exchange(slots_[index].isKey, true)) return;
    std::uint64_t cursor = number(table_ + index * offsetSize_, offsetSize_);
    const unsigned marker = bytes_[take(cursor, 1, 1)];
    const unsigned kind = marker >> 4;
    if (kind != text && kind != wideText) throw Malformed("a key that is no string");
    const std::uint64_t unit = kind == wideText ? 2 : 1;
    const std::uint64_t count = length(cursor, marker & 0x0f);
    const std::uint64_t units = take(cursor, count, unit);
    for (std::uint64_t i = 0; i < count; ++i) {
      if (number(units + i * unit, unit) == 0) throw Malformed("a key with a null character");
    }
  }

  Bytes bytes_;
  std::uint64_t table_ = 0;  // where the objects end
  std::uint64_t offsetSize_ = 0;
  std::uint64_t referenceSize_ = 0;
  std::vector<Slot> slots_;
};

// ---- Looking through the XML form --------------------------------------------------------------

// Keeps out what libplist could take for more levels than are counted here, instead of following it
// everywhere. It looks for the end of some things outside of double quotes, of others anywhere: so
// the quotes before an end must be even in number, and then both ways give the same end.
class XmlCheck {
 public:
  explicit XmlCheck(std::string_view text) : text_(text) {}

  void check() {
    if (std::count(text_.begin(), text_.end(), '&') > mostEntities) {
      throw Malformed("more than " + std::to_string(mostEntities) + " character references");
    }
    while ((at_ = text_.find('<', at_)) != std::string_view::npos) {
      const std::string_view rest = text_.substr(at_);
      if (rest.starts_with("<?")) {
        skipTo("?>");
      } else if (rest.starts_with("<!--")) {
        skipTo("-->");
      } else if (rest.starts_with("<![CDATA[")) {
        skipTo("]]>");
      } else if (rest.starts_with("<!")) {
        if (skipTo(">").find('[') != std::string_view::npos) {
          throw Malformed("a document type with declarations of its own");
        }
      } else {
        count(skipTo(">"));
      }
    }
  }

 private:
  // libplist moves the rest of a text for each of them.
  static constexpr std::ptrdiff_t mostEntities = 100'000;

  // What stands between the < here and the end. The cursor moves behind that.
  std::string_view skipTo(std::string_view end) {
    const std::size_t found = text_.find(end, at_ + 1);
    if (found == std::string_view::npos) throw Malformed("truncated");
    const std::string_view between = text_.substr(at_ + 1, found - at_ - 1);
    if (std::count(between.begin(), between.end(), '"') % 2 != 0) {
      throw Malformed("a quote that is not closed inside of <...>");
    }
    at_ = found + end.size();
    return between;
  }

  // A tag, which may open a level or close one.
  void count(std::string_view tag) {
    const bool closes = tag.starts_with('/');
    if (closes) tag.remove_prefix(1);
    if (!closes && ++objects_ > mostObjects) throw Malformed(tooMany);
    const std::string_view name = tag.substr(0, tag.find_first_of(" \t\r\n/"));
    if ((name != "dict" && name != "array") || (!closes && tag.ends_with('/'))) return;
    depth_ = std::max(0, depth_ + (closes ? -1 : 1));
    if (depth_ > deepestPropertyList) throw Malformed(tooDeep);
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::uint64_t objects_ = 0;
  int depth_ = 0;
};

// ---- Reading -----------------------------------------------------------------------------------

struct FreeNode {
  void operator()(plist_t node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, FreeNode>;

Owned<Object> fromNode(plist_t node);

Owned<Object> fromArray(plist_t node) {
  auto result = own(makeArray());
  plist_array_iter place = nullptr;
  plist_array_new_iter(node, &place);
  const std::unique_ptr<void, decltype(&std::free)> owner(place, &std::free);
  plist_t item = nullptr;
  for (plist_array_next_item(node, place, &item); item != nullptr;
       plist_array_next_item(node, place, &item)) {
    append(result.get(), fromNode(item).get());
  }
  return owned(result.release());
}

// XML has no type for a UID; a dictionary with this one key stands for it.
constexpr const char* uidKey = "CF$UID";

Owned<Object> fromDictionary(plist_t node) {
  const plist_t index =
      plist_dict_get_size(node) == 1 ? plist_dict_get_item(node, uidKey) : nullptr;
  if (index != nullptr && plist_get_node_type(index) == PLIST_UINT) {
    std::uint64_t value = 0;
    plist_get_uint_val(index, &value);
    return owned(makeUid(value));
  }
  auto result = own(makeDictionary());
  plist_dict_iter place = nullptr;
  plist_dict_new_iter(node, &place);
  const std::unique_ptr<void, decltype(&std::free)> owner(place, &std::free);
  while (true) {
    char* name = nullptr;
    plist_t value = nullptr;
    plist_dict_next_item(node, place, &name, &value);
    const std::unique_ptr<char, decltype(&std::free)> nameOwner(name, &std::free);
    if (name == nullptr || value == nullptr) return owned(result.release());
    store(result.get(), name, fromNode(value).get());
  }
}

Owned<Object> fromDate(plist_t node) {
  std::int32_t seconds = 0;
  std::int32_t microseconds = 0;
  plist_get_date_val(node, &seconds, &microseconds);
  constexpr std::int32_t outOfRange = std::numeric_limits<std::int32_t>::min();
  if (seconds == outOfRange) throw Malformed("a date that is not between 1933 and 2068");
  // The fraction comes without a sign and cut short, so whole seconds are all that can be trusted.
  return owned(makeDate(seconds < 0 && microseconds > 0 ? seconds - 1.0 : seconds));
}

Owned<Object> fromNode(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t value = 0;
      plist_get_bool_val(node, &value);
      return owned(makeBoolean(value != 0));
    }
    case PLIST_UINT: {
      std::uint64_t value = 0;  // a negative one comes as its two's complement
      plist_get_uint_val(node, &value);
      return owned(makeInteger(static_cast<std::int64_t>(value)));
    }
    case PLIST_REAL: {
      double value = 0;
      plist_get_real_val(node, &value);
      return owned(makeReal(value));
    }
    case PLIST_STRING: {
      std::uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      return owned(makeString({text, length}));
    }
    case PLIST_DATA: {
      std::uint64_t length = 0;
      const char* raw = plist_get_data_ptr(node, &length);
      return owned(makeData({raw, raw + length}));
    }
    case PLIST_DATE:
      return fromDate(node);
    case PLIST_UID: {
      std::uint64_t value = 0;
      plist_get_uid_val(node, &value);
      return owned(makeUid(value));
    }
    case PLIST_ARRAY:
      return fromArray(node);
    case PLIST_DICT:
      return fromDictionary(node);
    default:
      throw Malformed("an object of an unknown kind");
  }
}

Owned<Object> readXml(std::string_view text) {
  XmlCheck(text).check();
  if (text.find("</plist>") == std::string_view::npos) throw Malformed("truncated");
  plist_t tree = nullptr;
  plist_from_xml(text.data(), static_cast<std::uint32_t>(text.size()), &tree);
  const Node root(tree);
  if (root == nullptr) throw Malformed("not well-formed XML of a property list");
  return fromNode(root.get());
}

Owned<Object> readBinary(Bytes bytes) {
  BinaryCheck(bytes).check();
  plist_t tree = nullptr;
  plist_from_bin(reinterpret_cast<const char*>(bytes.data()),
                 static_cast<std::uint32_t>(bytes.size()), &tree);
  const Node root(tree);
  if (root == nullptr) throw Malformed("an object of an unknown or damaged kind");
  return fromNode(root.get());
}

Owned<Object> readEither(Bytes bytes) {
  if (bytes.size() > largestPropertyList) throw Malformed(tooLarge);
  std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (text.starts_with("bplist0")) return readBinary(bytes);
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  if (start == std::string_view::npos || text[start] != '<') {
    throw Malformed("neither a binary nor an XML property list");
  }
  return readXml(text);
}

// ---- Writing -----------------------------------------------------------------------------------

[[noreturn]] void refuseToWrite(const std::string& reason) {
  throw PlatformException("NSInvalidArgumentException", "property list: " + reason);
}

class NodeBuilder {
 public:
  explicit NodeBuilder(PropertyListForm form) : form_(form) {}

  Node build(id object, int depth = 1) {
    if (depth > deepestPropertyList) refuseToWrite(tooDeep);
    if (++built_ > mostObjects) refuseToWrite(tooMany);
    if (as<String>(object)) return Node(plist_new_string(plainText(object).c_str()));
    if (const auto* number = as<Number>(object)) return Node(fromNumber(*number));
    if (const auto* data = as<Data>(object)) return Node(fromData(*data));
    if (const auto* date = as<Date>(object)) return Node(fromMoment(*date));
    if (const auto* uid = as<Uid>(object)) return Node(plist_new_uid(uid->value));
    if (const auto* array = as<Array>(object)) return list(*array, depth);
    if (const auto* entries = as<Dictionary>(object)) return map(*entries, depth);
    refuseToWrite("an object of a class that can't be in one: " +
                  (object == nullptr ? "(null)" : std::string(className(classOf(object)))));
  }

 private:
  static std::string plainText(id string) {
    std::string utf8 = toUtf8(string);
    if (utf8.find('\0') != std::string::npos) refuseToWrite("a string with a null character");
    return utf8;
  }

  static plist_t fromNumber(const Number& number) {
    if (number.kind == Number::Kind::boolean) return plist_new_bool(number.integer != 0 ? 1 : 0);
    if (number.kind == Number::Kind::real) return plist_new_real(number.real);
    return plist_new_uint(static_cast<std::uint64_t>(number.integer));
  }

  static plist_t fromData(const Data& data) {
    static constexpr std::uint8_t nothing = 0;
    const std::uint8_t* raw = data.bytes.empty() ? &nothing : data.bytes.data();
    return plist_new_data(reinterpret_cast<const char*>(raw), data.bytes.size());
  }

  // XML holds whole seconds; libplist would cut a moment before 2001 up to the next one.
  plist_t fromMoment(const Date& date) const {
    const double seconds = std::floor(date.sinceReferenceDate);
    if (!(std::abs(seconds) < std::numeric_limits<std::int32_t>::max())) {
      refuseToWrite("a date that is not between 1933 and 2068");
    }
    const double fraction = form_ == PropertyListForm::xml ? 0 : date.sinceReferenceDate - seconds;
    return plist_new_date(static_cast<std::int32_t>(seconds),
                          static_cast<std::int32_t>(fraction * 1e6));
  }

  Node list(const Array& array, int depth) {
    Node result(plist_new_array());
    for (const id item : array.items) {
      plist_array_append_item(result.get(), build(item, depth + 1).release());
    }
    return result;
  }

  Node map(const Dictionary& entries, int depth) {
    Node result(plist_new_dict());
    for (const auto& [key, value] : entries.entries) {
      const std::string name = plainText(own(makeString(key)).get());
      plist_dict_set_item(result.get(), name.c_str(), build(value.get(), depth + 1).release());
    }
    return result;
  }

  PropertyListForm form_;
  std::uint64_t built_ = 0;
};

[[noreturn]] void cannot(const char* action, const std::filesystem::path& file) {
  throw std::system_error(errno, std::generic_category(), action + (" " + file.string()));
}

}  // namespace

Owned<Object> parsePropertyList(std::span<const std::uint8_t> bytes, std::string* why) {
  try {
    return readEither(bytes);
  } catch (const Malformed& problem) {
    if (why != nullptr) *why = problem.what();
    return {};
  }
}

Owned<Object> readPropertyList(const std::filesystem::path& file, std::string* why) {
  std::error_code problem;
  const auto status = std::filesystem::status(file, problem);
  const auto refused = [why](const std::string& reason) {
    if (why != nullptr) *why = reason;
    return Owned<Object>();
  };
  if (!std::filesystem::exists(status)) return refused("no such file");
  // Opening a pipe would wait for ever.
  if (!std::filesystem::is_regular_file(status)) return refused("not a file that can be read");
  const std::uintmax_t size = std::filesystem::file_size(file, problem);
  if (problem) return refused(problem.message());
  if (size > largestPropertyList) return refused(tooLarge);
  std::vector<std::uint8_t> bytes(size);
  std::ifstream in(file, std::ios::binary);
  in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (in.bad() || !(in || in.eof())) return refused("not a file that can be read");
  bytes.resize(static_cast<std::size_t>(in.gcount()));
  return parsePropertyList(bytes, why);
}

std::vector<std::uint8_t> writePropertyList(id root, PropertyListForm form) {
  const Node tree = NodeBuilder(form).build(root);
  char* raw = nullptr;
  std::uint32_t length = 0;
  if (form == PropertyListForm::binary) {
    plist_to_bin(tree.get(), &raw, &length);
  } else {
    plist_to_xml(tree.get(), &raw, &length);
  }
  const std::unique_ptr<char, decltype(&std::free)> owner(raw, &std::free);
  if (raw == nullptr) throw std::bad_alloc();
  if (length > largestPropertyList) refuseToWrite(tooLarge);
  return {raw, raw + length};
}

void savePropertyList(const std::filesystem::path& file, id root, PropertyListForm form) {
  const std::vector<std::uint8_t> bytes = writePropertyList(root, form);
  std::filesystem::create_directories(file.parent_path());
  std::filesystem::path fresh = file;
  fresh += ".new";
  std::ofstream out(fresh, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) cannot("can't write", fresh);
  std::filesystem::rename(fresh, file);
}

}  // namespace simulator
