// What the fuzz targets share.
//
// A target defines `LLVMFuzzerTestOneInput`: it hands the bytes to what it tests, and stops the
// process when a promise is broken, as a crash would. In the build made for it libFuzzer makes up
// the bytes; in every other build replay.cpp hands over the inputs that were kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <span>
#include <stdexcept>
#include <string>

#include "simulator/device.hpp"
#include "simulator/loader.hpp"
#include "simulator/runtime/object.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

using Bytes = std::span<const std::uint8_t>;

inline void require(bool holds, const std::string& promise) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", promise.c_str());
  std::abort();
}

// Holds that every object made in its scope is gone at the end of it.
class NothingLeft {
 public:
  NothingLeft() = default;
  NothingLeft(const NothingLeft&) = delete;
  NothingLeft& operator=(const NothingLeft&) = delete;
  ~NothingLeft() { require(simulator::liveObjectCount() == before_, "no object stays alive"); }

 private:
  const std::int64_t before_ = simulator::liveObjectCount();
};

// A folder that goes when the process ends as it should.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "fuzz-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary directory");
    path_ = pattern;
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() { std::filesystem::remove_all(path_); }

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// A phone with the library in it, until the process ends: what the library keeps for ever is no
// leak while it is mapped.
class PhoneWithLibrary {
 public:
  static PhoneWithLibrary& the() {
    static const ScratchFolder folder;
    static auto& phone = *new PhoneWithLibrary(folder.path());
    return phone;
  }

  simulator::Device device;
  simulator::LoadedLibrary library{HUSHLANE_LIBRARY};

 private:
  explicit PhoneWithLibrary(const std::filesystem::path& root) : device(root) {}
};

}  // namespace fuzz
