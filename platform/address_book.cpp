#include "platform/address_book.hpp"

namespace hushlane::platform {

namespace {

// The completion as a block literal, laid out by hand so that a compiler without blocks builds it
// too. Its captures are plain pointers, so the platform's copy of it needs no help from us.
struct AccessBlock : BlockLiteral {
  AccessCompletion completion;
  void* context;
};

constexpr BlockDescriptor accessBlockDescriptor = {0, sizeof(AccessBlock)};

void invokeAccessBlock(const AccessBlock* block, bool granted, CFErrorRef) {
  block->completion(block->context, granted);
}

}  // namespace

void requestAccess(ABAddressBook* book, AccessCompletion completion, void* context) noexcept {
  const AccessBlock block = {{&_NSConcreteStackBlock, 0, 0,
                              reinterpret_cast<IMP>(&invokeAccessBlock), &accessBlockDescriptor},
                             completion,
                             context};
  ABAddressBookRequestAccessWithCompletion(book, &block);
}

}  // namespace hushlane::platform
