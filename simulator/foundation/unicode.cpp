#include "simulator/foundation/unicode.hpp"

#include <cstddef>
#include <cstdint>

namespace simulator {
namespace {

constexpr char32_t replacement = 0xFFFD;

bool isHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

struct Decoded {
  char32_t point;
  std::size_t bytes;  // 0: malformed
};

// The first character. Overlong forms, surrogates and what lies beyond U+10FFFF are malformed.
Decoded decodeFirst(std::string_view utf8) {
  const auto lead = static_cast<std::uint8_t>(utf8[0]);
  if (lead < 0x80) return {lead, 1};
  const std::size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC0 || lead >= 0xF8 || utf8.size() < bytes) return {0, 0};
  char32_t point = lead & (0x7Fu >> bytes);
  for (std::size_t i = 1; i < bytes; ++i) {
    const auto next = static_cast<std::uint8_t>(utf8[i]);
    if ((next & 0xC0) != 0x80) return {0, 0};
    point = point << 6 | (next & 0x3F);
  }
  constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = isHighSurrogate(point) || isLowSurrogate(point);
  if (point < smallest[bytes] || point > 0x10FFFF || surrogate) return {0, 0};
  return {point, bytes};
}

void appendUtf8(std::string& text, char32_t point) {
  const auto put = [&text](char32_t byte) { text.push_back(static_cast<char>(byte)); };
  if (point < 0x80) {
    put(point);
    return;
  }
  if (point < 0x800) {
    put(0xC0 | point >> 6);
  } else {
    if (point < 0x10000) {
      put(0xE0 | point >> 12);
    } else {
      put(0xF0 | point >> 18);
      put(0x80 | (point >> 12 & 0x3F));
    }
    put(0x80 | (point >> 6 & 0x3F));
  }
  put(0x80 | (point & 0x3F));
}

}  // namespace

Utf16 toUtf16(std::string_view utf8) {
  Utf16 result;
  while (!utf8.empty()) {
    auto [point, bytes] = decodeFirst(utf8);
    if (bytes == 0) {
      result.wellFormed = false;
      point = replacement;
      bytes = 1;
    }
    if (point < 0x10000) {
      result.units.push_back(static_cast<char16_t>(point));
    } else {
      result.units.push_back(static_cast<char16_t>(0xD7C0 + (point >> 10)));
      result.units.push_back(static_cast<char16_t>(0xDC00 | (point & 0x3FF)));
    }
    utf8.remove_prefix(bytes);
  }
  return result;
}

std::string utf8FromUtf16(std::u16string_view units) {
  std::string text;
  for (std::size_t i = 0; i < units.size(); ++i) {
    char32_t point = units[i];
    if (isHighSurrogate(point) && i + 1 < units.size() && isLowSurrogate(units[i + 1])) {
      point = 0x10000 + ((point - 0xD800) << 10) + (units[++i] - 0xDC00u);
    } else if (isHighSurrogate(point) || isLowSurrogate(point)) {
      point = replacement;
    }
    appendUtf8(text, point);
  }
  return text;
}

}  // namespace simulator
