#pragma once

#include <string_view>

namespace kest {

// True when text is a CIM datetime, in either of its two forms of 25
// characters:
//   timestamp "yyyymmddhhmmss.mmmmmmsutc": s is '+' or '-' and utc the offset
//     from UTC in minutes (three digits); month 01-12, day 01-31, hour 00-23,
//     minute 00-59, second 00-60 (60 for a leap second);
//   interval  "ddddddddhhmmss.mmmmmm:000": any number of days; hour 00-23,
//     minute and second 00-59.
// Any character of the fields before the sign or colon may be '*' (a field
// not given); a field with a '*' in it is not range-checked. The UTC offset
// and the interval's "000" are always digits. Every part of the server that
// reads a datetime (requests, MOF) checks it with this function, so that a
// value is accepted or refused alike wherever it comes from.
bool isValidDateTime(std::string_view text) noexcept;

}  // namespace kest
