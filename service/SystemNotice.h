// What the service manager is told.
#pragma once

#include <string_view>

namespace service {

// Sends the state ("READY=1", "STOPPING=1", with further lines) to the socket that NOTIFY_SOCKET names, a
// path or an abstract name behind '@'. Does nothing where there is none; a manager that does not listen is no
// failure.
void notifyManager(std::string_view state);

}  // namespace service
