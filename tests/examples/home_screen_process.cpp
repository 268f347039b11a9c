// Makes the program that it is linked into a home screen's process: before main there is a phone, a
// copy of examples/phone.
#include "simulator/device.hpp"
#include "tests/support/scratch_folder.hpp"

namespace {

struct CopiedPhone : tests::ScratchFolder {
  CopiedPhone() {
    std::filesystem::copy(HUSHLANE_SOURCE_DIR "/examples/phone", path,
                          std::filesystem::copy_options::recursive);
  }
};

const CopiedPhone folder;
simulator::Device device(folder.path);

}  // namespace
