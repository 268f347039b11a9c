// The one place that knows every class of the phone. A class stands after the one that it inherits
// from.
#include "simulator/foundation/keyed_archive.hpp"
#include "simulator/foundation/objects.hpp"
#include "simulator/frameworks/address_book.hpp"
#include "simulator/frameworks/bulletin_board.hpp"
#include "simulator/frameworks/dispatch.hpp"
#include "simulator/frameworks/notification_center.hpp"
#include "simulator/runtime/class_table.hpp"

namespace simulator {

void defineClasses() {
  defineObject();
  defineStrings();
  defineValues();
  defineDates();
  defineCollections();
  defineAddressBook();
  defineKeyedArchive();
  defineDispatch();
  defineBulletinBoard();
  defineNotificationCenter();
}

}  // namespace simulator
