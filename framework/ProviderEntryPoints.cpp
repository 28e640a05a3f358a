#include "framework/ProviderEntryPoints.h"

#include <string>

#include "framework/Class.h"
#include "framework/InstanceManager.h"

namespace kest::pf {

void declareProviderClasses(const Provider& provider, KestDeclareClassFunction declare,
                            void* context) {
  const auto declarations = provider.getInstanceManager().getClassDeclarations();
  if (!declarations) return;
  for (const TOVSmrPtr<Class>& cls : *declarations) {
    if (!cls) continue;
    const TOVSmrPtr<Class> base = cls->getBaseClass();
    const std::string name = cls->getClassName().toStdString();
    const std::string baseName = base ? base->getClassName().toStdString() : std::string();
    declare(context, name.c_str(), base ? baseName.c_str() : nullptr, cls->isAssociation() ? 1 : 0);
  }
}

}  // namespace kest::pf
