#pragma once

/// The long version: three dotted numbers and a revision in parentheses.
inline constexpr char KelVersion[] = "1.0.0 (r1)";

/// The numeric version: four dotted numbers.
inline constexpr char KelBuild[] = "1.0.0.1";
