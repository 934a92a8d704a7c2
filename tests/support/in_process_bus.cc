// Test programs that start the library keep its bus object in-process, so
// that they need no bus daemon whichever libubus they are built against. The
// bus tests choose a daemon of their own where they want one.
#include "zvubus.h"

namespace {
const int kInProcess = zvUbusUseInProcess();
}  // namespace
