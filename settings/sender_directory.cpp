#include "settings/sender_directory.hpp"

#include "core/extension_state.hpp"
#include "platform/address_book.hpp"
#include "platform/dispatch.hpp"
#include "platform/foundation.hpp"
#include "settings/group_list.hpp"

namespace hushlane {

namespace {

using platform::constantString;
using platform::move;
using platform::Ref;
using platform::Semaphore;

class SignalAtEnd {
 public:
  explicit SignalAtEnd(Ref<Semaphore> semaphore) noexcept : semaphore_(move(semaphore)) {}
  SignalAtEnd(const SignalAtEnd&) = delete;
  SignalAtEnd& operator=(const SignalAtEnd&) = delete;
  ~SignalAtEnd() { platform::signal(semaphore_.get()); }

 private:
  Ref<Semaphore> semaphore_;
};

template <class Read>
struct Reading {
  Read& read;
  Ref<ABAddressBook> book;
  Ref<Semaphore> finished;
};

// The caller's reading is gone as soon as the semaphore is signalled, so the completion holds what
// it needs itself. Released last, first the address book, then the signal, whatever happens.
template <class Read>
void completeReading(void* context, bool granted) {
  auto& reading = *static_cast<Reading<Read>*>(context);
  const SignalAtEnd signalAtEnd(reading.finished);
  const Ref<ABAddressBook> book = move(reading.book);
  if (granted) reading.read(book.get());
}

// Asks for access and, when it is granted, calls `read(book)` on the platform's queue. Returns when
// the address book has been released.
template <class Read>
void readWhenGranted(Ref<ABAddressBook> book, Read read) {
  const Ref<Semaphore> finished = platform::makeSemaphore();
  if (!finished) return;
  ABAddressBook* const asked = book.get();
  Reading<Read> reading{read, move(book), finished};
  platform::requestAccess(asked, &completeReading<Read>, &reading);
  platform::wait(finished.get());
}

// The members' details while they are being collected.
struct Senders {
  Ref<NSMutableArray> ids = platform::makeMutableArray();
  Ref<NSMutableArray> phones = platform::makeMutableArray();
  Ref<NSMutableArray> emails = platform::makeMutableArray();
};

void addPhoneNumbers(NSMutableArray* phones, ABRecord* person, NSCharacterSet* nonDigits) {
  const Ref<ABMultiValue> numbers = platform::phoneNumbers(person);
  if (!numbers) return;
  const CFIndex count = platform::count(numbers.get());
  for (CFIndex index = 0; index < count; ++index) {
    const Ref<NSString> number = platform::valueAtIndex(numbers.get(), index);
    NSArray* const pieces = platform::componentsSeparatedByCharactersInSet(number.get(), nonDigits);
    platform::addObject(phones, platform::componentsJoinedByString(pieces, constantString<"">()));
  }
}

void addEmailAddresses(NSMutableArray* emails, ABRecord* person) {
  Ref<ABMultiValue> values = platform::emailAddresses(person);
  if (!values) return;
  const Ref<NSArray> addresses = platform::allValues(values.get());
  values = {};
  for (NSString* const address : platform::Each<NSString>(addresses.get())) {
    platform::addObject(emails, address);
  }
}

void cacheMembers(NSArray* members) {
  NSCharacterSet* const nonDigits = platform::invertedSet(
      platform::characterSetWithCharactersInString(constantString<"0123456789">()));
  const Senders senders;
  for (ABRecord* const member : platform::Each<ABRecord>(members)) {
    // What one member leaves behind is gone before the next, so a large group takes no more room.
    const platform::AutoreleasePool pool;
    platform::addObject(senders.ids.get(), platform::numberWithInt(platform::recordID(member)));
    addPhoneNumbers(senders.phones.get(), member, nonDigits);
    addEmailAddresses(senders.emails.get(), member);
  }
  state::privilegedMessageSenderIDs.publish(senders.ids);
  state::privilegedMessageSenderPhones.publish(senders.phones);
  state::privilegedMessageSenderEmails.publish(senders.emails);
}

}  // namespace

void cachePrivilegedMessageSenders() {
  Ref<ABAddressBook> addressBook = platform::openAddressBook();
  if (!addressBook) {
    platform::log<"HL: unable to get addressbook for caching privileged message senders!">();
    return;
  }
  readWhenGranted(move(addressBook), [](ABAddressBook* book) {
    ABRecord* const group = platform::groupWithRecordID(
        book, static_cast<ABRecordID>(state::allowedMessageGroup.load()));
    if (group == nullptr) return;
    if (const Ref<NSArray> members = platform::membersOfGroup(group)) cacheMembers(members.get());
  });
}

}  // namespace hushlane

extern "C" id loadABGroups() {
  using namespace hushlane;
  Ref<NSMutableArray> entries;
  if (Ref<ABAddressBook> addressBook = platform::openAddressBook()) {
    readWhenGranted(move(addressBook),
                    [&entries](ABAddressBook* book) { entries = listGroups(book); });
  }
  if (!entries) entries = platform::makeMutableArray();
  return platform::autorelease(move(entries));
}
