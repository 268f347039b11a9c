#include <cstdarg>

#include "simulator/context/call_trace.hpp"
#include "simulator/context/context.hpp"
#include "simulator/foundation/objects.hpp"

double NSFoundationVersionNumber = 1240.1;  // that of iOS 9.0

void NSLog(NSString* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  simulator::orNothing([&] {
    std::string text = simulator::formatted(simulator::toUtf8(format), arguments);
    simulator::traceCall("NSLog", text);
    simulator::Context::current().log.write(std::move(text));
  });
  va_end(arguments);
}
