#pragma once

namespace plat {
class LogSrc;
}

namespace os {

/// The log source "SocketUtil", shared by the sources on sockets; defined in socketUtil.cpp.
extern plat::LogSrc socketLog;

}  // namespace os
