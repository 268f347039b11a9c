#include "home_screen/session/saved_phone.hpp"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "home_screen/session/scratch_folder.hpp"
#include "home_screen/session/session.hpp"
#include "simulator/device.hpp"

namespace home_screen {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void refuse(const fs::path& folder, const std::string& problem) {
  throw SaveError(folder.string() + ": " + problem + "; expected a new or an empty folder");
}

// What is made for the phone goes again unless it is kept.
class NewFolder {
 public:
  explicit NewFolder(const fs::path& folder) : folder_(folder) {
    made_ = fs::create_directory(folder);
    if (!fs::is_empty(folder)) refuse(folder, "is not empty");
    std::string pattern = folder / ".hushlane-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
      const int problem = errno;
      removeUnlessKept();
      refuse(folder, std::generic_category().message(problem));
    }
    unfinished_ = pattern;
  }
  NewFolder(const NewFolder&) = delete;
  NewFolder& operator=(const NewFolder&) = delete;
  ~NewFolder() { removeUnlessKept(); }

  const fs::path& unfinished() const { return unfinished_; }

  void keep() {
    fs::rename(unfinished_ / "var", folder_ / "var");
    made_ = false;
  }

 private:
  void removeUnlessKept() const {
    std::error_code ignored;
    if (!unfinished_.empty()) fs::remove_all(unfinished_, ignored);
    if (made_) fs::remove(folder_, ignored);
  }

  fs::path folder_;
  fs::path unfinished_;
  bool made_ = false;
};

// A power cut after the renaming finds it whole.
void copyToDisk(const fs::path& from, const fs::path& to) {
  fs::create_directories(to.parent_path());
  fs::copy_file(from, to);
  const int file = ::open(to.c_str(), O_RDONLY | O_CLOEXEC);
  const bool written = file >= 0 && ::fsync(file) == 0;
  const int problem = errno;
  if (file >= 0) ::close(file);
  if (!written) throw fs::filesystem_error("", to, {problem, std::generic_category()});
}

// One that holds nothing.
void makeFile(PhonePart part, simulator::Device& phone) {
  switch (part) {
    case PhonePart::settings:
      return phone.preferences.clear(simulator::settingsDomain);
    case PhonePart::favourites:
      return phone.addressBook.makeFavourites();
    case PhonePart::addressBook:
      return phone.addressBook.makeDatabase();
    case PhonePart::schedule:
      return phone.bulletinBoard.storeSchedule({});
  }
}

}  // namespace

SavedPhone savePhone(const Session& session, const fs::path& folder) try {
  const fs::path& original = session.original.folder;
  if (!original.empty() && liesInside(folder, original)) {
    refuse(folder, "lies inside " + original.string() + ", where nothing is written");
  }
  simulator::Device& phone = session.device();
  NewFolder made(folder);
  SavedPhone saved{folder, session.unknown()};
  for (const PhonePart part : phoneParts) {
    if (session.knows(part) && !fs::exists(phone.root / fileOf(part))) makeFile(part, phone);
  }
  for (const fs::path& file : simulator::filesOfAPhone()) {
    if (fs::exists(phone.root / file)) copyToDisk(phone.root / file, made.unfinished() / file);
  }
  made.keep();
  return saved;
} catch (const std::system_error& error) {
  refuse(folder, error.code().message());
} catch (const simulator::DeviceError& error) {
  refuse(folder, error.what());
}

}  // namespace home_screen
