#pragma once

#include "host/ActualParameter.h"
#include "host/List.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Types.h"
#include "host/Value.h"

namespace kest::pf {

// Helper: reads and writes the parameters of a method call. A call arrives as
// lists of actual parameters (the in and out lists of executeMethod); these
// functions find a parameter by name, convert its value with a default for
// optional parameters, reject null strings and replace output parameters.
//
// Names match ASCII case-insensitively; parameters are visited in list order
// and the first match wins.
//
// Threads: stateless. updateParameter changes the list it is given and must
// not run while another thread walks that list.
class Helper {
 public:
  using ParameterList = TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaActualParameter>>>;

  // The first parameter called name. Throws Exception (where "PFProvider",
  // message "Missing parameter <name>", code 17664) when there is none, and
  // the host's null-pointer error when params is null.
  static TOVParameter getParameterByName(const TOVString& name, const ParameterList& params);

  // Optional parameters: on success output receives the converted value and
  // the result is true. Whatever fails (no such parameter, a null list or
  // value, a conversion the value does not support) gives output =
  // defaultvalue and false; nothing is thrown. The 8- and 16-bit forms read
  // the value as uint32 and keep its low bits (300 read as unsigned char is 44).
  static TOVboolean getOptionalParameterByName(const TOVString& name,
                                               const ParameterList& inParameters, int& output,
                                               const int& defaultvalue);
  static TOVboolean getOptionalParameterByName(const TOVString& name,
                                               const ParameterList& inParameters,
                                               unsigned char& output,
                                               const unsigned char& defaultvalue);
  static TOVboolean getOptionalParameterByName(const TOVString& name,
                                               const ParameterList& inParameters,
                                               unsigned short& output,
                                               const unsigned short& defaultvalue);
  static TOVboolean getOptionalParameterByName(const TOVString& name,
                                               const ParameterList& inParameters,
                                               unsigned int& output,
                                               const unsigned int& defaultvalue);
  static TOVboolean getOptionalParameterByName(const TOVString& name,
                                               const ParameterList& inParameters, double& output,
                                               const double& defaultvalue);
  static TOVboolean getOptionalParameterByName(const TOVString& name,
                                               const ParameterList& inParameters,
                                               unsigned long long& output,
                                               const unsigned long long& defaultvalue);
  static TOVboolean getOptionalParameterByName(const TOVString& name,
                                               const ParameterList& inParameters, bool& output,
                                               const bool& defaultvalue);
  static TOVboolean getOptionalParameterByName(const TOVString& name,
                                               const ParameterList& inParameters, TOVString& output,
                                               const TOVString& defaultvalue);
  // The parameter's value itself (possibly a null pointer). Without a
  // default: when the parameter is missing, output is left unchanged.
  static TOVboolean getOptionalParameterByName(const TOVString& name,
                                               const ParameterList& inParameters,
                                               TOVSmrPtr<ITovaValue>& output);

  // Returns when stringVal is not the null string (no buffer; the empty text
  // passes). Otherwise throws Exception (where
  // "kest::pf::Helper::NullStringParameterHandler()", message "Missing
  // parameter <name>", code 17664).
  static void NullStringParameterHandler(const TOVString& name, const TOVString& stringVal);

  // Replaces the first parameter called name: it is removed and newParameter
  // is appended at the end of the list; returns true. Returns false and
  // leaves the list unchanged (newParameter is not added) when no parameter
  // has that name.
  static TOVboolean updateParameter(TOVSmrPtr<ITovaActualParameter> newParameter,
                                    const TOVString& name, ParameterList& inParameters);
};

}  // namespace kest::pf
