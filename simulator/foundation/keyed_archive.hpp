// The keyed-archive format: a property list with $archiver, $version, $top and $objects, in which
// objects stand once and refer to each other, and to their class, by UID.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "simulator/foundation/property_list.hpp"

namespace simulator {

// What a class must give to be archived: a name, and how to write and read its own keys.
// Registered once for each class by the file that defines it.
class KeyedCoder;
struct ArchivableClass {
  std::string name;                              // "BBBehaviorOverride"
  void (*encode)(id object, KeyedCoder& coder);  // writes the object's keys
  id (*decode)(KeyedCoder& coder);               // one reference, owned by the caller; may raise
};
void registerArchivable(ArchivableClass type);

// Both directions of one object's keys. While decoding, a missing key gives null or 0.
class KeyedCoder {
 public:
  virtual ~KeyedCoder() = default;
  virtual void encodeObject(const char* key, id value) = 0;
  virtual void encodeInteger(const char* key, std::int64_t value) = 0;
  virtual Owned<Object> decodeObject(const char* key) = 0;
  virtual std::int64_t decodeInteger(const char* key) = 0;
};

// In the binary form. Strings, numbers, data and arrays are archived as the platform does; every
// other class must be registered.
std::vector<std::uint8_t> archive(id root);

// One reference, owned by the caller; null for an archive whose root is $null. Also reads dates and
// dictionaries, which other systems archive. A damaged archive
// (not a property list, a UID out of range, a class that is not known, objects that contain
// themselves) raises NSInvalidUnarchiveOperationException or NSInvalidArgumentException.
id unarchive(std::span<const std::uint8_t> bytes);

void defineKeyedArchive();

}  // namespace simulator
