#pragma once

#include <functional>

#include "base/plat/String.h"

namespace plat {

class Configuration;

// The XML description of a configuration: all that another program needs to show, check and set its parameters.

/// Decides which parameters take part: true for one that does. An empty filter takes all.
using ConfigXmlFilter = std::function<bool(const char* name, const char* type, bool advanced)>;

/// Describes the parameters of a configuration and of its children, sorted by name, with their values at all
/// priorities. The text is XML 1.0 in UTF-8 whatever the values hold (see base/xml/escape.h for control characters).
/// @param includeHidden also those whose names begin with `_`.
/// @param useLocDesc gives the keys of descriptions where there are any; else they go out as displayed.
[[nodiscard]] String configToXml(const Configuration& configuration, bool includeHidden, bool useLocDesc,
                                 const ConfigXmlFilter& filter = {});

/// Replaces the parameters that belong to `configuration` by those that the text describes, with their values. Values
/// that a parameter does not take are left out. What came in before a failure stays in.
/// @throws Exception "XML error %i:%i %s" with line, column and reason, or "Incompatible XML config"
/// @throws BadUtf8 as StringParameter::setParam
void configFromXml(Configuration& configuration, const char* text, const ConfigXmlFilter& filter = {});

}  // namespace plat
