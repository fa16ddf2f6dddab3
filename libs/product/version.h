#pragma once

// What a program calls its version. The build puts the numbers in: they stand in project() of the top CMakeLists.txt.

/// The long version: three dotted numbers and a revision in parentheses, such as "1.0.0 (r1)".
inline constexpr char KelVersion[] = KEL_RELEASE " (r" KEL_REVISION ")";

/// The numeric version: four dotted numbers, such as "1.0.0.1".
inline constexpr char KelBuild[] = KEL_VERSION;
