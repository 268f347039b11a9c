#include "home_screen/session/scratch_phone.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <new>
#include <system_error>
#include <utility>
#include <vector>

#include "home_screen/session/session.hpp"
#include "simulator/device.hpp"
#include "simulator/foundation/property_list.hpp"

namespace home_screen {
namespace {

namespace fs = std::filesystem;

std::string problemText() { return std::generic_category().message(errno); }

// ---- Files -------------------------------------------------------------------------------------

class File {
 public:
  File(const fs::path& path, int flags)
      : descriptor_(::open(path.c_str(), flags | O_CLOEXEC, S_IRUSR | S_IWUSR)) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() { close(); }

  int descriptor() const { return descriptor_; }
  bool isOpen() const { return descriptor_ >= 0; }
  bool close() { return !isOpen() || ::close(std::exchange(descriptor_, -1)) == 0; }

 private:
  int descriptor_;
};

// One of the phone's own files.
class OriginalFile {
 public:
  OriginalFile(std::string name, const fs::path& phone, const fs::path& file)
      : name_(std::move(name)), file_(phone / file, O_RDONLY | O_NONBLOCK | O_NOCTTY) {
    if (file_.isOpen()) {
      struct stat found {};
      if (::fstat(file_.descriptor(), &found) != 0) refuse(problemText());
      if (!S_ISREG(found.st_mode)) refuse("not a regular file");
    } else if (errno == ENXIO) {  // a socket
      refuse("not a regular file");
    } else if (const std::string problem = problemText(); !isAbsent(phone, file)) {
      refuse(problem);
    }
  }

  const std::string& name() const { return name_; }
  bool isThere() const { return file_.isOpen(); }

  // The next bytes; 0 at the end.
  std::size_t read(std::vector<char>& buffer) const {
    const ssize_t length = ::read(file_.descriptor(), buffer.data(), buffer.size());
    if (length < 0) refuse(problemText());
    return static_cast<std::size_t>(length);
  }

 private:
  // Only if it, or a folder on the way, has no entry: a link that leads nowhere is one.
  static bool isAbsent(const fs::path& phone, const fs::path& file) {
    fs::path at = phone;
    for (const fs::path& name : file) {
      at /= name;
      struct stat found {};
      if (::lstat(at.c_str(), &found) != 0) return errno == ENOENT || errno == ENOTDIR;
      if (::stat(at.c_str(), &found) != 0) return false;
    }
    return false;
  }

  [[noreturn]] void refuse(const std::string& problem) const {
    throw PhoneError(name_ + ": " + problem + ", expected to read it for the scratch phone");
  }

  std::string name_;
  File file_;
};

// ---- The copy ----------------------------------------------------------------------------------

class Copy {
 public:
  explicit Copy(fs::path folder) : folder_(std::move(folder)) {}

  // The copy can be written even where the original can't.
  void add(const fs::path& file, const OriginalFile& original) {
    std::error_code problem;
    fs::create_directories((folder_ / file).parent_path(), problem);
    if (problem) refuse(problem.message(), original);
    File to(folder_ / file, O_WRONLY | O_CREAT | O_EXCL);
    if (!to.isOpen()) refuse(problemText(), original);
    // Of a list that is too large to be read, no more than shows that.
    std::size_t left = file.extension() == ".plist" ? simulator::largestPropertyList + 1 : SIZE_MAX;
    while (left > 0) {
      const std::size_t length = original.read(buffer_);
      if (length == 0) break;
      write(to, length, original);
      left -= std::min(left, length);
    }
    if (!to.close()) refuse(problemText(), original);
  }

 private:
  void write(const File& to, std::size_t length, const OriginalFile& original) const {
    for (std::size_t written = 0; written < length;) {
      const ssize_t more = ::write(to.descriptor(), buffer_.data() + written, length - written);
      if (more < 0) refuse(problemText(), original);
      written += static_cast<std::size_t>(more);
    }
  }

  [[noreturn]] void refuse(const std::string& problem, const OriginalFile& original) const {
    throw std::runtime_error(folder_.parent_path().string() + ": " + problem +
                             ", expected to write a copy of " + original.name());
  }

  fs::path folder_;
  std::vector<char> buffer_ = std::vector<char>(1 << 18);
};

// Without the schedule, where another one stands in for it.
void copyPhone(const PhoneFiles& original, bool withSchedule, const fs::path& folder) {
  Copy copy(folder);
  for (const fs::path& file : simulator::filesOfAPhone()) {
    const auto place = original.placeOf(file);
    if (!place || (file == simulator::BulletinBoard::storedOverrides && !withSchedule)) continue;
    const OriginalFile from(original.nameOf(file), original.folder(), *place);
    if (from.isThere()) copy.add(file, from);
  }
}

// A complaint about a file of the copy, about the original instead.
std::string namingOriginal(std::string complaint, const PhoneFiles& original,
                           const fs::path& folder) {
  for (const fs::path& file : simulator::filesOfAPhone()) {
    const std::string copy = (folder / file).string();
    const auto place = original.placeOf(file);
    if (!place || !complaint.starts_with(copy + ":")) continue;
    return complaint.replace(0, copy.size(), original.nameOf(file));
  }
  return complaint;
}

}  // namespace

int onScratchPhone(const Choice& choice, const fs::path& folder,
                   void (*complain)(const std::string&), const std::function<int(Session&)>& use) {
  std::optional<PhoneFiles> original;
  if (choice.phone) copyPhone(original.emplace(*choice.phone), !choice.schedule, folder);
  const auto named = [&](const std::string& complaint) {
    return original ? namingOriginal(complaint, *original, folder) : complaint;
  };
  try {
    simulator::Device device(folder);
    device.check();
    for (const std::string& left : device.bulletinBoard.leftOut()) complain(named(left));
    if (choice.schedule) device.bulletinBoard.storeSchedule(*choice.schedule);
    Session session(device, choice.library);
    if (original) session.original = {original->folder(), original->lacking()};
    return use(session);
  } catch (const simulator::DeviceError& error) {
    throw PhoneError(named(error.what()));
  }
}

}  // namespace home_screen
