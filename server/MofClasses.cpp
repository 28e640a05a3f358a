#include "server/MofClasses.h"

#include <stdexcept>

#include "server/repository/ClassRepository.h"
#include "server/repository/MofCompiler.h"

namespace kest::server {

namespace {

TOVSmrPtr<ITovaType> typeOf(const kest::repository::DataType& type,
                            kest::repository::EmbeddedKind embedded,
                            const TOVString& embeddedClass) {
  if (embedded != kest::repository::EmbeddedKind::None && type.code == CimTypeCode::String) {
    return type.isArray ? CTovaType::arrayOf(CimTypeCode::Object, embeddedClass)
                        : CTovaType::object(embeddedClass);
  }
  return type.hostType();
}

}  // namespace

ClassDefinition catalogDefinition(const kest::repository::ClassDefinition& cls) {
  ClassDefinition definition;
  definition.name = cls.name;
  definition.superClass = cls.superClassName;
  definition.association = cls.association;
  definition.hasFeatures = cls.defined;
  for (const kest::repository::Property& property : cls.properties) {
    definition.properties.push_back(PropertyDefinition{
        property.name, typeOf(property.type, property.embedded, property.embeddedClassName),
        property.key, property.classOrigin});
  }
  for (const kest::repository::Method& method : cls.methods) {
    MethodDefinition converted{method.name, method.returnType.hostType(), method.classOrigin, {}};
    for (const kest::repository::Parameter& parameter : method.parameters) {
      converted.parameters.push_back(ParameterDefinition{
          parameter.name, typeOf(parameter.type, parameter.embedded, parameter.embeddedClassName),
          parameter.in, parameter.out});
    }
    definition.methods.push_back(std::move(converted));
  }
  return definition;
}

std::vector<std::string> defineMofClasses(const std::vector<std::string>& files,
                                          const TOVString& defaultNameSpace,
                                          ClassCatalog& catalog) {
  kest::repository::ClassRepository& repository = catalog.classRepository();
  kest::repository::CompileOptions options;
  options.defaultNameSpace = defaultNameSpace;
  kest::repository::MofCompiler compiler(repository, options);
  const kest::repository::CompileResult result = compiler.compileFiles(files);
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
  for (const TOVString& nameSpace : repository.nameSpaces()) {
    const auto classes = repository.enumerateClasses(nameSpace, TOVString(), true);
    if (!classes) continue;
    for (const kest::repository::ClassPointer& cls : *classes) {
      if (!cls->defined) continue;
      ClassDefinition definition = catalogDefinition(*cls);
      definition.compiled = cls;
      catalog.define(nameSpace, definition);
    }
  }
  return warnings;
}

}  // namespace kest::server
