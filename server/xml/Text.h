#pragma once

#include <string_view>

// Small text helpers the CIM-XML readers share. Pure functions; no throws.
namespace kest::server::xml {

// ASCII letters compared without case; other bytes exactly.
bool equalsIgnoringCase(std::string_view a, std::string_view b);

// text without leading and trailing XML white space (space, tab, CR, LF).
std::string_view trimmed(std::string_view text);

}  // namespace kest::server::xml
