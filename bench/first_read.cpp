// A process with one read: prints the nanoseconds from before the client's construction to after its first
// GetPar. usage: first_read EXPECTED, the text of the parameter.
#include <chrono>
#include <cstdio>
#include <string>

#include "src/spc.h"

int main(int argc, char** argv) {
  const auto begin = std::chrono::steady_clock::now();
  Spc spc;
  spc.Init();
  UnicodeString value;
  const bool done = spc.GetPar(u"Area00000", u"SetPoint00", value);
  const std::chrono::nanoseconds passed = std::chrono::steady_clock::now() - begin;
  if (argc != 2 || !done || value != UnicodeString(argv[1])) {
    std::fputs("first_read: the value is wrong\n", stderr);
    return 1;
  }
  std::puts(std::to_string(passed.count()).c_str());
}
