#pragma once

#include <exception>
#include <string>

#include "host/CimStatus.h"

namespace kest::server {

// The status codes and their names live in the host (host/CimStatus.h);
// these make them available under the server's namespace as well.
using ::CimStatus;
using enum ::CimStatus;
using ::cimStatusName;

// CimError: a CIM status with its description, as it goes back to the
// client (the ERROR element of a response, or the CIMStatusCode trailers of
// a streamed one). The server's own checks throw it; provider errors are
// turned into one by errorFromCurrentException().
class CimError : public std::exception {
 public:
  CimError(int code, std::string description);

  int code() const noexcept { return _code; }
  const std::string& description() const noexcept { return _description; }
  const char* what() const noexcept override { return _description.c_str(); }

 private:
  int _code;
  std::string _description;
};

// The CIM error for the exception being handled; call it only inside a
// catch block. Errors are mapped as follows:
//   CimError                                   itself;
//   TovaBaseException (and so every provider   its getCimStatus(), which the
//   framework error)                           class raising it defines;
//   the fatal assertion CI_ExFatal (and every
//   CI_Exception), any std::exception and
//   anything else                              CIM_ERR_FAILED.
// The description is the error's message (a TovaBaseException's message, a
// CI_Exception's text, what() of a std::exception); "unknown exception" for
// a thrown object of any other type.
CimError errorFromCurrentException();

}  // namespace kest::server
