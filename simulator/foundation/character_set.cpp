#include "simulator/foundation/character_set.hpp"

#include <algorithm>

#include "simulator/foundation/string_class.hpp"
#include "simulator/runtime/classes.hpp"

namespace simulator {
namespace {

id setWithCharacters(Class self, SEL, id characters) {
  const String* string = asString(characters);
  if (string == nullptr) {
    throw PlatformException("NSInvalidArgumentException",
                            "+[NSCharacterSet characterSetWithCharactersInString:]: nil argument");
  }
  auto* set = make<CharacterSet>(self);
  for (std::size_t i = 0; i < string->length(); ++i) {
    const char16_t unit = string->at(i);
    if (unit < set->ascii.size()) {
      set->ascii.set(unit);
    } else {
      set->others.push_back(unit);
    }
  }
  std::sort(set->others.begin(), set->others.end());
  return objc_autorelease(set);
}

id invertedSet(CharacterSet* self, SEL) {
  auto* set = make<CharacterSet>(self->isa);
  set->ascii = self->ascii;
  set->others = self->others;
  set->inverted = !self->inverted;
  return objc_autorelease(set);
}

}  // namespace

bool CharacterSet::contains(char16_t unit) const {
  const bool listed =
      unit < ascii.size() ? ascii[unit] : std::binary_search(others.begin(), others.end(), unit);
  return listed != inverted;
}

void defineCharacterSet() {
  defineClass<CharacterSet>("NSCharacterSet", "NSObject")
      .classMethod("characterSetWithCharactersInString:", &setWithCharacters)
      .method("invertedSet", &invertedSet);
}

}  // namespace simulator
