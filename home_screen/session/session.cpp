#include "home_screen/session/session.hpp"

#include <algorithm>
#include <utility>

#include "simulator/device.hpp"
#include "simulator/loader/loaded_library.hpp"
#include "simulator/runtime/object.hpp"

namespace home_screen {

void* Exports::address(const char* name) const { return library_.address(name); }

Session::Session(simulator::Device& device, std::string library)
    : device_(device), libraryFile_(std::move(library)) {
  simulator::keepZombies(true);
}

Session::~Session() {
  loaded_.reset();
  simulator::forgetZombies();
  simulator::keepZombies(false);
}

void Session::prepare(const Situation& situation) {
  simulator::Clock& clock = device_.clock;
  if (!situation.timeZone.empty()) clock.setTimeZone(situation.timeZone);
  if (situation.machineTime) clock.set(machineTime());
  if (situation.when) clock.set(onClock(*situation.when, clock.local(clock.now())));
  change(device_, situation.settings);
  if (situation.mode) change(device_, *situation.mode);
  prepared_ = situation;
}

void Session::start() {
  loaded_ = std::make_unique<simulator::LoadedLibrary>(libraryFile_);
  exports_ = std::make_unique<Exports>(*loaded_);
  if (keepsLogging_) library().enableDebugLogging = true;
  if (!prepared_) return;
  device_.bulletinBoard.refresh();
  if (prepared_->doNotDisturb) device_.bulletinBoard.setManualDoNotDisturb(true);
}

bool Session::knows(PhonePart part) const {
  return std::ranges::count(original.lacking, part) == 0 ||
         std::filesystem::exists(device_.root / fileOf(part));
}

std::vector<PhonePart> Session::unknown() const {
  std::vector<PhonePart> parts = original.lacking;
  std::erase_if(parts, [this](PhonePart part) { return knows(part); });
  return parts;
}

void Session::post(const std::string& name) {
  const bool full = name.find('.') != std::string::npos;
  device_.post(full ? name : simulator::settingsDomain + ("." + name));
  if (keepsLogging_) library().enableDebugLogging = true;
}

Lines Session::takeLog() const {
  device_.throwKeptFailure();
  return device_.log.take();
}

Lines Session::logOf(const std::function<void()>& ask) {
  const bool before = std::exchange(library().enableDebugLogging, true);
  takeLog();
  ask();
  library().enableDebugLogging = before;
  simulator::forgetZombies();
  return takeLog();
}

}  // namespace home_screen
