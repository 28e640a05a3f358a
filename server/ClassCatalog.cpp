#include "server/ClassCatalog.h"

#include <stdexcept>

#include "server/repository/MofCompiler.h"
#include "server/repository/RepositoryAdapter.h"

namespace kest::server {

namespace {

// The warnings of a compilation; throws std::runtime_error listing every
// diagnostic when it failed.
std::vector<std::string> warningsOf(const kest::repository::CompileResult& result) {
  std::vector<std::string> warnings;
  std::string errors;
  for (const kest::repository::Diagnostic& diagnostic : result.diagnostics) {
    if (diagnostic.isError()) {
      errors += "\n" + diagnostic.toString();
    } else {
      warnings.push_back(diagnostic.toString());
    }
  }
  if (!result.succeeded()) {
    throw std::runtime_error("the MOF files have " + std::to_string(result.errorCount) +
                             " error(s):" + errors);
  }
  return warnings;
}

}  // namespace

ClassCatalog::ClassCatalog(const TOVString& defaultNameSpace)
    : _defaultNameSpace(defaultNameSpace) {}

const TOVString& ClassCatalog::resolved(const TOVString& nameSpace) const {
  return nameSpace.isNull() ? _defaultNameSpace : nameSpace;
}

std::vector<std::string> ClassCatalog::compileMof(const std::vector<std::string>& files) {
  kest::repository::CompileOptions options;
  options.defaultNameSpace = _defaultNameSpace;
  kest::repository::MofCompiler compiler(_repository, options);
  return warningsOf(compiler.compileFiles(files));
}

std::vector<std::string> ClassCatalog::compileMofText(const std::string& sourceName,
                                                      std::string_view text) {
  kest::repository::CompileOptions options;
  options.defaultNameSpace = _defaultNameSpace;
  kest::repository::MofCompiler compiler(_repository, options);
  return warningsOf(compiler.compileText(sourceName, text));
}

std::vector<std::string> ClassCatalog::compileSchema(const std::string& sourceName,
                                                     std::string_view text,
                                                     const TOVString& nameSpace) {
  kest::repository::CompileOptions options;
  options.defaultNameSpace = nameSpace;
  options.builtIn = true;
  kest::repository::MofCompiler compiler(_repository, options);
  return warningsOf(compiler.compileText(sourceName, text));
}

void ClassCatalog::declare(const TOVString& nameSpace, const TOVString& className,
                           const TOVString& superClass, bool association) {
  _repository.declareClass(resolved(nameSpace), className, superClass, association);
}

kest::repository::ClassPointer ClassCatalog::find(const TOVString& nameSpace,
                                                  const TOVString& className) const {
  return _repository.findClass(resolved(nameSpace), className);
}

bool ClassCatalog::isSubclass(const TOVString& nameSpace, const TOVString& className,
                              const TOVString& superClass) const {
  return _repository.isSubclass(resolved(nameSpace), className, superClass);
}

std::vector<kest::repository::ClassPointer> ClassCatalog::subclasses(const TOVString& nameSpace,
                                                                     const TOVString& className,
                                                                     bool deep) const {
  return _repository.subclassTree(resolved(nameSpace), className, deep);
}

TOVSmrPtr<ITovaType> ClassCatalog::propertyType(const TOVString& nameSpace,
                                                const TOVString& className,
                                                const TOVString& propertyName) const {
  const kest::repository::ClassPointer cls = find(nameSpace, className);
  const kest::repository::Property* property = cls ? cls->findProperty(propertyName) : nullptr;
  return property != nullptr ? property->hostType() : TOVSmrPtr<ITovaType>();
}

TOVSmrPtr<ITovaType> ClassCatalog::parameterType(const TOVString& nameSpace,
                                                 const TOVString& className,
                                                 const TOVString& methodName,
                                                 const TOVString& parameterName) const {
  const kest::repository::ClassPointer cls = find(nameSpace, className);
  const kest::repository::Method* method = cls ? cls->findMethod(methodName) : nullptr;
  const kest::repository::Parameter* parameter =
      method != nullptr ? method->findParameter(parameterName) : nullptr;
  return parameter != nullptr ? parameter->hostType() : TOVSmrPtr<ITovaType>();
}

TOVSmrPtr<ITovaRepository> ClassCatalog::repository() const {
  return TOVSmrPtr<ITovaRepository>(
      new kest::repository::RepositoryAdapter(_repository, _defaultNameSpace));
}

}  // namespace kest::server
