#include "server/RequestRejected.h"

#include <utility>

namespace kest::server {

RequestRejected::RequestRejected(int httpStatus, std::string cimError, std::string detail)
    : _httpStatus(httpStatus), _cimError(std::move(cimError)), _detail(std::move(detail)) {}

}  // namespace kest::server
