#include <date/date.h>
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdarg>
#include <utility>

#include "simulator/context/clock.hpp"
#include "simulator/foundation/objects.hpp"

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
  if (as<String>(object) != nullptr) {
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
    entries.emplace_back(quoted(toUtf8(own(makeString(key)).get())), value.get());
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
  } else if (as<String>(object) != nullptr) {
    text += toUtf8(object);
  } else if (const auto* number = as<Number>(object)) {
    text += describeNumber(*number);
  } else if (const auto* array = as<Array>(object)) {
    describeArray(text, *array, depth);
  } else if (const auto* dictionary = as<Dictionary>(object)) {
    describeDictionary(text, *dictionary, depth);
  } else if (const auto* date = as<Date>(object)) {
    text += describeDate(*date);
  } else if (const auto* data = as<Data>(object)) {
    text += describeData(*data);
  } else if (const auto* uid = as<Uid>(object)) {
    text += fmt::format("<UID {}>", uid->value);
  } else {
    text += fmt::format("<{}: {}>", className(classOf(object)), static_cast<const void*>(object));
  }
}

}  // namespace

std::string describe(id object) {
  std::string text;
  describeInto(text, object, 0);
  return text;
}

std::string formatted(std::string_view format, va_list arguments) {
  std::string text;
  for (;;) {
    const std::size_t percent = format.find('%');
    text += format.substr(0, percent);
    if (percent == std::string_view::npos) return text;
    format.remove_prefix(percent + 1);
    if (format.starts_with('@')) {
      text += describe(va_arg(arguments, id));
    } else if (format.starts_with('d')) {
      text += std::to_string(va_arg(arguments, int));
    } else {
      throw PlatformException("NSInvalidArgumentException",
                              "unknown conversion in a format: %" + std::string(format));
    }
    format.remove_prefix(1);
  }
}

}  // namespace simulator
