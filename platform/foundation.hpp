// Foundation, as far as the library uses it: one function for each operation, under its name, or
// for a few that always go together.
//
// A `Ref` result belongs to the caller. A raw pointer does not: it is good while its owner or the
// surrounding autorelease scope lasts. An operation on nothing gives nothing, zero or false; so
// does an operation that would have to be handed nothing where the platform raises on it. A missing
// date is handed on. All that the platform raises passes through. Any thread.
#pragma once

#include "platform/runtime.hpp"

namespace hushlane::platform {

// ---- Strings: lengths and positions in UTF-16 code units ---------------------------------------

NSUInteger length(NSString* string);
NSString* substringFromIndex(NSString* string, NSUInteger index);
// rangeOfString:, the location. NSNotFound when there is none; 0 in nothing and for nothing.
NSUInteger locationOfString(NSString* string, NSString* wanted);
NSString* stringWithFormat(NSString* format, int32_t value);

// False for no ending, and on the platform for an empty one. In the header, since a search asks
// every entry of a list.
inline bool hasSuffix(NSString* string, NSString* ending) {
  return ending != nullptr && send<"hasSuffix:", BOOL(NSString*)>(string, ending);
}

NSCharacterSet* characterSetWithCharactersInString(NSString* characters);
NSCharacterSet* invertedSet(NSCharacterSet* set);
NSArray* componentsSeparatedByCharactersInSet(NSString* string, NSCharacterSet* separators);
NSString* componentsJoinedByString(NSArray* components, NSString* separator);

// ---- Numbers, and the readings that numbers and strings have -----------------------------------

NSNumber* numberWithInt(int32_t value);

// `absent` for what has no such reading.
int64_t intValue(id value, int64_t absent);
bool boolValue(id value, bool absent);

// ---- Collections -------------------------------------------------------------------------------

Ref<NSMutableArray> makeMutableArray();
void addObject(NSMutableArray* array, id object);  // nothing is added for nothing
bool containsObject(NSArray* array, id object);

bool isArray(id object);  // does it answer to objectAtIndex:?
NSUInteger count(NSArray* array);
id objectAtIndex(NSArray* array, NSUInteger index);

Ref<NSMutableDictionary> makeMutableDictionary();
void setObjectForKey(NSMutableDictionary* dictionary, id object, NSString* key);
id objectForKey(NSDictionary* dictionary, NSString* key);
Ref<NSDictionary> dictionaryWithContentsOfFile(NSString* path);

// The objects of an array in order: `for (NSString* name : Each<NSString>(names))`. The array must
// stay alive and unchanged meanwhile.
template <class T>
class Each {
 public:
  explicit Each(NSArray* array) noexcept : array_(array) {}

  struct End {};
  class Iterator {
   public:
    explicit Iterator(Each& each) : each_(each) { fetch(); }
    T* operator*() const noexcept { return static_cast<T*>(*at_); }
    Iterator& operator++() {
      if (++at_ == end_) fetch();
      return *this;
    }
    bool operator!=(End) const noexcept { return at_ != end_; }

   private:
    void fetch() {
      const NSUInteger fetched = each_.fetch();
      at_ = each_.state_.itemsPtr;
      end_ = at_ + fetched;
    }

    Each& each_;
    id* at_ = nullptr;
    id* end_ = nullptr;
  };

  Iterator begin() { return Iterator(*this); }
  End end() const noexcept { return {}; }

 private:
  static constexpr NSUInteger batch = 16;

  NSUInteger fetch() {
    return send<"countByEnumeratingWithState:objects:count:",
                NSUInteger(NSFastEnumerationState*, id*, NSUInteger)>(array_, &state_, buffer_,
                                                                      batch);
  }

  NSArray* array_;
  NSFastEnumerationState state_ = {};
  id buffer_[batch];
};

// ---- Dates -------------------------------------------------------------------------------------

Ref<NSDate> makeDate();  // the current moment
NSDate* date();          // the same, not owned

// The weekday number of the moment, 1 to 7, as the user's current calendar and time zone count; 0
// when the host has no calendar.
NSInteger weekdayOf(NSDate* moment);

// ---- Archives ----------------------------------------------------------------------------------

bool isData(id object);

// Null for no data. A damaged archive raises.
id unarchiveObjectWithData(NSData* data);

}  // namespace hushlane::platform
