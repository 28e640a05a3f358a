#include "framework/Helper.h"

#include "framework/Exception.h"
#include "framework/MessageTable.h"

namespace kest::pf {

namespace {

constexpr int kMissingParameterCode = 17664;  // 0x4500

bool matches(const TOVSmrPtr<ITovaActualParameter>& parameter, const TOVString& name) {
  return parameter->getName().compareTo(name, 0) == 0;
}

// Runs read on the named parameter's value; every failure yields the default.
template <typename T, typename Read>
TOVboolean readOptional(const TOVString& name, const Helper::ParameterList& inParameters, T& output,
                        const T& defaultvalue, Read read) {
  TOVboolean found = true;
  try {
    const TOVParameter parameter = Helper::getParameterByName(name, inParameters);
    output = read(*parameter->getValue());
  } catch (...) {
    found = false;
    output = defaultvalue;
  }
  return found;
}

}  // namespace

TOVParameter Helper::getParameterByName(const TOVString& name, const ParameterList& params) {
  for (const TOVParameter& parameter : *params) {
    if (matches(parameter, name)) return parameter;
  }
  throw Exception("PFProvider", MessageTable::E_PFPROVIDER_ERROR_MISSING_PARAMETER + " " + name,
                  kMissingParameterCode);
}

TOVboolean Helper::getOptionalParameterByName(const TOVString& name,
                                              const ParameterList& inParameters, int& output,
                                              const int& defaultvalue) {
  return readOptional(name, inParameters, output, defaultvalue,
                      [](const ITovaValue& value) { return value.getAsInt(); });
}

TOVboolean Helper::getOptionalParameterByName(const TOVString& name,
                                              const ParameterList& inParameters,
                                              unsigned char& output,
                                              const unsigned char& defaultvalue) {
  return readOptional(name, inParameters, output, defaultvalue, [](const ITovaValue& value) {
    return static_cast<unsigned char>(value.getAsUInt() & 0xFFu);
  });
}

TOVboolean Helper::getOptionalParameterByName(const TOVString& name,
                                              const ParameterList& inParameters,
                                              unsigned short& output,
                                              const unsigned short& defaultvalue) {
  return readOptional(name, inParameters, output, defaultvalue, [](const ITovaValue& value) {
    return static_cast<unsigned short>(value.getAsUInt() & 0xFFFFu);
  });
}

TOVboolean Helper::getOptionalParameterByName(const TOVString& name,
                                              const ParameterList& inParameters,
                                              unsigned int& output,
                                              const unsigned int& defaultvalue) {
  return readOptional(name, inParameters, output, defaultvalue,
                      [](const ITovaValue& value) { return value.getAsUInt(); });
}

TOVboolean Helper::getOptionalParameterByName(const TOVString& name,
                                              const ParameterList& inParameters, double& output,
                                              const double& defaultvalue) {
  return readOptional(name, inParameters, output, defaultvalue,
                      [](const ITovaValue& value) { return value.getAsDouble(); });
}

TOVboolean Helper::getOptionalParameterByName(const TOVString& name,
                                              const ParameterList& inParameters,
                                              unsigned long long& output,
                                              const unsigned long long& defaultvalue) {
  return readOptional(name, inParameters, output, defaultvalue, [](const ITovaValue& value) {
    return static_cast<unsigned long long>(value.getAsUInt64());
  });
}

TOVboolean Helper::getOptionalParameterByName(const TOVString& name,
                                              const ParameterList& inParameters, bool& output,
                                              const bool& defaultvalue) {
  return readOptional(name, inParameters, output, defaultvalue,
                      [](const ITovaValue& value) { return value.getAsBool(); });
}

TOVboolean Helper::getOptionalParameterByName(const TOVString& name,
                                              const ParameterList& inParameters, TOVString& output,
                                              const TOVString& defaultvalue) {
  return readOptional(name, inParameters, output, defaultvalue,
                      [](const ITovaValue& value) { return value.getAsString(); });
}

TOVboolean Helper::getOptionalParameterByName(const TOVString& name,
                                              const ParameterList& inParameters,
                                              TOVSmrPtr<ITovaValue>& output) {
  try {
    output = getParameterByName(name, inParameters)->getValue();
  } catch (...) {
    return false;
  }
  return true;
}

void Helper::NullStringParameterHandler(const TOVString& name, const TOVString& stringVal) {
  if (!stringVal.isNullBuffer()) return;
  throw Exception("kest::pf::Helper::NullStringParameterHandler()",
                  MessageTable::E_PFPROVIDER_ERROR_MISSING_PARAMETER + " " + name,
                  kMissingParameterCode);
}

TOVboolean Helper::updateParameter(TOVSmrPtr<ITovaActualParameter> newParameter,
                                   const TOVString& name, ParameterList& inParameters) {
  for (std::size_t position = 0; position < inParameters->entries(); ++position) {
    if (matches(inParameters->at(position), name)) {
      inParameters->removeAt(position);
      inParameters->append(newParameter);
      return true;
    }
  }
  return false;
}

}  // namespace kest::pf
