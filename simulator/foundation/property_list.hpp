// Property lists as objects: dictionaries, arrays, strings, numbers, dates, data and, inside keyed
// archives, UIDs. Reads the binary and the XML form; writes either.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "simulator/foundation/objects.hpp"

namespace simulator {

enum class PropertyListForm { binary, xml };

// Nested deeper than this, a property list is refused, as the platform's own parser refuses it.
inline constexpr int deepestPropertyList = 512;

// So is a larger one, and one of more than 100,000 objects. The largest list that is read here on a
// phone holds some hundred favourites: below 100 kB and 2,000 objects.
inline constexpr std::size_t largestPropertyList = 4u << 20;

// The root object, or null with the reason in `why` (when given): not a property list, truncated,
// nested too deeply. Never raises, whatever the bytes are.
Owned<Object> parsePropertyList(std::span<const std::uint8_t> bytes, std::string* why = nullptr);

// The same for a file; a missing or unreadable file gives null and its reason too.
Owned<Object> readPropertyList(const std::filesystem::path& file, std::string* why = nullptr);

// An object of another kind inside raises NSInvalidArgumentException, and so does a list that would
// be refused when it is read again.
std::vector<std::uint8_t> writePropertyList(id root, PropertyListForm form);

// Replaces the file whole: the new content is written beside it and renamed into place. Makes the
// folders that are missing. Throws std::system_error.
void savePropertyList(const std::filesystem::path& file, id root, PropertyListForm form);

}  // namespace simulator
