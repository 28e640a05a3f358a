#include "server/CimError.h"

#include <utility>

#include "framework/Exception.h"
#include "host/Exception.h"
#include "host/Fatal.h"

namespace kest::server {

CimError::CimError(int code, std::string description)
    : _code(code), _description(std::move(description)) {}

std::string cimStatusName(int code) {
  static const char* const kNames[] = {
      "CIM_OK",
      "CIM_ERR_FAILED",
      "CIM_ERR_ACCESS_DENIED",
      "CIM_ERR_INVALID_NAMESPACE",
      "CIM_ERR_INVALID_PARAMETER",
      "CIM_ERR_INVALID_CLASS",
      "CIM_ERR_NOT_FOUND",
      "CIM_ERR_NOT_SUPPORTED",
      "CIM_ERR_CLASS_HAS_CHILDREN",
      "CIM_ERR_CLASS_HAS_INSTANCES",
      "CIM_ERR_INVALID_SUPERCLASS",
      "CIM_ERR_ALREADY_EXISTS",
      "CIM_ERR_NO_SUCH_PROPERTY",
      "CIM_ERR_TYPE_MISMATCH",
      "CIM_ERR_QUERY_LANGUAGE_NOT_SUPPORTED",
      "CIM_ERR_INVALID_QUERY",
      "CIM_ERR_METHOD_NOT_AVAILABLE",
      "CIM_ERR_METHOD_NOT_FOUND",
  };
  if (code >= 0 && code < static_cast<int>(sizeof kNames / sizeof kNames[0])) return kNames[code];
  return "CIM_ERR_" + std::to_string(code);
}

namespace {

int statusOfFrameworkCode(int code) {
  switch (code) {
    case 7:
      return CIM_ERR_NOT_SUPPORTED;
    case 0x4500:
      return CIM_ERR_INVALID_PARAMETER;
    case 0x4501:
      return CIM_ERR_INVALID_CLASS;
    case 0x4502:
      return CIM_ERR_NOT_FOUND;
    default:
      return CIM_ERR_FAILED;
  }
}

}  // namespace

CimError errorFromCurrentException() {
  try {
    throw;
  } catch (const CimError& error) {
    return error;
  } catch (const kest::pf::Exception& error) {
    return CimError(statusOfFrameworkCode(error.getCode()), error.getMessage().toStdString());
  } catch (const TovaBaseException& error) {
    return CimError(CIM_ERR_FAILED, error.getMessage().toStdString());
  } catch (const CI_Exception& error) {
    return CimError(CIM_ERR_FAILED, error.getText().toStdString());
  } catch (const std::exception& error) {
    return CimError(CIM_ERR_FAILED, error.what());
  } catch (...) {
    return CimError(CIM_ERR_FAILED, "unknown exception");
  }
}

}  // namespace kest::server
