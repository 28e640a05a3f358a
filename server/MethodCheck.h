#pragma once

#include "host/Provider.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"
#include "server/repository/ClassDefinition.h"

namespace kest::server {

// A value with the type declared (a host type as Parameter::hostType gives
// it): value itself when it has that type already (or is a reference or an
// embedded object where one is declared), converted through its text when
// it is an intrinsic value of another type whose text the declared type
// reads exactly (the string "7" for a uint32, element by element for an
// array), a typed CIM NULL for a CIM NULL (or no value). Null when it does
// not convert: its text does not fit the declared type, or it is an array
// where a single value is declared (or the reverse), a reference or
// embedded object where none is declared (or the reverse).
TOVSmrPtr<ITovaValue> valueOfDeclaredType(const TOVSmrPtr<ITovaValue>& value,
                                          const TOVSmrPtr<ITovaType>& declared);

// MethodCheck: an extrinsic method call held against the method that a
// class compiled from MOF declares, before and after its provider runs.
//   input(): the parameters the client sent, as the provider gets them;
//     refuses (CIM_ERR_INVALID_PARAMETER, the message naming the parameter
//     and its declared type) a parameter the method does not declare or
//     declares In(false), a value that does not convert to the declared type
//     (valueOfDeclaredType), and a parameter qualified Required that is
//     missing or NULL. Values of another type that convert are converted.
//   returnValue(), output(): the provider's results with the declared
//     types. No return value at all (the framework's default for a method
//     an object does not implement) is CIM_ERR_METHOD_NOT_AVAILABLE; a
//     result that does not convert is a provider defect: logged (severity
//     2) and thrown as CIM_ERR_FAILED naming the method, the parameter (or
//     "return value") and the declared type. An output parameter the
//     method does not declare is passed on as it is.
// The Method is borrowed: it must outlive the check (classes in the catalog
// are immutable and shared). Threads: const, any thread.
class MethodCheck {
 public:
  // The method cls declares as methodName (any case). Throws CimError
  // CIM_ERR_METHOD_NOT_FOUND when it declares none.
  static const kest::repository::Method& declared(const kest::repository::ClassDefinition& cls,
                                                  const TOVString& methodName);

  explicit MethodCheck(const kest::repository::Method& method) : _method(method) {}

  // Throws CimError (see above).
  kest::IProvider::ParameterList input(const kest::IProvider::ParameterList& given) const;
  TOVSmrPtr<ITovaValue> returnValue(const TOVSmrPtr<ITovaValue>& value) const;
  TOVSmrPtr<ITovaValue> output(const TOVString& name, const TOVSmrPtr<ITovaValue>& value) const;

 private:
  [[noreturn]] void providerDefect(const TOVString& what, const TOVString& declaredType) const;

  const kest::repository::Method& _method;
};

}  // namespace kest::server
