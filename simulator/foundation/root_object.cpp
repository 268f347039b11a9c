// NSObject: what every object answers to.
#include <fmt/format.h>

#include <functional>

#include "simulator/foundation/objects.hpp"
#include "simulator/runtime/classes.hpp"

namespace simulator {

void defineObject() {
  defineClass<Object>("NSObject", nullptr)
      .classMethod(
          "class", +[](Class self, SEL) { return self; })
      .classMethod(
          "description",
          +[](Class self, SEL) { return objc_autorelease(makeString(className(self))); })
      .method(
          "init", +[](id self, SEL) { return self; })
      .method(
          "class", +[](id self, SEL) { return object_getClass(self); })
      .method(
          "isEqual:", +[](id self, SEL, id other) -> BOOL { return self == other; })
      .method(
          "hash", +[](id self, SEL) -> NSUInteger { return std::hash<id>()(self); })
      .method(
          "isKindOfClass:", +[](id self, SEL, Class type) -> BOOL { return isKindOf(self, type); })
      .method(
          "respondsToSelector:",
          +[](id self, SEL, SEL selector) -> BOOL {
            return class_respondsToSelector(object_getClass(self), selector);
          })
      .method(
          "description", +[](id self, SEL) {
            const std::string_view name = className(object_getClass(self));
            return objc_autorelease(
                makeString(fmt::format("<{}: {}>", name, static_cast<const void*>(self))));
          });
}

}  // namespace simulator
