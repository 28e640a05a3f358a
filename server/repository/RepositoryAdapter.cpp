#include "server/repository/RepositoryAdapter.h"

namespace kest::repository {

RepositoryAdapter::RepositoryAdapter(const ClassRepository& repository,
                                     const TOVString& defaultNameSpace)
    : _repository(repository), _defaultNameSpace(defaultNameSpace) {}

bool RepositoryAdapter::isSubclass(const TOVString& nameSpace, const TOVString& className,
                                   const TOVString& superClassName) {
  return _repository.isSubclass(nameSpace.isNull() ? _defaultNameSpace : nameSpace, className,
                                superClassName);
}

}  // namespace kest::repository
