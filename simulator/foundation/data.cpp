// NSData, and the UIDs of keyed archives.
#include <functional>
#include <string_view>

#include "simulator/foundation/objects.hpp"
#include "simulator/runtime/classes.hpp"

namespace simulator {
namespace {

BOOL isEqual(Data* self, SEL, id other) {
  const auto* data = as<Data>(other, "NSData");
  return data != nullptr && data->bytes == self->bytes;
}

NSUInteger hash(Data* self, SEL) {
  return std::hash<std::string_view>()(
      {reinterpret_cast<const char*>(self->bytes.data()), self->bytes.size()});
}

id description(id self, SEL) { return objc_autorelease(makeString(describe(self))); }

}  // namespace

Data* makeData(std::vector<std::uint8_t> bytes) {
  auto* data = make<Data>(classNamed("NSData"));
  data->bytes = std::move(bytes);
  return data;
}

Uid* makeUid(std::uint64_t value) {
  auto* uid = make<Uid>(classNamed("NSKeyedArchiverUID"));
  uid->value = value;
  return uid;
}

void defineData() {
  defineClass<Data>("NSData", "NSObject")
      .method(
          "length", +[](Data* self, SEL) -> NSUInteger { return self->bytes.size(); })
      .method(
          "bytes", +[](Data* self, SEL) -> const void* { return self->bytes.data(); })
      .method("isEqual:", &isEqual)
      .method("hash", &hash)
      .method("description", &description);

  defineClass<Uid>("NSKeyedArchiverUID", "NSObject")
      .method(
          "isEqual:",
          +[](Uid* self, SEL, id other) -> BOOL {
            const auto* uid = as<Uid>(other, "NSKeyedArchiverUID");
            return uid != nullptr && uid->value == self->value;
          })
      .method(
          "hash", +[](Uid* self, SEL) -> NSUInteger { return self->value; })
      .method("description", &description);
}

}  // namespace simulator
