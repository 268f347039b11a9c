// Prints what a library calls while it is loaded: start_up_trace PHONE LIBRARY
#include <cstdio>

#include "simulator/call_trace.hpp"
#include "simulator/device.hpp"
#include "simulator/loader.hpp"

int main(int, char** arguments) {
  simulator::Device device(arguments[1]);
  simulator::startTrace();
  const simulator::LoadedLibrary library(arguments[2]);
  for (const std::string& call : simulator::stopTrace()) std::puts(call.c_str());
}
