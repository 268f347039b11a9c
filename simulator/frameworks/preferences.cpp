#include "simulator/frameworks/preferences.hpp"

#include <fstream>

#include "simulator/context/device_error.hpp"
#include "simulator/context/faults.hpp"
#include "simulator/foundation/property_list.hpp"

namespace simulator {
namespace {

Owned<Dictionary> readDomain(const std::filesystem::path& file, std::string* why) {
  const Owned<Object> root = readPropertyList(file, why);
  auto* dictionary = as<Dictionary>(root.get());
  if (root && dictionary == nullptr) *why = "a property list, but not of a dictionary";
  return share(dictionary);
}

// The domain for an edit, in a dictionary that may be changed. What can't be read is never
// written over.
Owned<Dictionary> editableDomain(const std::filesystem::path& file) {
  auto editable = own(makeDictionary());
  if (!std::filesystem::exists(file)) return editable;
  std::string why;
  const auto current = readDomain(file, &why);
  if (!current) throw DeviceError(file, why + "; expected a property list of a dictionary");
  editable->entries = current->entries;
  return editable;
}

void saveDomain(const std::filesystem::path& file, Dictionary* domain) {
  char first = 'b';
  std::ifstream(file, std::ios::binary).get(first);
  const bool binary = first == 'b';
  savePropertyList(file, domain, binary ? PropertyListForm::binary : PropertyListForm::xml);
}

Owned<Object> objectOf(const PreferenceValue& value) {
  struct Maker {
    Object* operator()(bool boolean) const { return makeBoolean(boolean); }
    Object* operator()(std::int64_t integer) const { return makeInteger(integer); }
    Object* operator()(double real) const { return makeReal(real); }
    Object* operator()(const std::string& text) const { return makeString(text); }
  };
  return own(std::visit(Maker(), value));
}

NSString* constant(const char* text) {
  return static_cast<NSString*>(static_cast<id>(makeImmortalString(text)));
}

// What the current user set on any host; nobody else's preferences are on this phone.
Owned<Dictionary> visibleDomain(id application, id user, id host) {
  if (application == nullptr || !areEqual(user, kCFPreferencesCurrentUser) ||
      !areEqual(host, kCFPreferencesAnyHost)) {
    return {};
  }
  return PreferencesStore::current().domain(toUtf8(application));
}

}  // namespace

PreferencesStore::PreferencesStore(const std::filesystem::path& root) : root_(root) {}

std::filesystem::path PreferencesStore::fileOf(const std::string& domain) {
  return "var/mobile/Library/Preferences/" + domain + ".plist";
}

void PreferencesStore::check() const {
  const std::filesystem::path settings = file(settingsDomain);
  if (std::filesystem::exists(settings)) editableDomain(settings);
}

Owned<Dictionary> PreferencesStore::changed(const Dictionary* settings, const std::string& key,
                                            const PreferenceValue& value) {
  auto copy = own(makeDictionary());
  if (settings != nullptr) copy->entries = settings->entries;
  store(copy.get(), key, objectOf(value).get());
  return copy;
}

Owned<Dictionary> PreferencesStore::domain(const std::string& name) const {
  if (standIn_ && name == settingsDomain) return standIn_;
  std::string why;
  auto found = readDomain(file(name), &why);
  if (!found && std::filesystem::exists(file(name))) {
    Context::current().keepFailure(std::make_exception_ptr(DeviceError(file(name), why)));
  }
  return found;
}

void PreferencesStore::set(const std::string& domain, const std::string& key,
                           const PreferenceValue& value) {
  set(domain, key, objectOf(value).get());
}

void PreferencesStore::set(const std::string& domain, const std::string& key, id value) {
  const auto entries = editableDomain(file(domain));
  store(entries.get(), key, value);
  saveDomain(file(domain), entries.get());
}

void PreferencesStore::unset(const std::string& domain, const std::string& key) {
  const auto entries = editableDomain(file(domain));
  entries->entries.erase(utf16From(key));
  saveDomain(file(domain), entries.get());
}

void PreferencesStore::clear(const std::string& domain) {
  saveDomain(file(domain), own(makeDictionary()).get());
}

}  // namespace simulator

using namespace simulator;

extern "C" {

const CFStringRef kCFPreferencesCurrentUser = constant("kCFPreferencesCurrentUser");
const CFStringRef kCFPreferencesAnyHost = constant("kCFPreferencesAnyHost");

CFArrayRef CFPreferencesCopyKeyList(CFStringRef application, CFStringRef user,
                                    CFStringRef host) noexcept {
  return orNothing([&]() -> CFArrayRef {
    if (failsNow(Fault::CFPreferencesCopyKeyList, toUtf8(application))) return nullptr;
    const auto domain = visibleDomain(application, user, host);
    if (!domain || domain->entries.empty()) return nullptr;
    auto keys = own(makeArray());
    for (const auto& [key, value] : domain->entries) {
      append(keys.get(), own(makeString(key)).get());
    }
    return static_cast<CFArrayRef>(static_cast<id>(keys.release()));
  });
}

CFDictionaryRef CFPreferencesCopyMultiple(CFArrayRef keys, CFStringRef application,
                                          CFStringRef user, CFStringRef host) noexcept {
  return orNothing([&]() -> CFDictionaryRef {
    if (failsNow(Fault::CFPreferencesCopyMultiple, toUtf8(application))) return nullptr;
    const auto domain = visibleDomain(application, user, host);
    const auto* wanted = as<Array>(keys);
    if (!domain || wanted == nullptr) return nullptr;
    auto values = own(makeDictionary());
    for (const id key : wanted->items) {
      const auto* name = as<String>(key);
      if (name == nullptr) continue;
      const auto entry = domain->entries.find(name->units);
      if (entry != domain->entries.end()) values->entries.insert(*entry);
    }
    return static_cast<CFDictionaryRef>(static_cast<id>(values.release()));
  });
}

}  // extern "C"
