#pragma once

#include "host/Repository.h"
#include "host/String.h"
#include "server/repository/ClassRepository.h"

namespace kest::repository {

// RepositoryAdapter: the host's ITovaRepository (what providers receive in
// initialize) answered from a ClassRepository.
//
// isSubclass: true when className is known in the namespace and equals
// superClassName ignoring case, or has it among its ancestors; false for an
// unknown class or namespace. Namespaces are matched ignoring case; an empty
// namespace means defaultNameSpace.
//
// The repository is not owned and must outlive the adapter. Threads: as the
// repository, safe from any thread.
class RepositoryAdapter : public ITovaRepository {
 public:
  RepositoryAdapter(const ClassRepository& repository, const TOVString& defaultNameSpace);

  bool isSubclass(const TOVString& nameSpace, const TOVString& className,
                  const TOVString& superClassName) override;

 private:
  const ClassRepository& _repository;
  const TOVString _defaultNameSpace;
};

}  // namespace kest::repository
