#include "home_screen/ask/settings_page.hpp"

#include <stdexcept>

#include "home_screen/ask/settings_description.hpp"
#include "hushlane/hushlane.h"
#include "simulator/device.hpp"
#include "simulator/foundation/property_list.hpp"
#include "simulator/loader/loaded_library.hpp"

namespace home_screen {
namespace {

using simulator::Array;
using simulator::Dictionary;
using simulator::LoadedLibrary;
using Choices = std::vector<SettingsPage::Choice>;

// ---- The description ---------------------------------------------------------------------------

std::string textOf(const Dictionary* dictionary, const char* key) {
  return simulator::toUtf8(simulator::find(dictionary, key));
}

simulator::Owned<Dictionary> parseDescription(std::string_view description) {
  const std::vector<std::uint8_t> bytes(description.begin(), description.end());
  std::string why;
  const auto root = simulator::parsePropertyList(bytes, &why);
  auto* const page = simulator::as<Dictionary>(root.get());
  if (page == nullptr || simulator::as<Array>(simulator::find(page, "items")) == nullptr) {
    throw std::runtime_error("the settings page: " + why + "; expected a description with items");
  }
  return simulator::share(page);
}

// ---- A cell ------------------------------------------------------------------------------------

// In the place of the controller, which the runtime asks by the names of its methods.
id askPane(const LoadedLibrary& pane, const std::string& method) {
  if (method == "groupValues:") return pane.function<HushlaneObject()>("hlGroupValues")();
  if (method == "groupTitles:") return pane.function<HushlaneObject()>("hlGroupTitles")();
  throw std::runtime_error("the settings page: its controller has no method " + method);
}

using Items = std::vector<id>;

// What the description lists, or the pane.
Items listFor(const Dictionary* item, const LoadedLibrary& pane, const char* listed,
              const char* asked) {
  const std::string method = textOf(item, asked);
  const auto* list =
      simulator::as<Array>(method.empty() ? simulator::find(item, listed) : askPane(pane, method));
  return list == nullptr ? Items() : list->items;
}

Choices listChoices(const Dictionary* item, const LoadedLibrary& pane) {
  const Items values = listFor(item, pane, "validValues", "valuesDataSource");
  const Items titles = listFor(item, pane, "validTitles", "titlesDataSource");
  if (values.size() != titles.size()) {
    throw std::runtime_error("the settings page: not one title for each value");
  }
  Choices choices;
  for (std::size_t i = 0; i < values.size(); ++i) {
    choices.push_back(
        {simulator::share(simulator::header(values[i])), simulator::toUtf8(titles[i])});
  }
  return choices;
}

Choices switchChoices() {
  return {{simulator::own<simulator::Object>(simulator::makeBoolean(false)), "off"},
          {simulator::own<simulator::Object>(simulator::makeBoolean(true)), "on"}};
}

std::optional<std::size_t> findChoice(const Choices& choices, id value) {
  for (std::size_t i = 0; i < choices.size(); ++i) {
    if (simulator::areEqual(choices[i].value.get(), value)) return i;
  }
  return std::nullopt;
}

// A switch is on for each value with an integer reading other than 0.
std::size_t isOn(id value) {
  static const SEL reading = sel_registerName("intValue");
  return value != nullptr && simulator::respondsTo(value, reading) &&
                 simulator::message<int>(value, "intValue") != 0
             ? 1
             : 0;
}

SettingsPage::Cell makeCell(const Dictionary* item, const simulator::Device& device,
                            const LoadedLibrary& pane) {
  const std::string kind = textOf(item, "cell");
  const bool isSwitch = kind == "PSSwitchCell";
  if (!isSwitch && kind != "PSLinkListCell") {
    throw std::runtime_error("the settings page: a cell of the unknown kind " + kind);
  }
  SettingsPage::Cell cell{textOf(item, "label"),
                          textOf(item, "defaults"),
                          textOf(item, "key"),
                          textOf(item, "PostNotification"),
                          simulator::share(simulator::header(simulator::find(item, "default"))),
                          isSwitch ? switchChoices() : listChoices(item, pane),
                          std::nullopt};
  const auto domain = device.preferences.domain(cell.domain);
  id value = domain ? simulator::find(domain.get(), cell.key) : nullptr;
  if (value == nullptr) value = cell.byDefault.get();
  cell.chosen = isSwitch ? isOn(value) : findChoice(cell.choices, value);
  return cell;
}

}  // namespace

std::string_view settingsDescription() { return description::settings; }

SettingsPage openSettingsPage(const simulator::Device& device, const std::filesystem::path& pane,
                              std::string_view description) {
  const simulator::AutoreleasePool pool;
  const auto root = parseDescription(description);
  const LoadedLibrary loaded(pane, LoadedLibrary::Host::other);
  loaded.function<void()>("hlReadGroups")();
  SettingsPage page{textOf(root.get(), "title"), {}};
  for (const id entry : simulator::as<Array>(simulator::find(root.get(), "items"))->items) {
    const auto* const item = simulator::as<Dictionary>(entry);
    if (item == nullptr) throw std::runtime_error("the settings page: a cell that is none");
    if (textOf(item, "cell") == "PSGroupCell") {
      page.sections.push_back({textOf(item, "label"), textOf(item, "footerText"), {}});
    } else if (page.sections.empty()) {
      throw std::runtime_error("the settings page: it does not begin with a section");
    } else {
      page.sections.back().cells.push_back(makeCell(item, device, loaded));
    }
  }
  return page;
}

}  // namespace home_screen
