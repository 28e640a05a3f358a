#pragma once

#include <exception>
#include <string>

namespace kest::server {

// CIM status codes the server reports (DSP0200).
enum CimStatus : int {
  CIM_OK = 0,
  CIM_ERR_FAILED = 1,
  CIM_ERR_ACCESS_DENIED = 2,
  CIM_ERR_INVALID_NAMESPACE = 3,
  CIM_ERR_INVALID_PARAMETER = 4,
  CIM_ERR_INVALID_CLASS = 5,
  CIM_ERR_NOT_FOUND = 6,
  CIM_ERR_NOT_SUPPORTED = 7,
  CIM_ERR_NO_SUCH_PROPERTY = 12,
};

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

// The symbolic name of a CIM status code ("CIM_ERR_NOT_FOUND"); "CIM_ERR_"
// followed by the number for codes without a name.
std::string cimStatusName(int code);

// The CIM error for the exception being handled; call it only inside a
// catch block. Provider errors are mapped as follows:
//   CimError                                   itself;
//   kest::pf::Exception code 7                 CIM_ERR_NOT_SUPPORTED;
//   kest::pf::Exception code 17664 (0x4500)    CIM_ERR_INVALID_PARAMETER;
//   kest::pf::Exception code 17665 (0x4501)    CIM_ERR_INVALID_CLASS;
//   kest::pf::Exception code 17666 (0x4502)    CIM_ERR_NOT_FOUND;
//   any other kest::pf::Exception, any other TovaBaseException, the fatal
//   assertion CI_ExFatal (and every CI_Exception), any std::exception and
//   anything else                              CIM_ERR_FAILED.
// The description is the error's message (a TovaBaseException's message, a
// CI_Exception's text, what() of a std::exception); "unknown exception" for
// a thrown object of any other type.
CimError errorFromCurrentException();

}  // namespace kest::server
