#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdarg>
#include <utility>

#include "simulator/clock.hpp"
#include "simulator/foundation/objects.hpp"
#include "simulator/foundation/string_class.hpp"

namespace simulator {
namespace {

// ---- Descriptions ------------------------------------------------------------------------------

void describeInto(std::string& text, id object, std::size_t depth);

std::string indentation(std::size_t depth) { return std::string(4 * depth, ' '); }

// Inside a collection only ASCII letters and digits stand without quotes.
std::string quoted(const std::string& utf8) {
  const bool plain = !utf8.empty() && std::all_of(utf8.begin(), utf8.end(), [](unsigned char c) {
    return c < 0x80 && std::isalnum(c) != 0;
  });
  if (plain) return utf8;
  std::string text = "\"";
  for (const char c : utf8) {
    if (c == '"' || c == '\\') text += '\\';
    if (c == '\n') {
      text += "\\n";
    } else {
      text += c;
    }
  }
  return text + '"';
}

std::string describeNumber(const Number& number) {
  if (number.kind != Number::Kind::real) return std::to_string(number.integer);
  return std::isnan(number.real) ? "nan" : fmt::format("{:.16g}", number.real);
}

std::string describeData(const Data& data) {
  std::string text = "<";
  for (std::size_t i = 0; i < data.bytes.size(); ++i) {
    if (i > 0 && i % 4 == 0) text += ' ';
    text += fmt::format("{:02x}", data.bytes[i]);
  }
  return text + ">";
}

std::string describeDate(const Date& date) {
  return date::format("%F %T +0000", Clock::fromReferenceDate(date.sinceReferenceDate));
}

// An element of a collection.
void describeElement(std::string& text, id object, std::size_t depth) {
  if (asString(object) != nullptr) {
    text += quoted(toUtf8(object));
  } else {
    describeInto(text, object, depth);
  }
}

void describeArray(std::string& text, const Array& array, std::size_t depth) {
  text += "(\n";
  for (std::size_t i = 0; i < array.items.size(); ++i) {
    text += indentation(depth + 1);
    describeElement(text, array.items[i], depth + 1);
    text += i + 1 < array.items.size() ? ",\n" : "\n";
  }
  text += indentation(depth) + ")";
}

// In the order of the keys' descriptions, so that the same dictionary always reads the same.
void describeDictionary(std::string& text, const Dictionary& dictionary, std::size_t depth) {
  std::vector<std::pair<std::string, id>> entries;
  for (const auto& [key, value] : dictionary.entries) {
    std::string name;
    describeElement(name, key, depth + 1);
    entries.emplace_back(std::move(name), value);
  }
  std::sort(entries.begin(), entries.end());
  text += "{\n";
  for (const auto& [name, value] : entries) {
    text += indentation(depth + 1) + name + " = ";
    describeElement(text, value, depth + 1);
    text += ";\n";
  }
  text += indentation(depth) + "}";
}

void describeInto(std::string& text, id object, std::size_t depth) {
  if (object == nullptr) {
    text += "(null)";
  } else if (asString(object) != nullptr) {
    text += toUtf8(object);
  } else if (const auto* number = as<Number>(object, "NSNumber")) {
    text += describeNumber(*number);
  } else if (const auto* array = as<Array>(object, "NSArray")) {
    describeArray(text, *array, depth);
  } else if (const auto* dictionary = as<Dictionary>(object, "NSDictionary")) {
    describeDictionary(text, *dictionary, depth);
  } else if (const auto* date = as<Date>(object, "NSDate")) {
    text += describeDate(*date);
  } else if (const auto* data = as<Data>(object, "NSData")) {
    text += describeData(*data);
  } else if (const auto* uid = as<Uid>(object, "NSKeyedArchiverUID")) {
    text += fmt::format("<UID {}>", uid->value);
  } else {
    const AutoreleasePool pool;
    text += toUtf8(message(object, "description"));
  }
}

// ---- Formats -----------------------------------------------------------------------------------

// The arguments of a variadic call. A type of its own, since a va_list can't be handed on to a
// function that takes from it and then be used again.
struct Arguments {
  explicit Arguments(va_list source) { va_copy(list, source); }
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;
  ~Arguments() { va_end(list); }

  va_list list;
};

// The conversion at the start of what follows a percent sign, in order of the table below.
std::string_view conversionOf(std::string_view text) {
  static constexpr std::string_view conversions[] = {"@", "d", "i", "u",  "x",  "c",   "s",
                                                     "f", "g", "%", "ld", "lu", "lld", "llu"};
  for (const std::string_view conversion : conversions) {
    if (text.substr(0, conversion.size()) == conversion) return conversion;
  }
  throw PlatformException("NSInvalidArgumentException",
                          "unknown conversion in a format: %" + std::string(text));
}

std::string convert(std::string_view conversion, Arguments& arguments) {
  va_list& list = arguments.list;
  if (conversion == "@") return describe(va_arg(list, id));
  if (conversion == "d" || conversion == "i") return std::to_string(va_arg(list, int));
  if (conversion == "u") return std::to_string(va_arg(list, unsigned));
  if (conversion == "x") return fmt::format("{:x}", va_arg(list, unsigned));
  if (conversion == "ld") return std::to_string(va_arg(list, long));
  if (conversion == "lu") return std::to_string(va_arg(list, unsigned long));
  if (conversion == "lld") return std::to_string(va_arg(list, long long));
  if (conversion == "llu") return std::to_string(va_arg(list, unsigned long long));
  if (conversion == "f") return fmt::format("{:f}", va_arg(list, double));
  if (conversion == "g") return fmt::format("{:g}", va_arg(list, double));
  if (conversion == "c") return {static_cast<char>(va_arg(list, int))};
  if (conversion == "%") return "%";
  const char* text = va_arg(list, const char*);
  return text == nullptr ? "(null)" : text;
}

}  // namespace

std::string describe(id object) {
  std::string text;
  describeInto(text, object, 0);
  return text;
}

std::string formatted(std::string_view format, va_list arguments) {
  Arguments remaining(arguments);
  std::string text;
  for (;;) {
    const std::size_t percent = format.find('%');
    text += format.substr(0, percent);
    if (percent == std::string_view::npos) return text;
    const std::string_view conversion = conversionOf(format.substr(percent + 1));
    text += convert(conversion, remaining);
    format.remove_prefix(percent + 1 + conversion.size());
  }
}

}  // namespace simulator
