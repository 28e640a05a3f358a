#include "framework/Class.h"

namespace kest::pf {

Class::Class(const TOVString& className, CreateAllInstancesFunction createAllInstances,
             CreateInstanceFunction createInstance, bool isAssociation,
             AssociatorsFunction associators)
    : _className(className),
      _baseClass(),
      _childClasses(new TOVValSlist<TOVSmrPtr<Class>>()),
      _isAssociation(isAssociation),
      _createAllInstances(createAllInstances),
      _createInstance(createInstance),
      _associators(associators) {}

Class::Class(const Class& other)
    : _className(other._className),
      _baseClass(other._baseClass),
      _childClasses(other._childClasses),
      _isAssociation(other._isAssociation),
      _createAllInstances(other._createAllInstances),
      _createInstance(other._createInstance),
      _associators(other._associators) {}

void Class::setChildClass(const TOVSmrPtr<Class>& childClass) { _childClasses->append(childClass); }

TOVSmrPtr<Instance> Class::createInstance() const {
  if (_createInstance == nullptr) return TOVSmrPtr<Instance>();
  return _createInstance();
}

Class::InstanceList Class::createAllInstances() const {
  if (_createAllInstances == nullptr) return InstanceList();
  return _createAllInstances();
}

TOVSmrPtr<Instance> Class::getInstance(const TOVSmrPtr<ITovaInstanceName>& /*instanceName*/) const {
  return TOVSmrPtr<Instance>();
}

namespace {

// Appends the classes below parent to out: for each child in list order, the
// child's own descendants first, then the child.
void appendDescendants(const Class& parent, TOVValSlist<TOVSmrPtr<Class>>& out) {
  const Class::ClassList children = parent.getChildClasses();
  for (const TOVSmrPtr<Class>& child : *children) {
    appendDescendants(*child, out);
    out.append(child);
  }
}

}  // namespace

Class::ClassList Class::getDeepChildClasses(bool includeSelf) const {
  ClassList result(new TOVValSlist<TOVSmrPtr<Class>>());
  if (includeSelf) result->append(TOVSmrPtr<Class>(new Class(*this)));
  appendDescendants(*this, *result);
  return result;
}

Class::ObjectList Class::associators(const TOVSmrPtr<ITovaInstanceName>& instanceName,
                                     const TOVString& nameSpace, Context* context, bool& handled,
                                     const TOVString& resultClassName) const {
  if (_associators == nullptr) return ObjectList();
  return _associators(instanceName, nameSpace, context, handled, resultClassName);
}

}  // namespace kest::pf
