#pragma once

#include <exception>
#include <string>

namespace kest::server {

// RequestRejected: a request refused at the HTTP level (DSP0200): the HTTP
// status, the value of the CIMError header (request-not-well-formed,
// request-not-valid, unsupported-cim-version, ...; empty when the status
// takes none) and a human-readable detail.
class RequestRejected : public std::exception {
 public:
  RequestRejected(int httpStatus, std::string cimError, std::string detail);
  int httpStatus() const noexcept { return _httpStatus; }
  const std::string& cimError() const noexcept { return _cimError; }
  const std::string& detail() const noexcept { return _detail; }
  const char* what() const noexcept override { return _detail.c_str(); }

 private:
  int _httpStatus;
  std::string _cimError;
  std::string _detail;
};

}  // namespace kest::server
