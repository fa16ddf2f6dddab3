#include "base/loc/BuiltInTexts.h"

namespace {

constexpr loc::TextRow Rows[] = {
    {"io_dscp_param", "Value to classify network traffic to provide Quality of Service."},
    {"io_error_eai_again", "Temporary name lookup failure"},
    {"io_error_eai_nodata", "The requested name does not have an IP address"},
    {"io_error_eai_noname", "No such host is known"},
    {"io_error_endpoint_badescape", "Invalid endpoint: incorrect %% escape"},
    {"io_error_endpoint_badport", "Invalid endpoint: port not correctly specified"},
    {"io_error_endpoint_bracket", "Invalid endpoint: unmatched \"[\" in host"},
    {"io_error_endpoint_empty", "Invalid endpoint: empty host and/or port"},
    {"io_error_endpoint_general", "Invalid endpoint"},
    {"io_error_ip_nethostunreach", "No route to the host is known"},
    {"io_error_proxy_disconnected", "disconnected by proxy"},
    {"io_error_proxy_general", "Unable to connect via %1$S: %2$S"},
    {"io_error_tcp_conndropped", "The connection was refused during establishment"},
    {"io_error_tcp_connrefused", "The connection was refused by the computer"},
    {"io_error_tcp_connreset", "The connection was closed remotely"},
    {"io_error_tcp_timedout", "Timed out waiting for a response from the computer"},
    {"io_param_blacklist_threshold",
     "The number of unsuccessful authentication attempts that can be made before a particular connecting device is "
     "blacklisted for a timeout period."},
    {"io_param_blacklist_timeout",
     "The initial number of seconds during which connections from a blacklisted device are rejected before the "
     "connecting user can attempt to authenticate again."},
    {"io_proxy_connection_desc", "Direct TCP via proxy settings"},
    {"io_socks5_connection_type", "Direct TCP via SOCKS5 proxy %S"},
    {"io_tcp_connection_type", "Direct TCP"},
    {"io_udp_connection_type", "Direct UDP"},
};

const loc::BuiltInTexts texts(Rows);

}  // namespace
