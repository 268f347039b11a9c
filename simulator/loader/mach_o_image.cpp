// A Mach-O library for this process's kind of processor. The calling convention is the same, but
// for variadic functions on arm64. Just what the linker makes of the product is understood;
// anything else is an error.
//
// Layouts and numbers: <mach-o/loader.h> and <mach-o/nlist.h>, as published in
// https://github.com/apple-oss-distributions/xnu/tree/main/EXTERNAL_HEADERS/mach-o
#include <dlfcn.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>

#include "simulator/loader/image.hpp"

namespace simulator {
namespace {

constexpr std::uint32_t magic64 = 0xFEEDFACF;
#ifdef __aarch64__
constexpr std::uint32_t processor = 0x0100000C;
#else
constexpr std::uint32_t processor = 0x01000007;
#endif
constexpr std::uint32_t dynamicLibrary = 6;
constexpr std::uint32_t segmentCommand = 0x19;
constexpr std::uint32_t loaderInfoCommand = 0x80000022;
constexpr unsigned char initializerPointers = 0x9;
constexpr std::uint64_t headerSize = 32;
constexpr std::uint64_t segmentSize = 72;
constexpr std::uint64_t sectionSize = 80;
constexpr std::uint64_t pageSize = 4096;

// Nothing is bound lazily here, so the phone's binder never runs.
void lazyBinder() { std::abort(); }

void* symbolOfThisProcess(std::string_view name) {
  if (name == "dyld_stub_binder") return reinterpret_cast<void*>(&lazyBinder);
  return name.starts_with('_') ? dlsym(RTLD_DEFAULT, std::string(name.substr(1)).c_str()) : nullptr;
}

class MachOImage final : public Image {
 public:
  explicit MachOImage(const std::filesystem::path& file) : file_(file.string()) {
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(stream), {});
    data_.resize(bytes.size());
    std::memcpy(data_.data(), bytes.data(), bytes.size());

    readCommands();
    map();
    rebase();
    bind(info_.bind, info_.bindSize);
    bind(info_.lazyBind, info_.lazyBindSize);
    if (info_.weakBindSize != 0) refuse("has weak bindings");
    protect();
    runInitializers();
  }

  ~MachOImage() override { munmap(base_, size_); }

  std::vector<std::span<void* const>> variables() const override {
    constexpr int writable = 2;
    std::vector<std::span<void* const>> found;
    for (const Segment& segment : segments_) {
      if ((segment.protection & writable) == 0) continue;
      found.emplace_back(reinterpret_cast<void* const*>(base_ + segment.address),
                         segment.size / sizeof(void*));
    }
    return found;
  }

  // The exported names form a trie: each edge adds some characters.
  void* address(const std::string& name) const override {
    const std::string wanted = "_" + name;
    std::string_view rest = wanted;
    std::uint64_t offset = info_.exports;
    while (true) {
      std::uint64_t terminalSize = readUleb(offset);
      if (rest.empty()) {
        if (terminalSize == 0) return nullptr;
        if (readUleb(offset) != 0) refuse("exports " + wanted + " in a special way");
        return base_ + readUleb(offset);
      }
      offset += terminalSize;
      auto children = read<std::uint8_t>(offset++);
      bool found = false;
      for (; children > 0 && !found; --children) {
        const std::string_view edge = text(offset);
        offset += edge.size() + 1;
        const std::uint64_t child = readUleb(offset);
        found = rest.starts_with(edge);
        if (!found) continue;
        rest.remove_prefix(edge.size());
        offset = info_.exports + child;
      }
      if (!found) return nullptr;
    }
  }

 private:
  struct Segment {
    std::string_view name;
    std::uint64_t address, size, fileOffset, fileSize;
    int protection;
  };
  struct Section {
    std::uint64_t address, size;
    unsigned char type;
  };
  // Where the loader's instructions lie in the file.
  struct LoaderInfo {
    std::uint32_t rebase, rebaseSize, bind, bindSize, weakBind, weakBindSize;
    std::uint32_t lazyBind, lazyBindSize, exports, exportsSize;
  };

  void runInitializers() const {
    for (const Section& section : sections_) {
      if (section.type != initializerPointers) continue;
      const auto* const first = reinterpret_cast<void (**)()>(base_ + section.address);
      std::for_each(first, first + section.size / sizeof *first, [](auto* run) { run(); });
    }
  }

  template <class T>
  T read(std::uint64_t offset) const {
    if (offset > data_.size() || data_.size() - offset < sizeof(T)) refuse("is cut short");
    T value;
    std::memcpy(&value, data_.data() + offset, sizeof value);
    return value;
  }

  std::string_view text(std::uint64_t offset) const {
    const auto from = data_.begin() + static_cast<std::ptrdiff_t>(std::min(offset, data_.size()));
    const auto to = std::find(from, data_.end(), std::byte{0});
    if (to == data_.end()) refuse("is cut short");
    return {reinterpret_cast<const char*>(&*from), static_cast<std::size_t>(to - from)};
  }

  std::uint64_t readUleb(std::uint64_t& offset) const {
    std::uint64_t value = 0;
    for (unsigned shift = 0; shift < 64; shift += 7) {
      const auto byte = read<std::uint8_t>(offset++);
      value |= static_cast<std::uint64_t>(byte & 0x7F) << shift;
      if ((byte & 0x80) == 0) return value;
    }
    refuse("holds a number of more than 64 bits");
  }

  [[noreturn]] void refuse(const std::string& why) const {
    throw std::runtime_error(file_ + ": " + why);
  }

  void readCommands() {
    if (read<std::uint32_t>(0) != magic64 || read<std::uint32_t>(4) != processor ||
        read<std::uint32_t>(12) != dynamicLibrary) {
      refuse("is no Mach-O library for this processor");
    }
    std::uint64_t offset = headerSize;
    for (auto left = read<std::uint32_t>(16); left > 0; --left) {
      const auto command = read<std::uint32_t>(offset);
      if (command == segmentCommand) readSegment(offset);
      if (command == loaderInfoCommand) info_ = read<LoaderInfo>(offset + 8);
      offset += read<std::uint32_t>(offset + 4);
    }
    if (segments_.empty()) refuse("has no segments");
  }

  void readSegment(std::uint64_t offset) {
    segments_.push_back({text(offset + 8), read<std::uint64_t>(offset + 24),
                         read<std::uint64_t>(offset + 32), read<std::uint64_t>(offset + 40),
                         read<std::uint64_t>(offset + 48), read<std::int32_t>(offset + 60)});
    for (std::uint32_t i = 0; i < read<std::uint32_t>(offset + 64); ++i) {
      const std::uint64_t section = offset + segmentSize + sectionSize * i;
      sections_.push_back({read<std::uint64_t>(section + 32), read<std::uint64_t>(section + 40),
                           read<std::uint8_t>(section + 64)});
    }
  }

  void map() {
    for (const Segment& segment : segments_) {
      size_ = std::max<std::size_t>(size_, segment.address + segment.size);
      if (segment.fileSize > segment.size || segment.fileOffset + segment.fileSize > data_.size()) {
        refuse("has a segment that ends outside");
      }
    }
    void* const memory =
        mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) refuse("does not fit into memory");
    base_ = static_cast<std::byte*>(memory);
    for (const Segment& segment : segments_) {
      std::memcpy(base_ + segment.address, data_.data() + segment.fileOffset, segment.fileSize);
    }
    __builtin___clear_cache(reinterpret_cast<char*>(base_), reinterpret_cast<char*>(base_) + size_);
  }

  // The protection bits of both systems agree: 1 read, 2 write, 4 execute.
  void protect() const {
    for (const Segment& segment : segments_) {
      const std::size_t pages = (segment.size + pageSize - 1) / pageSize * pageSize;
      if (mprotect(base_ + segment.address, pages, segment.protection) != 0) {
        refuse("has a segment that can't be protected");
      }
    }
  }

  std::uint64_t* slot(std::size_t segment, std::uint64_t offset) const {
    if (segment >= segments_.size() || segments_[segment].size < 8 ||
        offset > segments_[segment].size - 8) {
      refuse("binds outside its segments");
    }
    return reinterpret_cast<std::uint64_t*>(base_ + segments_[segment].address + offset);
  }

  void rebase() {
    std::size_t segment = 0;
    std::uint64_t place = 0;
    const auto repeat = [&](std::uint64_t count) {
      for (; count > 0; --count, place += 8) {
        *slot(segment, place) += reinterpret_cast<std::uint64_t>(base_);
      }
    };
    for (std::uint64_t offset = info_.rebase; offset < info_.rebase + info_.rebaseSize;) {
      const auto byte = read<std::uint8_t>(offset++);
      const unsigned immediate = byte & 0x0F;
      switch (byte & 0xF0) {
        case 0x00:  // done
          return;
        case 0x10:  // kind: a pointer, always
          break;
        case 0x20:
          segment = immediate;
          place = readUleb(offset);
          break;
        case 0x30:
          place += readUleb(offset);
          break;
        case 0x50:
          repeat(immediate);
          break;
        case 0x60:
          repeat(readUleb(offset));
          break;
        default:
          refuse("has an unknown rebase instruction");
      }
    }
  }

  void bind(std::uint64_t offset, std::uint64_t size) {
    std::size_t segment = 0;
    std::uint64_t place = 0;
    void* target = nullptr;
    for (const std::uint64_t end = offset + size; offset < end;) {
      const auto byte = read<std::uint8_t>(offset++);
      const unsigned immediate = byte & 0x0F;
      switch (byte & 0xF0) {
        case 0x00:  // done; or, among the lazy ones, done with one symbol
        case 0x10:  // which library: all names of this process are one set
        case 0x50:  // kind: a pointer, always
          break;
        case 0x40: {
          const std::string_view name = text(offset);
          offset += name.size() + 1;
          target = symbolOfThisProcess(name);
          if (target == nullptr) refuse("takes " + std::string(name) + ", which nobody here gives");
          break;
        }
        case 0x70:
          segment = immediate;
          place = readUleb(offset);
          break;
        case 0x80:
          place += readUleb(offset);
          break;
        case 0x90:
          *slot(segment, place) = reinterpret_cast<std::uint64_t>(target);
          place += 8;
          break;
        default:
          refuse("has an unknown bind instruction");
      }
    }
  }

  std::string file_;
  std::vector<std::byte> data_;
  std::vector<Segment> segments_;
  std::vector<Section> sections_;
  LoaderInfo info_{};
  std::byte* base_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace

std::unique_ptr<Image> loadMachO(const std::filesystem::path& file) {
  return std::make_unique<MachOImage>(file);
}

}  // namespace simulator
