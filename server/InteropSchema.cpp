#include "server/InteropSchema.h"

#include "host/Ascii.h"

namespace kest::server {

const std::vector<TOVString>& wellKnownInteropNameSpaces() {
  static const std::vector<TOVString> names{"interop", "root/interop", "root/PG_InterOp"};
  return names;
}

TOVString interopNameSpaceOf(const std::vector<TOVString>& nameSpaces) {
  for (const TOVString& nameSpace : nameSpaces) {
    for (const TOVString& known : wellKnownInteropNameSpaces()) {
      if (kest::ascii::equalsIgnoreCase(nameSpace.view(), known.view())) return nameSpace;
    }
  }
  return TOVString();
}

}  // namespace kest::server
