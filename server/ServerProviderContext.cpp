#include "server/ServerProviderContext.h"

#include "host/Property.h"
#include "host/Value.h"
#include "server/Logging.h"

namespace kest::server {

namespace {

const ServerLog kLog("kest::server::ServerProviderContext");
const TOVString kNone("(none)");

TOVString orNone(const TOVString& text) { return text.isNull() ? kNone : text; }

}  // namespace

ServerProviderContext::ServerProviderContext(const TOVString& providerName,
                                             const TOVString& nameSpace,
                                             const kest::ServerDescription* description)
    : _providerName(providerName), _nameSpace(nameSpace), _description(description) {}

void ServerProviderContext::deliverIndication(const TOVString& nameSpace,
                                              const TOVSmrPtr<ITovaObject>& indication) {
  TOVString className;
  TOVString identifier;
  if (indication) {
    className = indication->getClassName();
    const TOVSmrPtr<ITovaProperty> property =
        indication->getPropertyByName("IndicationIdentifier", true);
    const TOVSmrPtr<ITovaValue> value = property ? property->getValue() : TOVSmrPtr<ITovaValue>();
    if (value && !value->isNullValue()) identifier = value->toString();
  }
  kLog.debug("Indication " + orNone(className) + " " + orNone(identifier) + " from " +
             orNone(_providerName) + " for " + (nameSpace.isNull() ? _nameSpace : nameSpace));
}

void ServerProviderContext::deliverLegacyIndication(const TOVSmrPtr<ITovaIndication>& indication) {
  TOVString type = kNone;
  TOVString className;
  TOVString name;
  if (indication) {
    type = TOVString::fromInt(indication->getIndicationType());
    const TOVSmrPtr<ITovaObject> object = indication->getObject();
    if (object) {
      className = object->getClassName();
      const TOVSmrPtr<ITovaInstanceName> instanceName = object->getInstanceName();
      if (instanceName) name = instanceName->toString();
    }
  }
  kLog.debug("Legacy indication " + type + " " + orNone(className) + " " + orNone(name) + " from " +
             orNone(_providerName));
}

}  // namespace kest::server
