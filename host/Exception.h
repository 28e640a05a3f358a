#pragma once

#include <exception>

#include "host/SmartPointer.h"
#include "host/String.h"

class ITovaObject;
template <typename T>
class TOVValSlist;

// TovaBaseException: the host's exception base. It carries five values, stored
// in this order: type, where (the operation that failed), who (the component
// that raised it), message and code. The default constructor leaves the texts
// empty (no buffer) and the code 0; the copy constructor copies all five.
// Derived classes fill the values through the protected setters.
// what() returns the message, so servers can catch std::exception.
class TovaBaseException : public std::exception {
 public:
  TovaBaseException() = default;
  TovaBaseException(const TOVString& type, const TOVString& where, const TOVString& who,
                    const TOVString& message, int code);
  TovaBaseException(const TovaBaseException& other) = default;
  TovaBaseException& operator=(const TovaBaseException& other) = default;
  ~TovaBaseException() override;

  virtual TOVString getType() const { return _type; }
  virtual TOVString getWhere() const { return _where; }
  virtual TOVString getWho() const { return _who; }
  virtual TOVString getMessage() const { return _message; }
  virtual int getCode() const { return _code; }
  // Objects attached to the error; the host attaches none, so always null.
  virtual TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaObject>>> getInstances() const;
  // The CIM status (a CimStatus value, host/CimStatus.h) a client is given
  // when this error ends a request. CIM_ERR_FAILED here; a class whose codes carry a more
  // precise meaning (CIM_ERR_NOT_FOUND, CIM_ERR_INVALID_PARAMETER, ...)
  // overrides it, so that the mapping of its codes stays with the code that
  // raises them.
  virtual int getCimStatus() const;

  const char* what() const noexcept override { return _message.c_str(); }

 protected:
  void setType(const TOVString& type) { _type = type; }
  void setWhere(const TOVString& where) { _where = where; }
  void setWho(const TOVString& who) { _who = who; }
  void setMessage(const TOVString& message) { _message = message; }
  void setCode(int code) { _code = code; }

 private:
  TOVString _type;
  TOVString _where;
  TOVString _who;
  TOVString _message;
  int _code = 0;
};

// Raised when a null TOVSmrPtr is dereferenced, and wherever the host finds a
// null pointer that it must follow. Type "NullPointer", where
// "TOVSmrPtr::operator->", message "null pointer dereferenced", code 0.
class TOVNullPointerException : public TovaBaseException {
 public:
  TOVNullPointerException();
};
