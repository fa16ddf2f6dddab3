#include "base/plat/logging/logParameters.h"

#include <climits>

#include "base/plat/config/BoolParameter.h"
#include "base/plat/config/IntParameter.h"
#include "base/plat/config/ParameterChangedCallback.h"
#include "base/plat/config/StringParameter.h"
#include "base/plat/logging/logging.h"

namespace plat {

namespace {

class LogParameterChangedCallback final : public ParameterChangedCallback {
public:
  void parameterChanged(ConfigParameter&, int) override { logApply(); }
};

[[maybe_unused]] const ConfigParameter* const registered[] = {
    &logParameter(), &compactLogParameter(), &logDirParameter(), &logFileParameter(), &logKeepDaysParameter()};

}  // namespace

StringParameter& logParameter() {
  static StringParameter& parameter = [&]() -> StringParameter& {
    auto& made = *new StringParameter("Log", LocDesc("plat_param_log"), "");
    made.addCallback(new LogParameterChangedCallback);
    return made;
  }();
  return parameter;
}

BoolParameter& compactLogParameter() {
  static BoolParameter& parameter =
      *new BoolParameter("CompactLog",
                         "Whether to produce more compact logging lines for readability.  Also produces times in local "
                         "timezone instead of UTC",
                         false, true);
  return parameter;
}

StringParameter& logDirParameter() {
  static StringParameter& parameter = *new StringParameter("LogDir", LocDesc("plat_param_logdir"), "");
  return parameter;
}

StringParameter& logFileParameter() {
  static StringParameter& parameter = *new StringParameter("LogFile", LocDesc("plat_param_logfile"), "");
  return parameter;
}

IntParameter& logKeepDaysParameter() {
  static IntParameter& parameter =
      *new IntParameter("LogKeepDays", LocDesc("plat_param_log_keep_days"), 30, false, nullptr, 0, INT_MAX);
  return parameter;
}

}  // namespace plat
