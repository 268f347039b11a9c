// Which of many numbers and addresses is the same as a sender: the comparison of the platform's own
// look-ups. Plain values, any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace simulator {

// What is left of a number when all but its ASCII digits are taken away.
std::string digitsOf(std::string_view number);

// An address, which holds an @, is compared without regard to case. Two numbers are the same when
// their digits are, or when both have at least seven and one ends with all the digits of the other;
// a number without digits is the same as no other.
class DestinationIndex {
 public:
  void add(std::string_view destination);

  // The position, from 0 in the order in which they were added, of the first that is the same as
  // this one.
  std::optional<std::size_t> find(std::string_view destinationId) const;

 private:
  struct Number {
    std::string digits;
    std::size_t position;
  };

  std::size_t size_ = 0;
  std::unordered_map<std::string, std::size_t> addresses_;        // in small letters
  std::unordered_map<std::string, std::vector<Number>> numbers_;  // by their last seven digits
};

}  // namespace simulator
