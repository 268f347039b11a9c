#include "simulator/loader/loaded_library.hpp"

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "simulator/frameworks/dispatch.hpp"
#include "simulator/frameworks/notification_center.hpp"
#include "simulator/runtime/object.hpp"

namespace simulator {
namespace {

using namespace std::literals;

std::unique_ptr<Image> load(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  const int problem = errno;
  char first[4] = {};
  stream.read(first, sizeof first);
  const std::string_view magic(first, sizeof first);
  if (magic == "\177ELF"sv) return loadElf(file);
  if (magic == "\xcf\xfa\xed\xfe"sv) return loadMachO(file);
  const std::string what =
      stream.is_open() ? "no library" : std::generic_category().message(problem);
  throw std::runtime_error(file.string() + ": " + what +
                           "; expected the library as an ELF or a 64-bit Mach-O file");
}

// As a leak checker would find it: every word that is the address of a live object, one entry each.
// Looks at raw memory on purpose, the address sanitizer's guards between the variables included.
__attribute__((no_sanitize("address"))) std::vector<id> objectsHeldBy(const Image& image) {
  std::vector<id> held;
  for (const auto words : image.variables()) {
    const auto* const end = words.data() + words.size();
    for (const auto* word = words.data(); word != end; ++word) {
      if (isLiveObject(*word)) held.push_back(static_cast<id>(*word));
    }
  }
  return held;
}

}  // namespace

LoadedLibrary::LoadedLibrary(const std::filesystem::path& file, Host host)
    : host_(host), image_(load(file)) {}

LoadedLibrary::~LoadedLibrary() {
  DispatchQueue::current().drain();
  if (host_ == Host::homeScreen) {
    restoreRuntime();
    NotificationCenter::current().removeAll();
  }
  for (const id object : objectsHeldBy(*image_)) objc_release(object);
}

void* LoadedLibrary::address(const std::string& name) const {
  void* const found = image_->address(name);
  if (found == nullptr) throw std::runtime_error("the library exports no " + name);
  return found;
}

}  // namespace simulator
