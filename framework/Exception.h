#pragma once

#include "host/Exception.h"
#include "host/String.h"

namespace kest::pf {

// Exception: the framework's error. A TovaBaseException whose type is
// "Provider", with where (the operation that failed), who (the component that
// raised it; empty unless the four-argument constructor is used), message
// and code. The codes in use:
//   7      a request the framework does not support;
//   17664  a missing or null method parameter;
//   17665  an operation needs a declared class and was given an undeclared one;
//   17666  the object named by a method call is not cached;
//   17667  a value read as a type it does not hold.
// getCimStatus() gives the CIM status each code stands for: 7
// CIM_ERR_NOT_SUPPORTED, 17664 CIM_ERR_INVALID_PARAMETER, 17665
// CIM_ERR_INVALID_CLASS, 17666 CIM_ERR_NOT_FOUND; 17667 (the provider's own
// mistake, not the client's) and any other code CIM_ERR_FAILED.
//
// The copy constructor copies where, message and code only: a copy reports
// an empty type and an empty who. Throw prvalues (throw Exception(...)) and
// rethrow with "throw;" so that what reaches the catcher keeps who and type.
class Exception : public TovaBaseException {
 public:
  Exception(const TOVString& where, const TOVString& message, int code);
  // Note the order: who first, then where.
  Exception(const TOVString& who, const TOVString& where, const TOVString& message, int code);
  Exception(const Exception& other);
  ~Exception() override;

  int getCimStatus() const override;
};

}  // namespace kest::pf
