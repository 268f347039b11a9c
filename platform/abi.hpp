// The platform's C interface: every symbol that the library takes from the phone, declared once.
//
// The library calls these declarations; the phone's frameworks, or the simulator's, define them.
// Names, types and calling conventions are the platform's own, so the real frameworks fit without
// a shim. A function that never raises is marked noexcept; a message may always raise.
//
// Ownership, as the platform has it: a result of a function with Create or Copy in its name, and
// of the messages alloc, init, new and copy, belongs to the caller. Every other result does not.
// All objects, those of CoreFoundation and libdispatch included, are reference-counted objects of
// the Objective-C runtime and may be retained and released through it.
#pragma once

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

// ---- Types -------------------------------------------------------------------------------------

struct objc_object {};
struct objc_class : objc_object {};
struct objc_selector;

using id = objc_object*;
using Class = objc_class*;
using SEL = objc_selector*;
using IMP = void (*)();

// The platform's word: 32 bits on armv7, 64 bits elsewhere. A boolean is a true bool only where
// the word has 64 bits; the older slice inherits a signed char.
using NSInteger = long;
using NSUInteger = unsigned long;
using CFIndex = long;
#if defined(__LP64__)
using BOOL = bool;
#else
using BOOL = signed char;
#endif

struct NSRange {
  NSUInteger location;
  NSUInteger length;
};

// What a search gives when there is nothing to find: the largest positive signed word.
inline constexpr NSUInteger NSNotFound = static_cast<NSUInteger>(-1) >> 1;

struct NSFastEnumerationState {
  unsigned long state;
  id* itemsPtr;
  unsigned long* mutationsPtr;
  unsigned long extra[5];
};

// The classes that the library names. The types are empty: nothing of an object is ever touched
// but through messages, and the hierarchy only lets a string pass where an object is asked for.
struct NSString : objc_object {};
struct NSCharacterSet : objc_object {};
struct NSNumber : objc_object {};
struct NSData : objc_object {};
struct NSDate : objc_object {};
struct NSDateComponents : objc_object {};
struct NSCalendar : objc_object {};
struct NSArray : objc_object {};
struct NSMutableArray : NSArray {};
struct NSDictionary : objc_object {};
struct NSMutableDictionary : NSDictionary {};
struct BBServer : objc_object {};
struct BBSettingsGateway : objc_object {};
struct BBBehaviorOverride : objc_object {};
struct dispatch_semaphore_s : objc_object {};

// Toll-free bridged: the CoreFoundation type and the Foundation class are one and the same object.
using CFStringRef = NSString*;
using CFArrayRef = NSArray*;
using CFDictionaryRef = NSDictionary*;
using CFTypeRef = id;
using CFErrorRef = id;

struct CFNotificationCenter : objc_object {};
using CFNotificationCenterRef = CFNotificationCenter*;
using CFNotificationCallback = void (*)(CFNotificationCenterRef center, void* observer,
                                        CFStringRef name, const void* object,
                                        CFDictionaryRef userInfo);
using CFNotificationSuspensionBehavior = CFIndex;

struct ABRecord : objc_object {};
struct ABAddressBook : objc_object {};
struct ABMultiValue : objc_object {};
using ABRecordRef = ABRecord*;
using ABAddressBookRef = ABAddressBook*;
using ABMultiValueRef = ABMultiValue*;
using ABRecordID = int32_t;
using ABPropertyID = int32_t;

using dispatch_semaphore_t = dispatch_semaphore_s*;
using dispatch_time_t = uint64_t;
inline constexpr dispatch_time_t DISPATCH_TIME_FOREVER = ~static_cast<dispatch_time_t>(0);

// The block ABI: what a compiler with blocks would emit for a literal without copied captures.
// https://clang.llvm.org/docs/Block-ABI-Apple.html
struct BlockDescriptor {
  unsigned long reserved;
  unsigned long size;
};
struct BlockLiteral {
  const void* isa;
  int flags;
  int reserved;
  IMP invoke;
  const BlockDescriptor* descriptor;
};

extern "C" {

// ---- Objective-C runtime -----------------------------------------------------------------------

Class objc_getClass(const char* name) noexcept;
SEL sel_registerName(const char* name) noexcept;
// To be cast to the method's own type, with receiver and selector in front. Gives zero for a null
// receiver; raises for a method that does not exist. 32-bit ARM has another entry for a method that
// returns an aggregate in memory.
void objc_msgSend();
#if defined(__arm__)
void objc_msgSend_stret();
#endif
void* objc_autoreleasePoolPush() noexcept;
void objc_autoreleasePoolPop(void* pool) noexcept;
id objc_retain(id object) noexcept;
void objc_release(id object) noexcept;
id objc_autorelease(id object) noexcept;

// ---- Substrate ---------------------------------------------------------------------------------

// Installs nothing and leaves the slot alone when the class is null or has no such method. The
// slot is filled before the replacement can first run.
void MSHookMessageEx(Class type, SEL selector, IMP replacement, IMP* slot) noexcept;

// ---- CoreFoundation ----------------------------------------------------------------------------

CFNotificationCenterRef CFNotificationCenterGetDarwinNotifyCenter() noexcept;
void CFNotificationCenterAddObserver(CFNotificationCenterRef center, const void* observer,
                                     CFNotificationCallback callback, CFStringRef name,
                                     const void* object,
                                     CFNotificationSuspensionBehavior behavior) noexcept;
CFArrayRef CFPreferencesCopyKeyList(CFStringRef application, CFStringRef user,
                                    CFStringRef host) noexcept;
CFDictionaryRef CFPreferencesCopyMultiple(CFArrayRef keys, CFStringRef application,
                                          CFStringRef user, CFStringRef host) noexcept;
extern const CFStringRef kCFPreferencesCurrentUser;
extern const CFStringRef kCFPreferencesAnyHost;

// ---- AddressBook -------------------------------------------------------------------------------

ABAddressBookRef ABAddressBookCreateWithOptions(CFDictionaryRef options,
                                                CFErrorRef* error) noexcept;
// The completion is a block `void (^)(bool granted, CFErrorRef error)`, called exactly once, on a
// thread other than the caller's.
void ABAddressBookRequestAccessWithCompletion(ABAddressBookRef book,
                                              const BlockLiteral* completion) noexcept;
ABRecordRef ABAddressBookGetGroupWithRecordID(ABAddressBookRef book, ABRecordID group) noexcept;
CFArrayRef ABAddressBookCopyArrayOfAllGroups(ABAddressBookRef book) noexcept;
CFArrayRef ABGroupCopyArrayOfAllMembers(ABRecordRef group) noexcept;
ABRecordID ABRecordGetRecordID(ABRecordRef record) noexcept;
CFTypeRef ABRecordCopyValue(ABRecordRef record, ABPropertyID property) noexcept;
CFStringRef ABRecordCopyCompositeName(ABRecordRef record) noexcept;
CFIndex ABMultiValueGetCount(ABMultiValueRef values) noexcept;
CFTypeRef ABMultiValueCopyValueAtIndex(ABMultiValueRef values, CFIndex index) noexcept;
CFArrayRef ABMultiValueCopyArrayOfAllValues(ABMultiValueRef values) noexcept;
extern const ABPropertyID kABPersonPhoneProperty;
extern const ABPropertyID kABPersonEmailProperty;

// ---- libdispatch and blocks --------------------------------------------------------------------

dispatch_semaphore_t dispatch_semaphore_create(intptr_t value) noexcept;
intptr_t dispatch_semaphore_wait(dispatch_semaphore_t semaphore, dispatch_time_t timeout) noexcept;
intptr_t dispatch_semaphore_signal(dispatch_semaphore_t semaphore) noexcept;
extern void* _NSConcreteStackBlock[32];

// ---- Foundation --------------------------------------------------------------------------------

void NSLog(NSString* format, ...) noexcept;
extern double NSFoundationVersionNumber;

}  // extern "C"
