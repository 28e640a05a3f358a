#include "framework/Exception.h"

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

}  // namespace kest::pf
