#pragma once

#include <memory>

#include "base/io/Io.h"

namespace os {

/// A connection for a descriptor that the process inherited; it takes over the descriptor, which no child of this
/// process will inherit in turn. A stream socket of an IP family gives an io::TcpIo, one of the Unix family (or without
/// an address) an os::UnixIo with no path, everything else a plain io::FdIo.
/// @param inBufSize bytes of input buffer; -1 for the stream's own default.
/// @throws plat::SystemException "setInheritable" if the descriptor is not open; what io::TcpIo throws over a socket
///   without a peer, with the descriptor closed
std::unique_ptr<io::Io> adoptFd(int fd, int inBufSize = -1);

}  // namespace os
