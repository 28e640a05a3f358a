#pragma once

#include <cstdint>
#include <ctime>

// Scalar types of the host platform. Their widths are fixed so that values
// keep their CIM meaning whatever the compiler's native widths are.
using TOVboolean = bool;
using TOVuint8 = std::uint8_t;
using TOVsint8 = std::int8_t;
using TOVuint16 = std::uint16_t;
using TOVsint16 = std::int16_t;
using TOVuint32 = std::uint32_t;
using TOVsint32 = std::int32_t;
using TOVuint64 = std::uint64_t;
using TOVsint64 = std::int64_t;
using TOVreal32 = float;
using TOVreal64 = double;
using TOVchar16 = char16_t;

static_assert(sizeof(time_t) == 8, "the host platform needs a 64-bit time_t");
