#pragma once

namespace plat {

class BoolParameter;
class IntParameter;
class StringParameter;

// The parameters of the log. Each is made at the first use, so that any static initialiser may log, and never
// destroyed, so that any destructor may; all are registered before main.

/// Which source reaches which destination. A change is applied at once.
StringParameter& logParameter();
BoolParameter& compactLogParameter();
StringParameter& logDirParameter();
StringParameter& logFileParameter();
IntParameter& logKeepDaysParameter();

}  // namespace plat
