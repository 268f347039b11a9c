// A library as this desk's compilers build it, mapped by the system's own loader.
#include <dlfcn.h>
#include <link.h>

#include <stdexcept>

#include "simulator/loader/image.hpp"

namespace simulator {
namespace {

struct Search {
  ElfW(Addr) base;
  std::vector<std::span<void* const>> found;
};

int lookAtModule(dl_phdr_info* module, std::size_t, void* context) {
  auto& search = *static_cast<Search*>(context);
  if (module->dlpi_addr != search.base) return 0;
  for (const ElfW(Phdr) & segment : std::span(module->dlpi_phdr, module->dlpi_phnum)) {
    if (segment.p_type != PT_LOAD || (segment.p_flags & PF_W) == 0) continue;
    search.found.emplace_back(reinterpret_cast<void* const*>(module->dlpi_addr + segment.p_vaddr),
                              segment.p_memsz / sizeof(void*));
  }
  return 1;
}

class ElfImage final : public Image {
 public:
  explicit ElfImage(const std::filesystem::path& file)
      : handle_(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) throw std::runtime_error(dlerror());
  }
  ~ElfImage() override { dlclose(handle_); }

  void* address(const std::string& name) const override { return dlsym(handle_, name.c_str()); }

  std::vector<std::span<void* const>> variables() const override {
    link_map* map = nullptr;
    if (dlinfo(handle_, RTLD_DI_LINKMAP, &map) != 0) return {};
    Search search{map->l_addr, {}};
    dl_iterate_phdr(&lookAtModule, &search);
    return search.found;
  }

 private:
  void* handle_;
};

}  // namespace

// The system's loader looks for a bare name elsewhere than in this folder.
std::unique_ptr<Image> loadElf(const std::filesystem::path& file) {
  return std::make_unique<ElfImage>(std::filesystem::absolute(file));
}

}  // namespace simulator
