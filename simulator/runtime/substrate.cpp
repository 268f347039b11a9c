#include "simulator/faults.hpp"
#include "simulator/runtime/class_table.hpp"

void MSHookMessageEx(Class type, SEL selector, IMP replacement, IMP* slot) noexcept {
  if (simulator::failsNow(simulator::Fault::MSHookMessageEx) || type == nullptr) return;
  simulator::ClassTable::shared().replace(simulator::record(type), selector, replacement, slot);
}
