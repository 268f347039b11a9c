// The members of the chosen address-book group, and the list of all groups, which is declared for
// everyone in hushlane/hushlane.h.
//
// Both functions block their caller, without a time limit, until the address book has been read on
// a queue of the platform. The platform promises to call a completion exactly once and on another
// thread.
#pragma once

namespace hushlane {

// Publishes the record IDs, phone numbers and e-mail addresses of the members of the group
// `allowedMessageGroup`: three collections, each complete before any reader sees it. Phone numbers
// are reduced to the digits 0 to 9; a number without digits gives an empty string, a value that the
// address book holds without text gives no entry. Addresses stay as they are. Order and repeats are
// the address book's.
//
// The collections stay as they are when access is denied, there is no such group or member list, or
// the platform gives no semaphore; when the address book can't be opened, that is logged. Called by
// the settings load only.
void cachePrivilegedMessageSenders();

}  // namespace hushlane
