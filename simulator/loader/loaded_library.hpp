// Maps the library into the process as the phone's loader does, and takes it out again as the end
// of the host would. Its file may be the one that a desk's compiler builds (ELF) or the phone's own
// (Mach-O); the file's first bytes tell.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "simulator/loader/image.hpp"

namespace simulator {

class LoadedLibrary {
 public:
  // The program that loads it: the home screen, or another one beside it.
  enum class Host { homeScreen, other };

  // Runs the library's initializer on this thread, without an autorelease pool around it: the
  // phone's loader gives none. Throws std::runtime_error that names the file and what is wrong.
  explicit LoadedLibrary(const std::filesystem::path& file, Host host = Host::homeScreen);

  // The library never tears anything down, so the end of the host does: waits for the platform's
  // queue, undoes the method replacements and forgets the observers, which are all the home
  // screen's, releases what the library's own variables still hold (while zombies are kept; else
  // that is left to leak), and unmaps it.
  ~LoadedLibrary();

  // The address of an exported name; throws std::runtime_error when there is none.
  void* address(const std::string& name) const;

  template <class T>
  T& value(const std::string& name) const {
    return *static_cast<T*>(address(name));
  }
  template <class F>
  F* function(const std::string& name) const {
    return reinterpret_cast<F*>(address(name));
  }

 private:
  Host host_;
  std::unique_ptr<Image> image_;
};

}  // namespace simulator
