#include "host/Exception.h"

#include "host/CimStatus.h"
#include "host/List.h"

TovaBaseException::TovaBaseException(const TOVString& type, const TOVString& where,
                                     const TOVString& who, const TOVString& message, int code)
    : _type(type), _where(where), _who(who), _message(message), _code(code) {}

TovaBaseException::~TovaBaseException() = default;

TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaObject>>> TovaBaseException::getInstances() const {
  return TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaObject>>>();
}

int TovaBaseException::getCimStatus() const { return CIM_ERR_FAILED; }

TOVNullPointerException::TOVNullPointerException()
    : TovaBaseException("NullPointer", "TOVSmrPtr::operator->", "", "null pointer dereferenced",
                        0) {}

namespace host_detail {

[[noreturn]] void throwNullPointer() { throw TOVNullPointerException(); }

}  // namespace host_detail
