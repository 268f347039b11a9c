#include "simulator/faults.hpp"
#include "simulator/runtime/class_table.hpp"

void MSHookMessageEx(Class type, SEL selector, IMP replacement, IMP* slot) noexcept {
  const std::string about =
      std::string(type == nullptr ? "(null)" : simulator::className(type)) + " " + selector->name;
  if (simulator::failsNow(simulator::Fault::MSHookMessageEx, about) || type == nullptr) return;
  simulator::ClassTable::shared().replace(simulator::record(type), selector, replacement, slot);
}
