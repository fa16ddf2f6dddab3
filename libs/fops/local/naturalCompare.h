#pragma once

#include <cstdint>

namespace fops {

/// The system's name order: text as the thread's locale collates it, runs of digits by their value, so that "file2"
/// comes before "file10".
///
/// NO STRICT WEAK ORDER: numbers beyond 32 bits are compared as text, and numbers that differ in leading zeros only are
/// equal, so there are names a < b < c < a. Sort with something that stays in bounds for any comparison (EntrySorter).
/// @return negative, zero or positive. Null texts come first.
int naturalCompare(const char* a, const char* b);

/// strcoll in the thread's locale, folded to -1, 0 or 1. A null text comes before any other; two nulls are equal. Where
/// the locale's codeset is not UTF-8, the texts are reduced to one byte per character first.
int collate(const char* x, const char* y);

/// Whether the codeset of the thread's locale is UTF-8, so that collate() takes texts as they are.
bool collatesUtf8();

/// Finds the first run of decimal digits in `text`, up to its terminator.
/// @return the run's first digit, or null if there is none; `digitsEnd` is then untouched.
const char* findNumber(const char* text, const char*& digitsEnd) noexcept;

/// The value of a run of digits.
/// @return false if it needs more than 32 bits.
bool readNumber(const char* digits, const char* digitsEnd, std::uint32_t& value) noexcept;

}  // namespace fops
