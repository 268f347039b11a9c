// Hands each file of the given folder to the target. The last name printed is the one at fault.

#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

#include "tests/fuzz/target.hpp"

int main(int, char** arguments) {
  int replayed = 0;
  for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
    std::cout << entry.path().string() << std::endl;
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++replayed;
  }
  std::cout << replayed << " inputs replayed\n";
  return replayed > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
