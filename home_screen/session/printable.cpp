#include <fmt/format.h>
#include <utf8.h>

#include <algorithm>
#include <iterator>

#include "home_screen/session/notation.hpp"

namespace home_screen {
namespace {

struct Range {
  char32_t first;
  char32_t last;
};

// What shows nothing of itself but changes how other text shows: Unicode's general categories Cc,
// Cf, Zl and Zp (https://www.unicode.org/Public/15.0.0/ucd/extracted/DerivedGeneralCategory.txt).
constexpr Range invisible[] = {
    {0x0, 0x1f},        {0x7f, 0x9f},       {0xad, 0xad},       {0x600, 0x605},
    {0x61c, 0x61c},     {0x6dd, 0x6dd},     {0x70f, 0x70f},     {0x890, 0x891},
    {0x8e2, 0x8e2},     {0x180e, 0x180e},   {0x200b, 0x200f},   {0x2028, 0x202e},
    {0x2060, 0x2064},   {0x2066, 0x206f},   {0xfeff, 0xfeff},   {0xfff9, 0xfffb},
    {0x110bd, 0x110bd}, {0x110cd, 0x110cd}, {0x13430, 0x1343f}, {0x1bca0, 0x1bca3},
    {0x1d173, 0x1d17a}, {0xe0001, 0xe0001}, {0xe0020, 0xe007f},
};

bool isInvisible(char32_t character) {
  const auto* const range = std::ranges::lower_bound(invisible, character, {}, &Range::last);
  return range != std::end(invisible) && character >= range->first;
}

std::string escaped(char32_t character) {
  constexpr std::u32string_view named = U"\t\r\n";
  const std::size_t name = named.find(character);
  if (name != std::u32string_view::npos) return {'\\', "trn"[name]};
  const auto value = static_cast<std::uint32_t>(character);
  return value < 0x80      ? fmt::format("\\x{:02x}", value)
         : value < 0x10000 ? fmt::format("\\u{:04x}", value)
                           : fmt::format("\\U{:08x}", value);
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  for (auto at = text.begin(); at != text.end();) {
    const auto start = at;
    try {
      const char32_t character = utf8::next(at, text.end());
      isInvisible(character) ? result += escaped(character) : result.append(start, at);
    } catch (const utf8::exception&) {
      at = std::next(start);
      result += fmt::format("\\x{:02x}", static_cast<unsigned char>(*start));
    }
  }
  return result;
}

}  // namespace home_screen
