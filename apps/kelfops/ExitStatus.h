#pragma once

/// The exit statuses that scripts rely on.
enum ExitStatus : int {
  Done = 0,
  Refused = 1,  ///< the helper refused a request, or a file failed
  WrongUsage = 2,
  HelperFailed = 3,  ///< the helper or the link failed, or the program was interrupted
};
