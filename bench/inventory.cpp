// What the library keeps alive, and what grows from reload to reload, as lines of words.
#include <fmt/format.h>
#include <malloc.h>

#include <map>
#include <string>
#include <string_view>

#include "bench/phone.hpp"

namespace {

using namespace bench;
using Counts = std::map<std::string, std::int64_t>;

Counts grownSince(const Counts& before) {
  Counts grown = simulator::liveObjectsByClass();
  for (const auto& [type, count] : before) grown[type] -= count;
  std::erase_if(grown, [](const auto& entry) { return entry.second == 0; });
  return grown;
}

void print(std::string_view kind, const Counts& counts) {
  for (const auto& [name, count] : counts) fmt::print("{} {} {}\n", kind, count, name);
}

// The process keeps what it made once for ever, so another load has gone before.
void listLiveObjects(std::size_t members) {
  Phone phone(members);
  phone.load();
  phone.unload();
  const Counts before = simulator::liveObjectsByClass();
  phone.load();
  print("live", grownSince(before));
  phone.unload();
}

std::int64_t bytesInUse() { return static_cast<std::int64_t>(mallinfo2().uordblks); }

void watchReloads(std::size_t members, int reloads) {
  Phone phone(members);
  phone.load();
  for (int i = 0; i < 100; ++i) phone.reload();  // until every buffer has its size
  phone.settle();
  const Counts before = simulator::liveObjectsByClass();
  const std::int64_t bytesBefore = bytesInUse();
  for (int i = 0; i < reloads; ++i) phone.reload();
  phone.settle();
  fmt::print("grown-bytes {}\n", bytesInUse() - bytesBefore);
  print("grown", grownSince(before));
  phone.unload();
}

}  // namespace

int main() {
  simulator::keepZombies(true);  // while they are, every object counts, constant numbers too
  listLiveObjects(10'000);
  simulator::keepZombies(false);
  simulator::forgetZombies();
  watchReloads(10, 10'000);
}
