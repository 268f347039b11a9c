// What people have of a phone, and where in it each of the phone's files lies.
//
// A folder laid out as the phone's file system, from any level between its root and `Library`. Or a
// computer's backup of the phone, where the files bear other names: the SHA-1 of "HomeDomain-" and
// the path from var/mobile, either in a folder named by its first two digits or in the backup's
// own. A backup need not hold everything that was on the phone. Its list (Manifest.db) isn't read:
// listed or not, of a file that isn't there nothing is known.
//
// Only looks, and opens nothing but Manifest.plist.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace home_screen {

// A file of the phone that can't be used: "FILE: what is wrong, and what was expected", where the
// file is the original's.
class PhoneError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What a phone tells, each in a file of its own.
enum class PhonePart { settings, favourites, addressBook, schedule };

inline constexpr PhonePart phoneParts[] = {PhonePart::settings, PhonePart::favourites,
                                           PhonePart::addressBook, PhonePart::schedule};

// From the root of the phone's file system.
const std::filesystem::path& fileOf(PhonePart part);
// "the schedule (BulletinBoard/BehaviorOverrides.plist)"
std::string describe(PhonePart part);

class PhoneFiles {
 public:
  // Throws PhoneError: no folder, no phone (then it names the nearest folder that is one), or an
  // encrypted backup.
  explicit PhoneFiles(const std::filesystem::path& given);

  const std::filesystem::path& folder() const { return folder_; }  // the one that was given

  // Where in it one of `simulator::filesOfAPhone` belongs, whether it is there or not. None for
  // what a backup lacks, and for what it never holds: it has no journal of the database.
  std::optional<std::filesystem::path> placeOf(const std::filesystem::path& file) const;

  // The same with the folder, for people: in a backup also what it is there.
  std::string nameOf(const std::filesystem::path& file) const;

  // Of which nothing is known. In a file system, a file that isn't there holds nothing.
  std::vector<PhonePart> lacking() const;

 private:
  std::filesystem::path folder_;
  std::map<std::filesystem::path, std::filesystem::path> places_;
};

}  // namespace home_screen
