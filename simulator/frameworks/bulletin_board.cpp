#include "simulator/frameworks/bulletin_board.hpp"

#include <fmt/format.h>

#include "simulator/context/device_error.hpp"
#include "simulator/context/faults.hpp"
#include "simulator/foundation/keyed_archive.hpp"
#include "simulator/foundation/property_list.hpp"
#include "simulator/frameworks/address_book.hpp"

namespace simulator {

namespace {

// The override types of this phone, as bits of the set that the gateway is told.
enum OverrideType : std::int64_t { manualOverride = 0, scheduledOverride = 1 };

constexpr std::uint64_t bitOf(std::int64_t overrideType) {
  return std::uint64_t{1} << (static_cast<std::uint64_t>(overrideType) & 63);
}

struct EffectiveInterval : Object {
  static constexpr const char* platformClass = "BBBehaviorOverrideEffectiveInterval";

  DailyPeriod period{};
};

struct BehaviorOverride : Object {
  static constexpr const char* platformClass = "BBBehaviorOverride";

  std::int64_t overrideType = 0;
  std::int64_t mode = 0;
  Owned<Object> effectiveIntervals;
};

// Whoever replaces a method must hand on what it was given.
void expectCall(const char* type, const char* name, id receiver, SEL selector) {
  if (selector != sel_registerName(name) || !isKindOf(receiver, classNamed(type))) {
    fatal(std::string(type) + ": " + name + " was called with another receiver or selector");
  }
}

constexpr const char* presentSelector =
    "shouldPresentNotificationOfType:fromSenderWithDestinationID:";
constexpr const char* changedSelector = "activeBehaviorOverrideTypesChanged:";
constexpr const char* changedWithSourceSelector = "activeBehaviorOverrideTypesChanged:source:";
constexpr const char* activeSelector = "isActiveForDate:";

// ---- The server --------------------------------------------------------------------------------

BOOL decisionOf() {
  const BulletinBoard& board = BulletinBoard::current();
  switch (board.platformAnswer.load()) {
    case PlatformAnswer::yes:
      return true;
    case PlatformAnswer::no:
      return false;
    case PlatformAnswer::automatic:
      break;
  }
  return board.activeOverrideTypes == 0;
}

BOOL platformDecision(id server, SEL selector, int, id) {
  expectCall("BBServer", presentSelector, server, selector);
  return decisionOf();
}

BOOL platformDecisionInFeed(id, SEL, int, id, NSUInteger) { return decisionOf(); }

BOOL addressBookContains(id, SEL, id destinationId) {
  return destinationId != nullptr && AddressBookStore::current().contains(toUtf8(destinationId));
}

BOOL favoritesContain(id, SEL, id destinationId) {
  return destinationId != nullptr &&
         AddressBookStore::current().favouritesContain(toUtf8(destinationId));
}

// ---- The settings gateway ----------------------------------------------------------------------

void learn(NSUInteger types, std::optional<std::uint64_t> source) {
  BulletinBoard& board = BulletinBoard::current();
  board.activeOverrideTypes = types;
  board.lastSource = source;
  if (board.whenGatewayLearns) board.whenGatewayLearns();
}

void gatewayLearns(id gateway, SEL selector, NSUInteger types) {
  expectCall("BBSettingsGateway", changedSelector, gateway, selector);
  learn(types, std::nullopt);
}

void gatewayLearnsWithSource(id gateway, SEL selector, NSUInteger types, NSUInteger source) {
  expectCall("BBSettingsGateway", changedWithSourceSelector, gateway, selector);
  learn(types, source);
}

// ---- Overrides ---------------------------------------------------------------------------------

id initOverride(BehaviorOverride* self, SEL, std::int64_t overrideType, std::int64_t mode,
                id effectiveIntervals) {
  self->overrideType = overrideType;
  self->mode = mode;
  self->effectiveIntervals = share(header(effectiveIntervals));
  return self;
}

id initOverrideWithoutMode(BehaviorOverride* self, SEL selector, id effectiveIntervals,
                           std::int64_t overrideType) {
  return initOverride(self, selector, overrideType, 0, effectiveIntervals);
}

const Array* intervalsOf(const BehaviorOverride* self) {
  return as<Array>(self->effectiveIntervals.get());
}

BOOL isActiveForDate(BehaviorOverride* self, SEL selector, id moment) {
  expectCall(BehaviorOverride::platformClass, activeSelector, self, selector);
  const auto* const date = as<Date>(moment);
  const Array* const intervals = intervalsOf(self);
  if (date == nullptr || intervals == nullptr) return false;
  const Clock& clock = Context::current().clock;
  const auto local = clock.local(Clock::fromReferenceDate(date->sinceReferenceDate));
  const auto timeOfDay = std::chrono::floor<std::chrono::minutes>(
      local - std::chrono::floor<std::chrono::days>(local));
  for (const id item : intervals->items) {
    const auto* const interval = as<EffectiveInterval>(item);
    if (interval != nullptr && interval->period.contains(timeOfDay)) return true;
  }
  return false;
}

id effectiveIntervals(BehaviorOverride* self, SEL) {
  if (failsNow(Fault::effectiveIntervals)) return nullptr;
  return self->effectiveIntervals.get();
}

void encodeOverride(id object, KeyedCoder& coder) {
  const auto* const self = static_cast<BehaviorOverride*>(header(object));
  coder.encodeInteger("overrideType", self->overrideType);
  coder.encodeInteger("mode", self->mode);
  coder.encodeObject("effectiveIntervals", self->effectiveIntervals.get());
}

id decodeOverride(KeyedCoder& coder) {
  const Owned<BehaviorOverride> decoded = own(make<BehaviorOverride>());
  decoded->overrideType = coder.decodeInteger("overrideType");
  decoded->mode = coder.decodeInteger("mode");
  decoded->effectiveIntervals = coder.decodeObject("effectiveIntervals");
  return share(decoded.get()).release();
}

void encodeInterval(id object, KeyedCoder& coder) {
  const auto* const self = static_cast<EffectiveInterval*>(header(object));
  coder.encodeInteger("startMinute", self->period.from.count());
  coder.encodeInteger("endMinute", self->period.to.count());
}

// An interval that another system has written has other keys: better none than a wrong one.
id decodeInterval(KeyedCoder& coder) {
  const DailyPeriod period{std::chrono::minutes(coder.decodeInteger("startMinute")),
                           std::chrono::minutes(coder.decodeInteger("endMinute"))};
  const auto isTimeOfDay = [](std::chrono::minutes time) {
    return time.count() >= 0 && time < std::chrono::hours(24);
  };
  if (!isTimeOfDay(period.from) || !isTimeOfDay(period.to) || period.from == period.to) {
    throw PlatformException("NSInvalidUnarchiveOperationException",
                            "an effective interval without a period of the day");
  }
  auto* const interval = make<EffectiveInterval>();
  interval->period = period;
  return interval;
}

}  // namespace

void defineBulletinBoard() {
  defineClass<Object>("BBServer")
      .method(presentSelector, &platformDecision)
      .method("shouldPresentNotificationOfType:fromSenderWithDestinationID:inFeed:",
              &platformDecisionInFeed)
      .method("_doesAddressBookContainDestinationID:", &addressBookContains)
      .method("_doesFavoritesListContainDestinationID:", &favoritesContain);
  defineClass<Object>("BBSettingsGateway")
      .method(changedSelector, &gatewayLearns)
      .method(changedWithSourceSelector, &gatewayLearnsWithSource);
  defineClass<EffectiveInterval>();
  defineClass<BehaviorOverride>()
      .method("initWithOverrideType:mode:effectiveIntervals:", &initOverride)
      .method("initWithEffectiveIntervals:overrideType:", &initOverrideWithoutMode)
      .method(activeSelector, &isActiveForDate)
      .method("effectiveIntervals", &effectiveIntervals);
  registerArchivable({BehaviorOverride::platformClass, &encodeOverride, &decodeOverride});
  registerArchivable({EffectiveInterval::platformClass, &encodeInterval, &decodeInterval});
}

bool DailyPeriod::contains(std::chrono::minutes timeOfDay) const {
  if (from <= to) return from <= timeOfDay && timeOfDay < to;
  return from <= timeOfDay || timeOfDay < to;
}

std::string toText(const DailyPeriod& period) {
  const auto timeOfDay = [](std::chrono::minutes time) {
    return fmt::format("{:02}:{:02}", time.count() / 60, time.count() % 60);
  };
  return timeOfDay(period.from) + "-" + timeOfDay(period.to);
}

Owned<Object> makeOverride(const std::vector<DailyPeriod>& periods) {
  const Owned<Array> intervals = own(makeArray());
  for (const DailyPeriod& period : periods) {
    const Owned<EffectiveInterval> interval = own(make<EffectiveInterval>());
    interval->period = period;
    append(intervals.get(), interval.get());
  }
  const id allocated = message(classFor<BehaviorOverride>(), "alloc");
  return own(header(message(
      allocated, "initWithOverrideType:mode:effectiveIntervals:", std::int64_t{scheduledOverride},
      std::int64_t{0}, static_cast<id>(intervals.get()))));
}

std::string intervalText(id interval) {
  const auto* const known = as<EffectiveInterval>(interval);
  return known == nullptr ? std::string() : toText(known->period);
}

BulletinBoard::BulletinBoard(const std::filesystem::path& root)
    : root_(root),
      server_(own(make<Object>(classNamed("BBServer")))),
      gateway_(own(make<Object>(classNamed("BBSettingsGateway")))) {
  loadStoredOverrides();
}

void BulletinBoard::check() const {
  if (!std::filesystem::exists(overridesFile())) return;
  std::string why;
  const Owned<Object> stored = readPropertyList(overridesFile(), &why);
  if (!stored) throw DeviceError(overridesFile(), why + ", expected a property list");
  if (as<Dictionary>(stored.get()) == nullptr) {
    throw DeviceError(overridesFile(), "the property list holds no dictionary, expected one");
  }
}

void BulletinBoard::loadStoredOverrides() {
  const Owned<Object> file = readPropertyList(overridesFile());
  const auto* const dictionary = as<Dictionary>(file.get());
  if (dictionary == nullptr) return;
  const auto* const stored = as<Array>(find(dictionary, "overrides"));
  if (stored == nullptr) return;
  std::size_t place = 0;
  const auto leaveOut = [&](const std::string& why) {
    leftOut_.push_back(overridesFile().string() + ": stored override " + std::to_string(place) +
                       " is left out: " + why);
  };
  for (const id item : stored->items) {
    ++place;
    const auto* const data = as<Data>(item);
    try {
      const Owned<Object> decoded = own(data == nullptr ? nullptr : header(unarchive(data->bytes)));
      if (as<BehaviorOverride>(decoded.get()) != nullptr) {
        overrides_.push_back(decoded);
      } else {
        leaveOut(std::string("no archive of a ") + BehaviorOverride::platformClass);
      }
    } catch (const PlatformException& exception) {
      leaveOut(exception.what());
    }
  }
}

bool BulletinBoard::arrives(int type, const std::optional<std::string>& sender) {
  const AutoreleasePool pool;
  const Owned<String> destinationId = sender ? own(makeString(*sender)) : Owned<String>();
  return message<BOOL>(server(), presentSelector, type, static_cast<id>(destinationId.get()));
}

void BulletinBoard::setManualDoNotDisturb(bool on) {
  manual_ = on;
  refresh();
}

void BulletinBoard::setSchedule(const std::optional<DailyPeriod>& period) {
  storeSchedule(period ? std::vector{*period} : std::vector<DailyPeriod>());
  refresh();
}

void BulletinBoard::storeSchedule(const std::vector<DailyPeriod>& periods) {
  const AutoreleasePool pool;
  overrides_.clear();
  const Owned<Array> stored = own(makeArray());
  if (!periods.empty()) {
    overrides_.push_back(makeOverride(periods));
    const Owned<Data> data = own(makeData(archive(overrides_.back().get())));
    append(stored.get(), data.get());
  }
  const Owned<Dictionary> file = own(makeDictionary());
  store(file.get(), "overrides", stored.get());
  savePropertyList(overridesFile(), file.get(), PropertyListForm::binary);
}

bool BulletinBoard::scheduleActiveAt(std::chrono::sys_seconds moment) {
  return askOverrides(moment) != 0;
}

std::uint64_t BulletinBoard::askOverrides(std::chrono::sys_seconds moment) {
  const AutoreleasePool pool;
  const Owned<Date> date = own(makeDate(Clock::sinceReferenceDate(moment)));
  std::uint64_t active = 0;
  for (const Owned<Object>& override : overrides_) {
    if (message<BOOL>(override.get(), activeSelector, static_cast<id>(date.get()))) {
      active |= bitOf(static_cast<BehaviorOverride*>(override.get())->overrideType);
    }
  }
  return active;
}

std::vector<std::chrono::minutes> BulletinBoard::scheduleBoundaries() const {
  std::vector<std::chrono::minutes> boundaries;
  for (const Owned<Object>& override : overrides_) {
    const Array* const intervals = intervalsOf(static_cast<BehaviorOverride*>(override.get()));
    if (intervals == nullptr) continue;
    for (const id item : intervals->items) {
      const auto* const interval = as<EffectiveInterval>(item);
      if (interval == nullptr) continue;
      boundaries.push_back(interval->period.from);
      boundaries.push_back(interval->period.to);
    }
  }
  return boundaries;
}

void BulletinBoard::reportOverrideTypes(std::uint64_t types, std::optional<std::uint64_t> source) {
  const AutoreleasePool pool;
  if (source) {
    message<void>(gateway(), changedWithSourceSelector, NSUInteger{types}, NSUInteger{*source});
  } else {
    message<void>(gateway(), changedSelector, NSUInteger{types});
  }
}

void BulletinBoard::refresh() {
  const std::uint64_t found =
      askOverrides(Context::current().clock.now()) | (manual_ ? bitOf(manualOverride) : 0);
  if (found == lastFound_) return;
  lastFound_ = found;
  constexpr std::uint64_t sourceHost = 0;
  reportOverrideTypes(found, sourceHost);
}

void BulletinBoard::forgetAllSince(const Told& told) noexcept {
  lastFound_ = told.found;
  activeOverrideTypes = told.types;
  lastSource = told.source;
}

}  // namespace simulator
