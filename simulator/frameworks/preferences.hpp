// The preferences of the phone: one property list for each domain, read afresh at every question,
// as a daemon without a cache would. Also the C functions CFPreferencesCopyKeyList and
// CFPreferencesCopyMultiple, which ask it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <variant>

#include "simulator/context/context.hpp"
#include "simulator/foundation/objects.hpp"

namespace simulator {

using PreferenceValue = std::variant<bool, std::int64_t, double, std::string>;

// Where the library keeps its settings.
inline constexpr const char* settingsDomain = "org.mernwick.hushlane";

class PreferencesStore : public Current<PreferencesStore> {
 public:
  explicit PreferencesStore(const std::filesystem::path& root);  // the phone's file system

  // Throws DeviceError when a domain's file is there but is no property list of a dictionary.
  void check() const;

  // The whole domain, or null: no file, not a property list, not a dictionary.
  Owned<Dictionary> domain(const std::string& name) const;

  // Writes as a settings pane does, keeping the file's form (binary for a new one); posts nothing.
  void set(const std::string& domain, const std::string& key, const PreferenceValue& value);
  void set(const std::string& domain, const std::string& key,
           id value);  // any property-list object
  void unset(const std::string& domain, const std::string& key);
  void clear(const std::string& domain);  // removes every key; the domain then holds none

  std::filesystem::path file(const std::string& domain) const;

 private:
  std::filesystem::path folder_;  // var/mobile/Library/Preferences
};

}  // namespace simulator
