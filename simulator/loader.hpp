// Maps the library into the process as the phone's loader does, and takes it out again as the end
// of the host would.
#pragma once

#include <filesystem>
#include <string>

namespace simulator {

class LoadedLibrary {
 public:
  // Runs the library's initializer on this thread, without an autorelease pool around it: the
  // phone's loader gives none. Throws std::runtime_error with the loader's own words.
  explicit LoadedLibrary(const std::filesystem::path& file);
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;

  // The library never tears anything down, so the end of the host does: waits for the platform's
  // queue, undoes the method replacements, forgets the observers, releases what the library's own
  // variables still hold (while zombies are kept; else that is left to leak), and unmaps it.
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
  void* handle_;
};

}  // namespace simulator
