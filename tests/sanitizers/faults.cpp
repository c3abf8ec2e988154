// SPDX-License-Identifier: Apache-2.0
// Commits the fault that it is asked for, which the sanitizer of the build has to report:
// faults leak | overflow | read | race
#include <climits>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace {

volatile int sink = 0;
void* volatile kept = nullptr;

void Leak() {
  kept = std::malloc(10);
  kept = nullptr;
}

void Overflow() {
  sink = INT_MAX;
  sink = sink + 1;
}

void ReadBehind() {
  char* const volatile memory = static_cast<char*>(std::malloc(10));
  sink = memory[10];
  std::free(memory);
}

void Race() {
  std::thread other([] { sink = sink + 1; });
  sink = sink + 1;
  other.join();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const char* const fault = argv[1];
  if (std::strcmp(fault, "leak") == 0) Leak();
  if (std::strcmp(fault, "overflow") == 0) Overflow();
  if (std::strcmp(fault, "read") == 0) ReadBehind();
  if (std::strcmp(fault, "race") == 0) Race();
  return 0;
}
