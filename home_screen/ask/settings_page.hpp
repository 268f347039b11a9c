// The page that the phone's Settings app shows: from the description that is in the package, and
// with the choices that the pane's own code lists.
//
// The app reads a setting as the phone's own does: what is stored, whatever the library makes of
// it, else the description's default.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/foundation/objects.hpp"

namespace simulator {
class Device;
}

namespace home_screen {

struct SettingsPage {
  struct Choice {
    simulator::Owned<simulator::Object> value;  // what is stored
    std::string title;
  };
  // A setting: on another page the user chooses one of a list; a switch is off or on.
  struct Cell {
    std::string label;
    std::string domain;
    std::string key;
    std::string notification;  // posted after a change
    simulator::Owned<simulator::Object> byDefault;
    std::vector<Choice> choices;
    std::optional<std::size_t>
        chosen;  // where what is stored is no choice, the phone shows nothing
  };
  struct Section {
    std::string label;
    std::string footer;  // what stands beneath
    std::vector<Cell> cells;
  };

  std::string title;
  std::vector<Section> sections;
};

// The description that is built into the program.
std::string_view settingsDescription();

// Opens the page on the phone. Throws std::runtime_error for a pane that can't be loaded, and for a
// description that is damaged or holds what this page does not know.
SettingsPage openSettingsPage(const simulator::Device& device, const std::filesystem::path& pane,
                              std::string_view description);

}  // namespace home_screen
