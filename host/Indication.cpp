#include "host/Indication.h"

// ---------------------------------------------------------------------------
// CTovaPropertyListFilter

CTovaPropertyListFilter::CTovaPropertyListFilter(const TOVValSlist<TOVString>& properties)
    : _properties(properties) {}

bool CTovaPropertyListFilter::accepts(const TOVValSlist<TOVString>& changedItems) const {
  for (const TOVString& changed : changedItems) {
    for (const TOVString& property : _properties) {
      if (changed.compareTo(property, 0) == 0) return true;
    }
  }
  return false;
}

// ---------------------------------------------------------------------------
// CTovaIndication

CTovaIndication::CTovaIndication(const TOVSmrPtr<ITovaObject>& object, IndicationType type,
                                 const TOVSmrPtr<TOVValSlist<TOVString>>& changedProperties,
                                 void* context, int intent,
                                 const TOVSmrPtr<TOVValSlist<TOVString>>& secondList, bool flag)
    : _object(object),
      _type(type),
      _changed(changedProperties),
      _context(context),
      _intent(intent),
      _secondList(secondList),
      _flag(flag) {}

TOVSmrPtr<ITovaObject> CTovaIndication::getObject() const { return _object; }

ITovaIndication::IndicationType CTovaIndication::getIndicationType() const { return _type; }

TOVSmrPtr<TOVValSlist<TOVString>> CTovaIndication::getChangedProperties() const { return _changed; }

int CTovaIndication::getIntent() const { return _intent; }
