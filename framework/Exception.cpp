#include "framework/Exception.h"

#include "host/CimStatus.h"

namespace kest::pf {

Exception::Exception(const TOVString& where, const TOVString& message, int code)
    : TovaBaseException("Provider", where, TOVString(), message, code) {}

Exception::Exception(const TOVString& who, const TOVString& where, const TOVString& message,
                     int code)
    : TovaBaseException("Provider", where, who, message, code) {}

Exception::Exception(const Exception& other) : TovaBaseException() {
  setWhere(other.getWhere());
  setMessage(other.getMessage());
  setCode(other.getCode());
}

Exception::~Exception() = default;

int Exception::getCimStatus() const {
  switch (getCode()) {
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

}  // namespace kest::pf
