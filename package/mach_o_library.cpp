// Stands in for the home screen's own loader: the program is the same but for this file, and loads
// the library in the phone's file format.
#include <stdexcept>

#include "package/mach_o_image.hpp"
#include "simulator/device.hpp"
#include "simulator/loader.hpp"
#include "simulator/runtime/object.hpp"

namespace simulator {

LoadedLibrary::LoadedLibrary(const std::filesystem::path& file) : handle_(new mach_o::Image(file)) {
  static_cast<mach_o::Image*>(handle_)->runInitializers();
}

LoadedLibrary::~LoadedLibrary() {
  Device& device = Device::current();
  device.queue.drain();
  restoreRuntime();
  device.notifications.removeAll();
  delete static_cast<mach_o::Image*>(handle_);
}

void* LoadedLibrary::address(const std::string& name) const {
  void* const found = static_cast<mach_o::Image*>(handle_)->address(name);
  if (found == nullptr) throw std::runtime_error("the library exports no " + name);
  return found;
}

}  // namespace simulator
