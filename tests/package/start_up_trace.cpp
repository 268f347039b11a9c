// Prints what a library calls while it is loaded: start-up-trace --library LIBRARY PHONE
#include <cstdio>

#include "simulator/context/call_trace.hpp"
#include "simulator/device.hpp"
#include "simulator/loader/loaded_library.hpp"

int main(int, char** arguments) {
  simulator::Device device(arguments[3]);
  simulator::startTrace();
  const simulator::LoadedLibrary library(arguments[2]);
  device.queue.drain();
  for (const std::string& call : simulator::stopTrace()) std::puts(call.c_str());
}
