// Out-of-line destructors and defaults of the host's interfaces, so that each
// interface's vtable is emitted once, in the host library.
#include "host/ActualParameter.h"
#include "host/CimType.h"
#include "host/Http.h"
#include "host/Indication.h"
#include "host/InstanceName.h"
#include "host/NameSpacePath.h"
#include "host/Object.h"
#include "host/Property.h"
#include "host/Provider.h"
#include "host/ProviderContext.h"
#include "host/Repository.h"
#include "host/Value.h"

ITovaType::~ITovaType() = default;
bool ITovaType::isImported() const { return false; }

ITovaValue::~ITovaValue() = default;
bool ITovaValue::isNullValue() const { return false; }

ITovaProperty::~ITovaProperty() = default;
ITovaNameSpacePath::~ITovaNameSpacePath() = default;
ITovaInstanceName::~ITovaInstanceName() = default;
ITovaObject::~ITovaObject() = default;
ITovaActualParameter::~ITovaActualParameter() = default;
ITovaClass::~ITovaClass() = default;
ITovaTransaction::~ITovaTransaction() = default;
IQueryStatement::~IQueryStatement() = default;
ITovaRepository::~ITovaRepository() = default;
ITovaIndication::~ITovaIndication() = default;
ITovaSubscriber::~ITovaSubscriber() = default;
ITovaSubscriptionFilter::~ITovaSubscriptionFilter() = default;
TOVGenericHTTPIStream::~TOVGenericHTTPIStream() = default;
TOVGenericHTTPOStream::~TOVGenericHTTPOStream() = default;
TOVHTTPRequest::~TOVHTTPRequest() = default;
TOVHTTPResponse::~TOVHTTPResponse() = default;

namespace kest {

IProviderContext::~IProviderContext() = default;
const ServerDescription* IProviderContext::getServerDescription() const { return nullptr; }
IProvider::~IProvider() = default;

void IProvider::processHTTPRequest(TOVGenericHTTPIStream&, TOVGenericHTTPOStream&, TOVHTTPRequest&,
                                   TOVHTTPResponse&, bool&, TOVSmrPtr<ITovaTransaction>) {}

}  // namespace kest
