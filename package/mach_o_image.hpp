// A Mach-O library for this process's kind of processor, mapped into the process. The calling
// convention is the same, but for variadic functions on arm64. Just what the linker makes of the
// product is understood; anything else is an error.
//
// Layouts and numbers: <mach-o/loader.h> and <mach-o/nlist.h>, as published in
// https://github.com/apple-oss-distributions/xnu/tree/main/EXTERNAL_HEADERS/mach-o
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace mach_o {

class Image {
 public:
  // Maps the file and binds what it takes to the symbols of this process. No code runs yet. Throws
  // std::runtime_error that names the file.
  explicit Image(const std::filesystem::path& file);
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;
  ~Image();

  void runInitializers() const;

  // The address of an exported name, or null.
  void* address(std::string_view name) const;

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

  template <class T>
  T read(std::uint64_t offset) const;
  std::string_view text(std::uint64_t offset) const;
  std::uint64_t readUleb(std::uint64_t& offset) const;
  [[noreturn]] void refuse(const std::string& why) const;

  void readCommands();
  void readSegment(std::uint64_t offset);
  void map();
  void protect() const;
  void rebase();
  void bind(std::uint64_t offset, std::uint64_t size);
  std::uint64_t* slot(std::size_t segment, std::uint64_t offset) const;

  std::string file_;
  std::vector<std::byte> data_;
  std::vector<Segment> segments_;
  std::vector<Section> sections_;
  LoaderInfo info_{};
  std::byte* base_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace mach_o
