#include "home_screen/session/whole_file.hpp"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace home_screen {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void refuse(const fs::path& file, const std::string& problem) {
  throw std::runtime_error(file.string() + ": " + problem +
                           "; expected a file that can be written");
}

[[noreturn]] void refuse(const fs::path& file, int problem) {
  refuse(file, std::generic_category().message(problem));
}

// As those of the file that is there, or of any new one.
mode_t rightsFor(const fs::path& file) {
  struct stat there {};
  if (::stat(file.c_str(), &there) == 0) {
    if (!S_ISREG(there.st_mode)) refuse(file, "is no regular file");
    return there.st_mode & 0777;
  }
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

bool writeAll(int descriptor, const std::string& content) {
  for (std::size_t done = 0; done < content.size();) {
    const ssize_t written = ::write(descriptor, content.data() + done, content.size() - done);
    if (written < 0) return false;
    done += static_cast<std::size_t>(written);
  }
  return true;
}

// A file beside the other, which goes away unless it takes its place.
class FileBeside {
 public:
  explicit FileBeside(const fs::path& file) : file_(file), name_(file.string() + ".XXXXXX") {
    descriptor_ = ::mkostemp(name_.data(), O_CLOEXEC);
    if (descriptor_ < 0) refuse(file_, errno);
  }
  FileBeside(const FileBeside&) = delete;
  FileBeside& operator=(const FileBeside&) = delete;
  ~FileBeside() {
    ::close(descriptor_);
    if (!name_.empty()) ::unlink(name_.c_str());
  }

  void write(const std::string& content, mode_t rights) const {
    if (!writeAll(descriptor_, content) || ::fchmod(descriptor_, rights) != 0 ||
        ::fsync(descriptor_) != 0) {
      refuse(file_, errno);
    }
  }

  void takePlace() {
    if (::rename(name_.c_str(), file_.c_str()) != 0) refuse(file_, errno);
    name_.clear();
  }

 private:
  fs::path file_;
  std::string name_;
  int descriptor_;
};

}  // namespace

void replaceFile(const fs::path& file, const std::string& content) {
  std::error_code unknown;
  const fs::path target = fs::weakly_canonical(fs::absolute(file), unknown);  // a link stays one
  if (unknown) refuse(file, unknown.value());
  const mode_t rights = rightsFor(target);
  FileBeside fresh(target);
  fresh.write(content, rights);
  fresh.takePlace();
}

}  // namespace home_screen
