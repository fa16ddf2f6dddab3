#pragma once

namespace os {

/// The name of a signal by its Linux number, such as "SIGTERM"; null for anything but 1 to 31.
const char* signalName(int sig) noexcept;

}  // namespace os
