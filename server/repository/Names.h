#pragma once

// Case-insensitive name keys. Internal to the repository library.

#include <string>

#include "host/String.h"

namespace kest::repository {

// name in ASCII lower case, as a map key.
inline std::string foldName(const TOVString& name) {
  std::string key = name.toStdString();
  for (char& c : key) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return key;
}

}  // namespace kest::repository
