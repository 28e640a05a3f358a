#include "server/MethodCheck.h"

#include <cstddef>
#include <string>
#include <vector>

#include "host/ActualParameter.h"
#include "host/Ascii.h"
#include "host/CimType.h"
#include "host/List.h"
#include "server/CimError.h"
#include "server/Logging.h"
#include "server/xml/ScalarText.h"

namespace kest::server {

namespace {

const ServerLog kLog("kest::server::MethodCheck");

using ValueList = TOVValSlist<TOVSmrPtr<ITovaValue>>;

enum class Kind { Intrinsic, Reference, Object };

Kind kindOf(const ITovaType& type) {
  const CimTypeCode code = CTovaType::codeOf(type);
  if (code == CimTypeCode::Reference || type.isReference()) return Kind::Reference;
  if (code == CimTypeCode::Object || type.isObject()) return Kind::Object;
  return Kind::Intrinsic;
}

// The outcome of converting a value to a declared type: the value, or why
// it does not convert (its form, or the text of the first element that does
// not fit).
struct Conversion {
  TOVSmrPtr<ITovaValue> value;
  const char* form = nullptr;  // "an array", "not a reference", ...
  std::string misfit;
};

const char* formMismatch(const ITovaType& actual, const ITovaType& declared) {
  const Kind given = kindOf(actual);
  const Kind wanted = kindOf(declared);
  if (given != wanted) {
    if (wanted == Kind::Reference) return "not a reference";
    if (wanted == Kind::Object) return "not an embedded object";
    return given == Kind::Reference ? "a reference" : "an embedded object";
  }
  if (actual.isArray() != declared.isArray()) {
    return actual.isArray() ? "an array" : "a single value";
  }
  return nullptr;
}

Conversion convert(const TOVSmrPtr<ITovaValue>& value, const TOVSmrPtr<ITovaType>& declared) {
  Conversion result;
  if (!value || value->isNullValue()) {
    result.value = CTovaValue::nullOf(declared);
    return result;
  }
  const TOVSmrPtr<ITovaType> actual = value->getType();
  if (!actual) {
    result.form = "a value without a type";
    return result;
  }
  result.form = formMismatch(*actual, *declared);
  if (result.form != nullptr) return result;
  const CimTypeCode code = CTovaType::codeOf(*declared);
  if (kindOf(*declared) != Kind::Intrinsic || CTovaType::codeOf(*actual) == code) {
    result.value = value;
    return result;
  }
  auto scalar = [&](const ITovaValue& element) {
    const std::string text = element.getAsString().toStdString();
    TOVSmrPtr<ITovaValue> converted = scalarFromText(text, code);
    if (!converted) result.misfit = text;
    return converted;
  };
  if (!declared->isArray()) {
    result.value = scalar(*value);
    return result;
  }
  const TOVSmrPtr<ValueList> elements = value->getArray();
  const TOVSmrPtr<ValueList> typed(new ValueList());
  for (std::size_t i = 0; elements && i < elements->entries(); ++i) {
    const TOVSmrPtr<ITovaValue>& element = elements->at(i);
    if (!element || element->isNullValue()) {
      typed->append(CTovaValue::nullOf(CTovaType::scalar(code)));
      continue;
    }
    const TOVSmrPtr<ITovaValue> one = scalar(*element);
    if (!one) return result;
    typed->append(one);
  }
  result.value = TOVSmrPtr<ITovaValue>(new CTovaValue(CTovaType::arrayOf(code), typed));
  return result;
}

// A parameter's declared type as MOF writes it, marking embedded objects.
std::string typeName(const kest::repository::Parameter& parameter) {
  std::string name = parameter.type.toMof().toStdString();
  if (parameter.embedded != kest::repository::EmbeddedKind::None) name += " (embedded object)";
  return name;
}

[[noreturn]] void invalid(const TOVString& parameter, const std::string& why) {
  throw CimError(CIM_ERR_INVALID_PARAMETER, "parameter " + parameter.toStdString() + ": " + why);
}

}  // namespace

TOVSmrPtr<ITovaValue> valueOfDeclaredType(const TOVSmrPtr<ITovaValue>& value,
                                          const TOVSmrPtr<ITovaType>& declared) {
  return convert(value, declared).value;
}

const kest::repository::Method& MethodCheck::declared(const kest::repository::ClassDefinition& cls,
                                                      const TOVString& methodName) {
  const kest::repository::Method* method = cls.findMethod(methodName);
  if (method == nullptr) {
    throw CimError(CIM_ERR_METHOD_NOT_FOUND, "The class " + cls.name.toStdString() +
                                                 " has no method " + methodName.toStdString());
  }
  return *method;
}

kest::IProvider::ParameterList MethodCheck::input(
    const kest::IProvider::ParameterList& given) const {
  const kest::IProvider::ParameterList checked(new TOVValSlist<TOVParameter>());
  std::vector<const kest::repository::Parameter*> present;
  for (std::size_t i = 0; given && i < given->entries(); ++i) {
    const TOVParameter& parameter = given->at(i);
    if (!parameter) continue;
    const TOVString name = parameter->getName();
    const kest::repository::Parameter* declared = _method.findParameter(name);
    if (declared == nullptr) {
      invalid(name, _method.name.toStdString() + " has no such parameter");
    }
    if (!declared->in) {
      invalid(name, "an output parameter (" + typeName(*declared) + ") of " +
                        _method.name.toStdString() + ", not an input");
    }
    const Conversion conversion = convert(parameter->getValue(), declared->hostType());
    if (conversion.form != nullptr) {
      invalid(name,
              std::string(conversion.form) + " where " + typeName(*declared) + " is declared");
    }
    if (!conversion.value) {
      invalid(name, "\"" + conversion.misfit + "\" is not a " +
                        CTovaType::codeName(declared->type.code) + " value");
    }
    if (!conversion.value->isNullValue()) present.push_back(declared);
    checked->append(conversion.value == parameter->getValue()
                        ? parameter
                        : TOVParameter(new CTovaActualParameter(name, conversion.value)));
  }
  for (const kest::repository::Parameter& declared : _method.parameters) {
    if (!declared.in || !declared.qualifiers.booleanValue("Required", false)) continue;
    bool found = false;
    for (const kest::repository::Parameter* one : present) found = found || one == &declared;
    if (!found) invalid(declared.name, "required (" + typeName(declared) + "), but not given");
  }
  return checked;
}

TOVSmrPtr<ITovaValue> MethodCheck::returnValue(const TOVSmrPtr<ITovaValue>& value) const {
  if (!value) {
    throw CimError(CIM_ERR_METHOD_NOT_AVAILABLE,
                   "The method " + _method.name.toStdString() +
                       " is not available: its provider does not implement it for this object");
  }
  const TOVSmrPtr<ITovaValue> typed = valueOfDeclaredType(value, _method.returnType.hostType());
  if (!typed) {
    providerDefect("The return value of " + _method.name, _method.returnType.toMof());
  }
  return typed;
}

TOVSmrPtr<ITovaValue> MethodCheck::output(const TOVString& name,
                                          const TOVSmrPtr<ITovaValue>& value) const {
  const kest::repository::Parameter* declared = _method.findParameter(name);
  if (declared == nullptr || !value) return value;
  const TOVSmrPtr<ITovaValue> typed = valueOfDeclaredType(value, declared->hostType());
  if (!typed) {
    providerDefect("The output parameter " + name + " of " + _method.name,
                   TOVString(typeName(*declared)));
  }
  return typed;
}

void MethodCheck::providerDefect(const TOVString& what, const TOVString& declaredType) const {
  const TOVString message = what + " does not convert to the declared type " + declaredType;
  kLog.warning(message + "; the provider's result is not sent");
  throw CimError(CIM_ERR_FAILED, message.toStdString());
}

}  // namespace kest::server
