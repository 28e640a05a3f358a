#include "server/CimError.h"

#include <utility>

#include "host/Exception.h"
#include "host/Fatal.h"

namespace kest::server {

CimError::CimError(int code, std::string description)
    : _code(code), _description(std::move(description)) {}

CimError errorFromCurrentException() {
  try {
    throw;
  } catch (const CimError& error) {
    return error;
  } catch (const TovaBaseException& error) {
    return CimError(error.getCimStatus(), error.getMessage().toStdString());
  } catch (const CI_Exception& error) {
    return CimError(CIM_ERR_FAILED, error.getText().toStdString());
  } catch (const std::exception& error) {
    return CimError(CIM_ERR_FAILED, error.what());
  } catch (...) {
    return CimError(CIM_ERR_FAILED, "unknown exception");
  }
}

}  // namespace kest::server
