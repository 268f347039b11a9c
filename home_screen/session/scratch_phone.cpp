#include "home_screen/session/scratch_phone.hpp"

#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "home_screen/session/session.hpp"
#include "simulator/device.hpp"

namespace home_screen {
namespace {

namespace fs = std::filesystem;

constexpr const char* copiedFolders[] = {
    "var/mobile/Library/AddressBook",
    "var/mobile/Library/BulletinBoard",
    "var/mobile/Library/Preferences",
};

// A directory of its own that goes away with this.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (fs::temp_directory_path() / "hushlane-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
      throw PhoneError(pattern + ": " + std::generic_category().message(errno) +
                       ", expected a folder for a scratch phone");
    }
    path = pattern;
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }

  fs::path path;
};

// The copy can be written even where the original can't.
void copyFile(const fs::path& from, const fs::path& to) {
  fs::create_directories(to.parent_path());
  fs::copy_file(from, to);
  fs::permissions(to, fs::perms::owner_read | fs::perms::owner_write, fs::perm_options::add);
}

void copyFolder(const fs::path& original, const fs::path& copy) {
  if (!fs::exists(original)) return;
  fs::create_directories(copy);
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(original)) {
    const fs::path to = copy / entry.path().lexically_relative(original);
    if (fs::is_directory(entry.symlink_status())) {
      fs::create_directories(to);
    } else if (entry.is_regular_file()) {
      copyFile(entry.path(), to);
    }
  }
}

void copyPhone(const fs::path& original, const fs::path& copy) try {
  const std::string name = original.string();
  if (!fs::exists(original)) {
    throw PhoneError(name + ": does not exist, expected a phone's directory");
  }
  if (!fs::is_directory(original)) {
    throw PhoneError(name + ": is no directory, expected a phone's directory");
  }
  for (const char* folder : copiedFolders) copyFolder(original / folder, copy / folder);
} catch (const fs::filesystem_error& error) {
  throw PhoneError(error.path1().string() + ": " + error.code().message() +
                   ", expected to read it for the scratch phone");
}

}  // namespace

void onScratchPhone(const Choice& choice, void (*complain)(const std::string&),
                    const std::function<void(Session&)>& use) {
  const ScratchFolder scratch;
  const std::string copy = scratch.path.string();
  if (choice.phone) copyPhone(*choice.phone, copy);
  const auto namingOriginal = [&](std::string complaint) {
    if (choice.phone && complaint.starts_with(copy)) {
      complaint.replace(0, copy.size(), *choice.phone);
    }
    return complaint;
  };
  try {
    simulator::Device device(copy);
    device.check();
    for (const std::string& left : device.bulletinBoard.leftOut()) complain(namingOriginal(left));
    Session session(device, choice.library);
    use(session);
  } catch (const simulator::DeviceError& error) {
    throw PhoneError(namingOriginal(error.what()));
  }
}

}  // namespace home_screen
