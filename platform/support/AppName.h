// The name under which this process acts.
#pragma once

#include "platform/support/UnicodeString.h"
#include "platform/support/api.h"

// The program's own file name, without path, read as UTF-8. Neither the environment nor the name that
// the program was called by changes it. Any thread may call.
SPS_API UnicodeString AppGetSystemName();
