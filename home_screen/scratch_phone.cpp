#include "home_screen/scratch_phone.hpp"

#include <stdlib.h>

#include <cerrno>
#include <system_error>

#include "simulator/device_error.hpp"

namespace home_screen {
namespace {

namespace fs = std::filesystem;

constexpr const char* copiedFolders[] = {
    "var/mobile/Library/AddressBook",
    "var/mobile/Library/BulletinBoard",
    "var/mobile/Library/Preferences",
};

fs::path makeScratchFolder() {
  std::string pattern = (fs::temp_directory_path() / "hushlane-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) {
    throw simulator::DeviceError(pattern, std::generic_category().message(errno) +
                                              ", expected a folder for a scratch phone");
  }
  return pattern;
}

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

void copyPhone(const fs::path& original, const fs::path& copy) {
  if (!fs::exists(original)) {
    throw simulator::DeviceError(original, "does not exist, expected a phone's directory");
  }
  if (!fs::is_directory(original)) {
    throw simulator::DeviceError(original, "is no directory, expected a phone's directory");
  }
  for (const char* folder : copiedFolders) copyFolder(original / folder, copy / folder);
}

}  // namespace

ScratchPhone::ScratchPhone(const std::optional<fs::path>& original)
    : original_(original), root_(makeScratchFolder()) {
  if (!original_) return;
  try {
    copyPhone(*original_, root_);
  } catch (const fs::filesystem_error& error) {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
    throw simulator::DeviceError(
        error.path1(), error.code().message() + ", expected to read it for the scratch phone");
  } catch (...) {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
    throw;
  }
}

ScratchPhone::~ScratchPhone() {
  std::error_code ignored;
  fs::remove_all(root_, ignored);
}

std::string ScratchPhone::namingOriginal(std::string complaint) const {
  const std::string copy = root_.string();
  if (original_ && complaint.starts_with(copy)) {
    complaint.replace(0, copy.size(), original_->string());
  }
  return complaint;
}

}  // namespace home_screen
