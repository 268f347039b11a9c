// NSObject: what every object answers to.
#include <fmt/format.h>

#include <functional>

#include "simulator/foundation/objects.hpp"
#include "simulator/runtime/classes.hpp"

namespace simulator {

void defineObject() {
  defineClass<Object>("NSObject", nullptr)
      .classMethod(
          "description",
          +[](Class self, SEL) { return objc_autorelease(makeString(className(self))); })
      .method(
          "init", +[](id self, SEL) { return self; })
      .method(
          "isEqual:", +[](id self, SEL, id other) -> BOOL { return self == other; })
      .method(
          "hash", +[](id self, SEL) -> NSUInteger { return std::hash<id>()(self); })
      .method(
          "description", +[](id self, SEL) {
            const std::string_view name = className(object_getClass(self));
            return objc_autorelease(
                makeString(fmt::format("<{}: {}>", name, static_cast<const void*>(self))));
          });
}

}  // namespace simulator
