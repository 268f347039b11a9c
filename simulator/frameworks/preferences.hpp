// The preferences of the phone: one property list for each domain, read afresh at every question,
// as a daemon without a cache would. Also the C functions CFPreferencesCopyKeyList and
// CFPreferencesCopyMultiple, which ask it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
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

  // While there is one, the settings are these instead of what their file holds, and the file is
  // not touched: to try something, and to drop it again.
  void standIn(Owned<Dictionary> settings) noexcept { standIn_ = std::move(settings); }
  const Owned<Dictionary>& standIn() const { return standIn_; }  // null without one
  // A copy with one key more, or another value of it.
  static Owned<Dictionary> changed(const Dictionary* settings, const std::string& key,
                                   const PreferenceValue& value);

  // Writes as a settings pane does, keeping the file's form (binary for a new one); posts nothing.
  void set(const std::string& domain, const std::string& key, const PreferenceValue& value);
  void set(const std::string& domain, const std::string& key,
           id value);  // any property-list object
  void unset(const std::string& domain, const std::string& key);
  void clear(const std::string& domain);  // removes every key; the domain then holds none

  // From the root of the phone's file system.
  static std::filesystem::path fileOf(const std::string& domain);
  std::filesystem::path file(const std::string& domain) const { return root_ / fileOf(domain); }

 private:
  Owned<Dictionary> standIn_;
  std::filesystem::path root_;
};

}  // namespace simulator
