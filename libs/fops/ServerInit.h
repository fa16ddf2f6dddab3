#pragma once

#include "base/plat/String.h"

namespace fops {

/// What the server says of itself when a session starts.
struct ServerInit {
  int version = 0;        // the negotiated protocol version, 3 or 4
  char separator = '/';   // between the elements of a path
  bool isFsRoot = false;  // the exported tree is the whole file system
  plat::String hostName;
  plat::String home;     // client path of the user's home; empty if it lies outside the tree
  plat::String desktop;  // likewise for the desktop folder
};

}  // namespace fops
