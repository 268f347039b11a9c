// The library's number matcher against a calculation of a few lines, for any ID, any list and any
// number of digits. The first four bytes are that number; then come lines of UTF-16 units, the ID
// first: a byte below 128 is a unit, any other is the upper half of one.

#include <algorithm>
#include <cstring>

#include "simulator/foundation/objects.hpp"
#include "tests/fuzz/target.hpp"

namespace {

using namespace simulator;
using Units = std::u16string;

std::vector<Units> linesOf(fuzz::Bytes bytes) {
  std::vector<Units> lines(1);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const unsigned byte = bytes[i];
    if (byte == '\n') {
      lines.emplace_back();
    } else if (byte < 128 || i + 1 == bytes.size()) {
      lines.back() += static_cast<char16_t>(byte);
    } else {
      lines.back() += static_cast<char16_t>(byte << 8 | bytes[++i]);
    }
  }
  return lines;
}

bool expected(std::int32_t digits, const Units& id, const std::vector<Units>& numbers) {
  const bool whole = digits < 0 || id.size() < static_cast<std::size_t>(digits);
  const Units tail = whole ? id : id.substr(id.size() - static_cast<std::size_t>(digits));
  return !tail.empty() && std::any_of(numbers.begin(), numbers.end(),
                                      [&](const Units& number) { return number.ends_with(tail); });
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto& phone = fuzz::PhoneWithLibrary::the();
  std::int32_t digits = 0;
  if (size < sizeof digits) return 0;
  std::memcpy(&digits, data, sizeof digits);
  const std::vector<Units> lines = linesOf({data + sizeof digits, size - sizeof digits});
  const Units& sender = lines.front();
  const std::vector<Units> numbers(lines.begin() + 1, lines.end());

  phone.library.value<std::int64_t>("maxNumOfDigitsToCompare") = digits;
  id& published = phone.library.value<id>("privilegedMessageSenderPhones");
  const auto matches = phone.library.function<bool(id)>("phoneNumberBelongsToPrivilegedPerson");
  for (const bool logging : {false, true}) {
    phone.library.value<bool>("enableDebugLogging") = logging;
    phone.device.log.take();
    const AutoreleasePool pool;
    const auto list = own(makeArray());
    for (const Units& number : numbers) append(list.get(), own(makeString(number)).get());
    published = list.get();
    const bool answer = matches(own(makeString(sender)).get());
    published = nullptr;
    fuzz::require(answer == expected(digits, sender, numbers), "the answer is the calculated one");
    const auto logged = phone.device.log.take();
    fuzz::require(logged.size() == (logging ? 2 : 0), "two lines are logged, or none");
    fuzz::require(!logging || logged[1].starts_with(answer ? "HL:\tfound" : "HL:\tdid not find"),
                  "the log says the same as the answer");
  }
  return 0;
}
