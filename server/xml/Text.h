#pragma once

#include <string_view>

// Small text helpers the CIM-XML readers share. Pure functions; no throws.
namespace kest::server::xml {

// text without leading and trailing XML white space (space, tab, CR, LF).
std::string_view trimmed(std::string_view text);

}  // namespace kest::server::xml
