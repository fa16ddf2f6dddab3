#include "base/loc/BuiltInTexts.h"

namespace {

constexpr loc::TextRow Rows[] = {
    {"os_launchprocess_title_fmt", "%1$S - %2$S password required"},
    {"os_launchwithpipe_elevate_cancelled", "Elevation cancelled or not supported."},
    {"os_launchwithpipe_elevate_not_admin", "Account not valid for elevation."},
    {"os_logdestsyslog_facilityparam",
     "Facility for the 'syslog' log destination to use, as an integer or name. Supported names: user, daemon, auth, "
     "authpriv (if available), security (if available), local0..local7"},
    {"os_websocket_connection_type", "Direct WebSocket"},
};

const loc::BuiltInTexts texts(Rows);

}  // namespace
