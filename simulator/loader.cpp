#include "simulator/loader.hpp"

#include <dlfcn.h>
#include <link.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "simulator/device.hpp"
#include "simulator/runtime/object.hpp"

namespace simulator {

namespace {

struct Segments {
  ElfW(Addr) base;
  std::vector<id> held;  // one entry for each variable that holds a live object
};

// Looks at raw memory on purpose, the address sanitizer's guards between the variables included.
__attribute__((no_sanitize("address"))) void collectHeld(const dl_phdr_info& module,
                                                         const ElfW(Phdr) & segment,
                                                         std::vector<id>& held) {
  const auto* word = reinterpret_cast<void* const*>(module.dlpi_addr + segment.p_vaddr);
  const auto* const end = word + segment.p_memsz / sizeof(void*);
  for (; word < end; ++word) {
    if (isLiveObject(*word)) held.push_back(static_cast<id>(*word));
  }
}

int collectFromModule(dl_phdr_info* module, std::size_t, void* context) {
  auto& segments = *static_cast<Segments*>(context);
  if (module->dlpi_addr != segments.base) return 0;
  for (int i = 0; i < module->dlpi_phnum; ++i) {
    const ElfW(Phdr)& segment = module->dlpi_phdr[i];
    if (segment.p_type == PT_LOAD && (segment.p_flags & PF_W) != 0) {
      collectHeld(*module, segment, segments.held);
    }
  }
  return 1;
}

// What the library's own variables own, as a leak checker would find it: every word of its
// writable memory that is the address of a live object.
std::vector<id> objectsHeldBy(void* handle) {
  link_map* map = nullptr;
  if (dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0) return {};
  Segments segments{map->l_addr, {}};
  dl_iterate_phdr(&collectFromModule, &segments);
  return segments.held;
}

}  // namespace

LoadedLibrary::LoadedLibrary(const std::filesystem::path& file)
    : handle_(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (handle_ == nullptr) throw std::runtime_error(dlerror());
}

LoadedLibrary::~LoadedLibrary() {
  Device& device = Device::current();
  device.queue.drain();
  restoreRuntime();
  device.notifications.removeAll();
  for (const id object : objectsHeldBy(handle_)) objc_release(object);
  dlclose(handle_);
}

void* LoadedLibrary::address(const std::string& name) const {
  void* const found = dlsym(handle_, name.c_str());
  if (found == nullptr) throw std::runtime_error("the library exports no " + name);
  return found;
}

}  // namespace simulator
