#include "home_screen/session/scratch_folder.hpp"

#include <fcntl.h>
#include <ftw.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace home_screen {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view pattern = "hushlane-scratch-XXXXXX";

[[noreturn]] void refuse(const fs::path& temporary, const std::string& what) {
  throw std::runtime_error(temporary.string() + ": " + what +
                           "; expected a temporary directory for the scratch phone");
}

[[noreturn]] void refuse(const fs::path& temporary, int problem) {
  refuse(temporary, std::generic_category().message(problem));
}

fs::path temporaryDirectory() {
  const char* const chosen = ::getenv("TMPDIR");
  const fs::path folder = chosen == nullptr || *chosen == '\0' ? "/tmp" : chosen;
  std::error_code problem;
  fs::path found = fs::canonical(folder, problem);
  if (problem) refuse(folder, problem.value());
  return found;
}

// A descriptor that holds the folder's lock, or -1 and errno: EWOULDBLOCK when another one does,
// ENOENT when the folder is gone.
int lockFolder(const fs::path& folder) {
  const int opened = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (opened < 0) return -1;
  struct stat held {};
  struct stat there {};
  int problem = 0;
  if (::flock(opened, LOCK_EX | LOCK_NB) != 0 || ::fstat(opened, &held) != 0 ||
      ::lstat(folder.c_str(), &there) != 0) {
    problem = errno;
  } else if (held.st_dev != there.st_dev || held.st_ino != there.st_ino) {
    problem = ENOENT;
  }
  if (problem == 0) return opened;
  ::close(opened);
  errno = problem;
  return -1;
}

int removeEntry(const char* path, const struct stat*, int, FTW*) {
  ::remove(path);  // what can't be removed stays, and all else goes
  return 0;
}

// Follows no link, and leaves other file systems alone.
void removeTree(const fs::path& folder) noexcept {
  ::nftw(folder.c_str(), &removeEntry, 1, FTW_DEPTH | FTW_PHYS | FTW_MOUNT);
}

// ---- What was left behind ----------------------------------------------------------------------

bool isOwnName(const std::string& name) {
  return name.size() == pattern.size() && name.starts_with(pattern.substr(0, pattern.find('X')));
}

bool isPrivate(const fs::path& folder) {
  struct stat found {};
  return ::lstat(folder.c_str(), &found) == 0 && S_ISDIR(found.st_mode) &&
         found.st_uid == ::geteuid() && (found.st_mode & 07777) == S_IRWXU;
}

// Scratch phones hold nothing else, even those that are half made or half removed.
bool holdsOnlyAPhone(const fs::path& folder) {
  std::error_code problem;
  for (fs::directory_iterator at(folder, problem), end; !problem && at != end;
       at.increment(problem)) {
    if (at->path().filename() != "var") return false;
  }
  return !problem;
}

void removeIfAbandoned(const fs::path& folder) {
  if (!isOwnName(folder.filename()) || !isPrivate(folder)) return;
  const int lock = lockFolder(folder);
  if (lock < 0) return;
  if (isPrivate(folder) && holdsOnlyAPhone(folder)) removeTree(folder);
  ::close(lock);
}

void removeAbandoned(const fs::path& temporary) {
  std::error_code problem;
  for (fs::directory_iterator at(temporary, problem), end; !problem && at != end;
       at.increment(problem)) {
    removeIfAbandoned(at->path());
  }
}

}  // namespace

bool liesInside(const fs::path& path, const fs::path& folder) {
  for (fs::path at = fs::weakly_canonical(fs::absolute(path));; at = at.parent_path()) {
    std::error_code unknown;
    if (fs::equivalent(at, folder, unknown)) return true;
    if (at == at.root_path()) return false;
  }
}

ScratchFolder::ScratchFolder(const std::optional<std::string>& original) {
  const fs::path temporary = temporaryDirectory();
  if (original && liesInside(temporary, *original)) {
    refuse(temporary, "lies inside " + *original + ", where nothing is written");
  }
  removeAbandoned(temporary);
  do {
    std::string name = temporary / pattern;
    if (::mkdtemp(name.data()) == nullptr) refuse(temporary, errno);
    path_ = name;
    lock_ = lockFolder(path_);
    // Until it is locked, another session that starts may take it for one that was left behind.
  } while (lock_ < 0 && (errno == EWOULDBLOCK || errno == ENOENT));
  if (lock_ >= 0) return;
  const int problem = errno;
  ::rmdir(path_.c_str());
  refuse(temporary, problem);
}

ScratchFolder::~ScratchFolder() {
  ::close(lock_);  // which may be the one descriptor that is left for the removal
  remove();
}

void ScratchFolder::remove() const noexcept { removeTree(path_); }

}  // namespace home_screen
