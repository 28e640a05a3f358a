#include "framework/InstanceFactory.h"

namespace kest::pf {

InstanceFactory::InstanceFactory(const TOVString& providerName) : _providerName(providerName) {}

InstanceFactory::~InstanceFactory() = default;

const TOVString& InstanceFactory::getProviderName() const { return _providerName; }

}  // namespace kest::pf
