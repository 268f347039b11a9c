// A set of UTF-16 code units.
#pragma once

#include <bitset>
#include <string>

#include "simulator/runtime/object.hpp"

namespace simulator {

struct CharacterSet : Object {
  std::bitset<128> ascii;  // of the units below 128, the listed ones
  std::u16string others;   // the listed units from 128 on, sorted
  bool inverted = false;   // holds every unit but the listed ones

  bool contains(char16_t unit) const;
};

}  // namespace simulator
