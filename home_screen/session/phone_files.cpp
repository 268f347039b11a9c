#include "home_screen/session/phone_files.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <deque>
#include <set>
#include <system_error>

#include "simulator/device.hpp"
#include "simulator/foundation/property_list.hpp"

namespace home_screen {
namespace {

namespace fs = std::filesystem;

using Places = std::map<fs::path, fs::path>;

constexpr const char* library = "var/mobile/Library";

// Where the phone's `Library` may lie in what was given. A phone's root has another one of its own,
// so the short paths come last.
constexpr const char* levels[] = {library, "private/var/mobile/Library", "mobile/Library",
                                  "Library", ""};

constexpr const char* backupMarks[] = {"Manifest.db", "Manifest.mbdb", "Manifest.plist"};

struct Part {
  fs::path file;  // from the root of the phone's file system
  const char* nameInBackup;
  const char* holds;
};

// In the order of phoneParts.
const std::vector<Part>& parts() {
  static const std::vector<Part> all = {
      {simulator::PreferencesStore::fileOf(simulator::settingsDomain),
       "6f6e0d0ed41e510fa597077c7185c4b390aef695", "the settings"},
      {simulator::AddressBookStore::favouritesFile, "b64e73540b6221bffc16b18f2205e1335e31d7d8",
       "the favourites"},
      {simulator::AddressBookStore::databaseFile, "31bb7ba8914766d4ba40d6dfb6113c8b614be442",
       "the address book"},
      {simulator::BulletinBoard::storedOverrides, "3418406efa0258f8db103dc909cfe1e9a35ede36",
       "the schedule"},
  };
  return all;
}

fs::path fromLibrary(const fs::path& file) { return file.lexically_relative(library); }

// Is that file in that folder?
using Look = bool (*)(const fs::path& folder, const fs::path& file);

bool isThere(const fs::path& folder, const fs::path& file) {
  struct stat found {};
  return ::lstat((folder / file).c_str(), &found) == 0;
}

// Also behind a folder that can't be entered, or a link that leads nowhere: what can't be read is
// refused later, and not taken for absent.
bool mayBeThere(const fs::path& folder, const fs::path& file) {
  struct stat found {};
  fs::path at = folder;
  for (const fs::path& name : file) {
    at /= name;
    if (::lstat(at.c_str(), &found) != 0) return errno != ENOENT && errno != ENOTDIR;
    if (::stat(at.c_str(), &found) != 0) return true;
  }
  return true;
}

// ---- The two forms -----------------------------------------------------------------------------

// Empty where no file of the phone is.
Places placesInFileSystem(const fs::path& folder, Look look) {
  for (const fs::path level : levels) {
    const auto holds = [&](const Part& part) {
      return look(folder, level / fromLibrary(part.file));
    };
    if (!std::ranges::any_of(parts(), holds)) continue;
    Places places;
    for (const fs::path& file : simulator::filesOfAPhone()) {
      places[file] = level / fromLibrary(file);
    }
    return places;
  }
  return {};
}

Places placesInBackup(const fs::path& folder, Look look) {
  Places places;
  for (const Part& part : parts()) {
    const std::string name = part.nameInBackup;
    for (const fs::path& place : {fs::path(name.substr(0, 2)) / name, fs::path(name)}) {
      if (look(folder, place)) places.emplace(part.file, place);
    }
  }
  return places;
}

bool isBackup(const fs::path& folder) {
  const auto holds = [&](const char* mark) { return isThere(folder, mark); };
  return std::ranges::any_of(backupMarks, holds) || !placesInBackup(folder, &isThere).empty();
}

void refuseEncrypted(const fs::path& folder) {
  if (!isThere(folder, "Manifest.plist")) return;
  const fs::path file = folder / "Manifest.plist";
  std::error_code unknown;
  std::string why = "not a regular file";
  const auto manifest = fs::is_regular_file(file, unknown) ? simulator::readPropertyList(file, &why)
                                                           : simulator::Owned<simulator::Object>();
  const auto* const entries = simulator::as<simulator::Dictionary>(manifest.get());
  if (manifest && entries == nullptr) why = "holds no dictionary";
  if (entries == nullptr) {
    throw PhoneError(file.string() + ": " + why + ", expected the property list of a backup");
  }
  const auto* const encrypted =
      simulator::as<simulator::Number>(simulator::find(entries, "IsEncrypted"));
  if (encrypted == nullptr || encrypted->integer == 0) return;
  throw PhoneError(folder.string() +
                   ": an encrypted backup, expected one that is not: switch encryption off where "
                   "the backup is made and back the phone up again");
}

// ---- The nearest phone -------------------------------------------------------------------------

bool isPhone(const fs::path& folder) {
  return !placesInFileSystem(folder, &isThere).empty() || !placesInBackup(folder, &isThere).empty();
}

// Breadth first, in the order of names, without links; in a large tree not everywhere.
std::optional<fs::path> phoneBelow(const fs::path& top) {
  constexpr int deepest = 6;
  int entriesLeft = 20'000;
  std::deque<std::pair<fs::path, int>> waiting = {{top, 0}};
  for (; !waiting.empty(); waiting.pop_front()) {
    const auto [folder, depth] = waiting.front();
    if (::access(folder.c_str(), R_OK | X_OK) != 0) continue;
    if (isPhone(folder)) return folder;
    if (depth == deepest) continue;
    std::set<fs::path> below;
    std::error_code problem;
    for (fs::directory_iterator at(folder, problem), end; !problem && at != end;
         at.increment(problem)) {
      if (--entriesLeft < 0) return std::nullopt;
      std::error_code unknown;
      if (fs::is_directory(at->symlink_status(unknown))) below.insert(at->path());
    }
    for (const fs::path& each : below) waiting.emplace_back(each, depth + 1);
  }
  return std::nullopt;
}

std::optional<fs::path> phoneAbove(const fs::path& folder) {
  std::error_code problem;
  fs::path at = fs::canonical(folder, problem);
  while (!problem && at != at.root_path()) {
    at = at.parent_path();
    if (isPhone(at)) return at;
  }
  return std::nullopt;
}

[[noreturn]] void refuseAsNoPhone(const fs::path& folder) {
  std::string complaint = folder.string();
  if (isBackup(folder)) {
    complaint += ": a backup with none of a phone's files, expected one with";
  } else {
    complaint += ": none of a phone's files is in it, expected a backup or a folder with";
  }
  for (const Part& part : parts()) {
    complaint += (&part == &parts().front() ? " " : ", ") + part.file.string();
  }
  auto nearest = phoneBelow(folder);
  if (!nearest) nearest = phoneAbove(folder);
  throw PhoneError(complaint + (nearest ? "; try " + nearest->string() : ""));
}

}  // namespace

const fs::path& fileOf(PhonePart part) { return parts()[static_cast<std::size_t>(part)].file; }

std::string describe(PhonePart part) {
  return parts()[static_cast<std::size_t>(part)].holds +
         (" (" + fromLibrary(fileOf(part)).string() + ")");
}

PhoneFiles::PhoneFiles(const fs::path& given) : folder_(given) {
  const auto refuse = [&](const std::string& problem) {
    throw PhoneError(given.string() + ": " + problem + ", expected a phone's directory");
  };
  struct stat found {};
  if (::stat(given.c_str(), &found) != 0) {
    refuse(errno == ENOENT ? "does not exist" : std::generic_category().message(errno));
  }
  if (!S_ISDIR(found.st_mode)) refuse("is no directory");
  places_ = placesInFileSystem(given, &isThere);
  if (places_.empty() && isBackup(given)) {
    refuseEncrypted(given);
    places_ = placesInBackup(given, &mayBeThere);
  }
  if (places_.empty()) places_ = placesInFileSystem(given, &mayBeThere);
  if (places_.empty()) refuseAsNoPhone(given);
}

std::optional<fs::path> PhoneFiles::placeOf(const fs::path& file) const {
  const auto found = places_.find(file);
  if (found == places_.end()) return std::nullopt;
  return found->second;
}

std::string PhoneFiles::nameOf(const fs::path& file) const {
  const fs::path place = placeOf(file).value_or(file);
  const std::string name = (folder_ / place).string();
  return place.filename() == file.filename() ? name : name + " (" + file.string() + ")";
}

std::vector<PhonePart> PhoneFiles::lacking() const {
  std::vector<PhonePart> parts;
  for (const PhonePart part : phoneParts) {
    if (!placeOf(fileOf(part))) parts.push_back(part);
  }
  return parts;
}

}  // namespace home_screen
