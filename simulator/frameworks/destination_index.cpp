#include "simulator/frameworks/destination_index.hpp"

#include <algorithm>
#include <utility>

namespace simulator {
namespace {

constexpr std::size_t shortestTail = 7;

std::string lowered(std::string_view text) {
  std::string result(text);
  for (char& unit : result) {
    if (unit >= 'A' && unit <= 'Z') unit = static_cast<char>(unit - 'A' + 'a');
  }
  return result;
}

bool isAddress(std::string_view text) { return text.find('@') != std::string_view::npos; }

// Of two numbers with one tail.
bool sameDigits(std::string_view left, std::string_view right) {
  return left.ends_with(right) || right.ends_with(left);
}

// Two numbers that are the same have the same one. The whole of a shorter number, which is the same
// as its equals alone.
std::string tailOf(const std::string& digits) {
  return digits.substr(digits.size() - std::min(digits.size(), shortestTail));
}

}  // namespace

std::string digitsOf(std::string_view number) {
  std::string digits;
  std::copy_if(number.begin(), number.end(), std::back_inserter(digits),
               [](char letter) { return letter >= '0' && letter <= '9'; });
  return digits;
}

void DestinationIndex::add(std::string_view destination) {
  const std::size_t position = size_++;
  if (isAddress(destination)) {
    addresses_.emplace(lowered(destination), position);
    return;
  }
  std::string digits = digitsOf(destination);
  if (digits.empty()) return;
  std::vector<Number>& alike = numbers_[tailOf(digits)];
  const auto same = [&](const Number& number) { return number.digits == digits; };
  if (std::ranges::none_of(alike, same)) alike.push_back({std::move(digits), position});
}

std::optional<std::size_t> DestinationIndex::find(std::string_view destinationId) const {
  if (isAddress(destinationId)) {
    const auto found = addresses_.find(lowered(destinationId));
    return found == addresses_.end() ? std::nullopt : std::optional(found->second);
  }
  const std::string digits = digitsOf(destinationId);
  const auto alike = numbers_.find(tailOf(digits));
  if (alike == numbers_.end()) return std::nullopt;
  for (const Number& number : alike->second) {
    if (sameDigits(number.digits, digits)) return number.position;
  }
  return std::nullopt;
}

}  // namespace simulator
