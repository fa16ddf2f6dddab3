#include "base/plat/BoolParameter.h"
#include "base/plat/StringParameter.h"

namespace {

plat::StringParameter elevateCmd(
    "ElevateCmd",
    "Command to run to obtain root privilege.  Must be an absolute path and will be followed by arguments specifying "
    "the command to be run.  For example \"/usr/bin/xterm -e sudo\"",
    "", true);

plat::BoolParameter elevateCmdSingleArg(
    "ElevateCmdSingleArg",
    "Whether the ElevateCmd parameter is followed by a single argument with shell quoting (true) or multiple arguments "
    "(false)",
    false, true);

}  // namespace
