#include "simulator/runtime/classes.hpp"

#include <mutex>

namespace simulator {
namespace {

void defineAll() {
  defineObject();
  defineStrings();
  defineCharacterSet();
  defineNumber();
  defineData();
  defineDates();
  defineCollections();
  defineAddressBook();
  defineKeyedArchive();
  defineDispatch();
  defineBulletinBoard();
  defineNotificationCenter();
}

}  // namespace

void ensureClassesDefined() {
  static std::once_flag once;
  static thread_local bool defining = false;  // defining a class uses the runtime as well
  if (defining) return;
  std::call_once(once, [] {
    defining = true;
    defineAll();
    defining = false;
  });
}

}  // namespace simulator
