#include "base/plat/logging/logParameters.h"

#include <climits>

#include "base/plat/NeverDestroyed.h"
#include "base/plat/config/BoolParameter.h"
#include "base/plat/config/IntParameter.h"
#include "base/plat/config/ParameterChangedCallback.h"
#include "base/plat/config/StringParameter.h"
#include "base/plat/logging/logging.h"

namespace plat {

namespace {

/// The parameter `Log`, each change of which is applied.
class AppliedParameter final : private ParameterChangedCallback {
public:
  AppliedParameter() { parameter.addCallback(this); }

  StringParameter parameter{"Log", LocDesc("plat_param_log"), ""};

private:
  void parameterChanged(ConfigParameter&, int) override { logApply(); }
};

[[maybe_unused]] const ConfigParameter* const registered[] = {
    &logParameter(), &compactLogParameter(), &logDirParameter(), &logFileParameter(), &logKeepDaysParameter()};

}  // namespace

StringParameter& logParameter() {
  static NeverDestroyed<AppliedParameter> applied;
  return applied->parameter;
}

BoolParameter& compactLogParameter() {
  static NeverDestroyed<BoolParameter> parameter(
      "CompactLog",
      "Whether to produce more compact logging lines for readability.  Also produces times in local "
      "timezone instead of UTC",
      false, true);
  return *parameter;
}

StringParameter& logDirParameter() {
  static NeverDestroyed<StringParameter> parameter("LogDir", LocDesc("plat_param_logdir"), "");
  return *parameter;
}

StringParameter& logFileParameter() {
  static NeverDestroyed<StringParameter> parameter("LogFile", LocDesc("plat_param_logfile"), "");
  return *parameter;
}

IntParameter& logKeepDaysParameter() {
  static NeverDestroyed<IntParameter> parameter("LogKeepDays", LocDesc("plat_param_log_keep_days"), 30, false, nullptr,
                                                0, INT_MAX);
  return *parameter;
}

}  // namespace plat
