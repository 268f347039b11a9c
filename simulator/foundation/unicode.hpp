// Between UTF-8 and UTF-16. Never raises.
#pragma once

#include <string>
#include <string_view>

namespace simulator {

struct Utf16 {
  std::u16string units;
  bool wellFormed = true;  // false when malformed bytes were replaced by U+FFFD
};

Utf16 toUtf16(std::string_view utf8);

std::string utf8FromUtf16(std::u16string_view units);  // lone surrogates become U+FFFD

}  // namespace simulator
