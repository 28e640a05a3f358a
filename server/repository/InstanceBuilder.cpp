#include "server/repository/InstanceBuilder.h"

#include <map>
#include <utility>

#include "host/List.h"
#include "host/NameSpacePath.h"
#include "host/Property.h"
#include "server/repository/MofValues.h"
#include "server/repository/Names.h"
#include "server/repository/ObjectPath.h"

namespace kest::repository {

namespace {

// Object paths nest (a reference key holds a path) at most this deep.
constexpr unsigned kMaxPathDepth = 16;

std::string quoted(const TOVString& text) { return "'" + text.toStdString() + "'"; }
std::string quoted(const std::string& text) { return "'" + text + "'"; }

bool isEmbedding(const Property& property) {
  return property.embedded != EmbeddedKind::None || property.type.code == CimTypeCode::Object;
}

}  // namespace

void InstanceSet::error(const SourceLocation& location, const std::string& message) {
  _context.report(Severity::Error, location, message);
}

bool InstanceSet::inherits(const TOVString& nameSpace, const TOVString& className,
                           const TOVString& ancestor) const {
  TOVString current = className;
  // A walk of more steps than any real hierarchy has met a cycle.
  for (int steps = 0; steps < 1000 && !current.isNull(); ++steps) {
    if (current.compareTo(ancestor, 0) == 0) return true;
    const ClassPointer cls = _context.findClass(nameSpace, current);
    if (!cls) return false;
    current = cls->superClassName;
  }
  return false;
}

TOVSmrPtr<ITovaInstanceName> InstanceSet::typedPath(const TOVString& nameSpace,
                                                    const TOVSmrPtr<ITovaInstanceName>& path,
                                                    unsigned depth) {
  const TOVSmrPtr<ITovaNameSpacePath> where = path->getNameSpacePath();
  const TOVString space =
      where && !where->getNameSpace().isNull() ? where->getNameSpace() : nameSpace;
  const ClassPointer cls = _context.findClass(space, path->getClassname());
  if (!cls) return path;
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  for (unsigned long i = 0; i < path->getNumberOfKeyProperties(); ++i) {
    const TOVSmrPtr<ITovaProperty> key = path->getKeyPropertyAt(i);
    const Property* property = cls->findProperty(key->getName());
    TOVSmrPtr<ITovaValue> value = key->getValue();
    if (property != nullptr && property->isReference() &&
        CTovaType::codeOf(*value->getType()) == CimTypeCode::String) {
      TOVSmrPtr<ITovaInstanceName> nested = parseObjectPath(value->getAsString().view());
      if (!nested || depth >= kMaxPathDepth) return TOVSmrPtr<ITovaInstanceName>();
      nested = typedPath(space, nested, depth + 1);
      if (!nested) return nested;
      value = TOVSmrPtr<ITovaValue>(new CTovaValue(nested));
    }
    keys->append(TOVSmrPtr<ITovaProperty>(new CTovaProperty(key->getName(), value, false)));
  }
  return TOVSmrPtr<ITovaInstanceName>(new CTovaInstanceName(cls->name, keys, where));
}

TOVSmrPtr<ITovaValue> InstanceSet::referenceValue(const TOVString& nameSpace,
                                                  const Property& property,
                                                  const ValueSyntax& literal,
                                                  const std::string& what) {
  TOVSmrPtr<ITovaInstanceName> path = parseObjectPath(literal.text);
  if (path) path = typedPath(nameSpace, path, 0);
  if (!path) {
    error(literal.location, what + ": " + quoted(literal.text) + " is not a valid object path");
    return TOVSmrPtr<ITovaValue>();
  }
  const TOVSmrPtr<ITovaNameSpacePath> where = path->getNameSpacePath();
  // A path on another host names a class this compilation cannot know.
  if (!where || where->getHost().isNull()) {
    const TOVString space =
        where && !where->getNameSpace().isNull() ? where->getNameSpace() : nameSpace;
    if (!_context.findClass(space, path->getClassname())) {
      error(literal.location, what + ": unknown class " + quoted(path->getClassname()) +
                                  " in object path " + quoted(literal.text));
      return TOVSmrPtr<ITovaValue>();
    }
    if (!inherits(space, path->getClassname(), property.type.referenceClass)) {
      error(literal.location, what + " refers to an instance of " + quoted(path->getClassname()) +
                                  ", which is not a " + quoted(property.type.referenceClass));
      return TOVSmrPtr<ITovaValue>();
    }
  }
  return TOVSmrPtr<ITovaValue>(new CTovaValue(path));
}

TOVSmrPtr<ITovaValue> InstanceSet::embeddedValue(const TOVString& nameSpace,
                                                 const Property& property,
                                                 const ValueSyntax& literal,
                                                 const std::string& what) {
  const InstanceSyntax& syntax = *literal.instance;
  const ClassPointer cls = _context.findClass(nameSpace, TOVString(syntax.className));
  if (!cls) {
    error(syntax.classLocation,
          "unknown class " + quoted(syntax.className) + " of the embedded instance in " + what);
    return TOVSmrPtr<ITovaValue>();
  }
  if (property.embedded == EmbeddedKind::Instance &&
      !inherits(nameSpace, cls->name, property.embeddedClassName)) {
    error(syntax.classLocation, what + " holds instances of " + quoted(property.embeddedClassName) +
                                    ", not of " + quoted(cls->name));
    return TOVSmrPtr<ITovaValue>();
  }
  if (!syntax.alias.empty()) {
    error(syntax.aliasLocation, "an embedded instance cannot have an alias");
    return TOVSmrPtr<ITovaValue>();
  }
  std::vector<Slot> slots;
  if (!fillSlots(nameSpace, *cls, syntax, false, slots)) return TOVSmrPtr<ITovaValue>();
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  const TOVSmrPtr<ITovaObject> object =
      buildObject(*cls, slots,
                  TOVSmrPtr<ITovaInstanceName>(
                      new CTovaInstanceName(cls->name, keys, TOVSmrPtr<ITovaNameSpacePath>())));
  return TOVSmrPtr<ITovaValue>(new CTovaValue(object));
}

TOVSmrPtr<ITovaValue> InstanceSet::convert(const TOVString& nameSpace, const Property& property,
                                           const ValueSyntax& literal, const std::string& what) {
  if (literal.kind == ValueSyntax::Kind::Null) return CTovaValue::nullOf(property.hostType());
  if (isEmbedding(property)) {
    const auto embedded = [&](const ValueSyntax& item) {
      if (item.kind == ValueSyntax::Kind::Instance)
        return embeddedValue(nameSpace, property, item, what);
      error(item.location, what + ": expected an embedded instance");
      return TOVSmrPtr<ITovaValue>();
    };
    if (!property.type.isArray) return embedded(literal);
    if (literal.kind != ValueSyntax::Kind::Array) {
      error(literal.location, what + ": expected an array of embedded instances");
      return TOVSmrPtr<ITovaValue>();
    }
    TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>> elements(
        new TOVValSlist<TOVSmrPtr<ITovaValue>>());
    for (const ValueSyntax& item : literal.elements) {
      TOVSmrPtr<ITovaValue> element = embedded(item);
      if (!element) return element;
      elements->append(element);
    }
    return TOVSmrPtr<ITovaValue>(new CTovaValue(property.hostType(), elements));
  }
  if (property.isReference() && literal.kind == ValueSyntax::Kind::String)
    return referenceValue(nameSpace, property, literal, what);
  ValueResult value = convertValue(literal, property.type, false);
  if (!value.value) error(literal.location, what + ": " + value.error);
  return value.value;
}

bool InstanceSet::fillSlots(const TOVString& nameSpace, const ClassDefinition& cls,
                            const InstanceSyntax& syntax, bool topLevel, std::vector<Slot>& slots) {
  slots.assign(cls.properties.size(), Slot());
  bool valid = true;
  for (const PropertyValueSyntax& given : syntax.properties) {
    const Property* property = cls.findProperty(TOVString(given.name));
    if (property == nullptr) {
      error(given.location, "class " + quoted(cls.name) + " has no property " + quoted(given.name));
      valid = false;
      continue;
    }
    Slot& slot = slots[static_cast<std::size_t>(property - cls.properties.data())];
    const std::string what =
        "property " + quoted(property->name) + " of the instance of " + quoted(cls.name);
    if (slot.given) {
      error(given.location, what + " is given twice");
      valid = false;
      continue;
    }
    slot.given = true;
    slot.location = given.value.location;
    if (given.value.kind == ValueSyntax::Kind::Alias) {
      if (!property->isReference()) {
        error(given.value.location,
              "alias $" + given.value.text + " given for " + what + ", which is not a reference");
        valid = false;
      } else if (!topLevel) {
        error(given.value.location, "aliases cannot be used inside an embedded instance");
        valid = false;
      }
      slot.alias = given.value.text;
      continue;
    }
    slot.value = convert(nameSpace, *property, given.value, what);
    valid = valid && slot.value;
  }
  return valid;
}

TOVSmrPtr<ITovaObject> InstanceSet::buildObject(const ClassDefinition& cls,
                                                const std::vector<Slot>& slots,
                                                const TOVSmrPtr<ITovaInstanceName>& name) {
  TOVSmrPtr<CTovaObject> object(new CTovaObject(cls.name));
  object->setInstanceName(name);
  for (std::size_t i = 0; i < cls.properties.size(); ++i) {
    const Property& property = cls.properties[i];
    TOVSmrPtr<ITovaValue> value = slots[i].value;
    if (!slots[i].given) value = property.defaultValue;
    if (!value) value = CTovaValue::nullOf(property.hostType());
    object->setProperty(TOVSmrPtr<ITovaProperty>(
        new CTovaProperty(property.name, property.hostType(), value, false)));
  }
  return CTovaObject::iPtr(object);
}

void InstanceSet::add(const TOVString& nameSpace, const InstanceSyntax& syntax) {
  Pending pending;
  pending.nameSpace = nameSpace;
  pending.location = syntax.location;
  pending.aliasLocation = syntax.aliasLocation;
  pending.cls = _context.findClass(nameSpace, TOVString(syntax.className));
  bool valid = true;
  if (!pending.cls) {
    error(syntax.classLocation,
          "unknown class " + quoted(syntax.className) + " of an instance in " + quoted(nameSpace));
    valid = false;
  } else if (pending.cls->abstract) {
    error(syntax.classLocation,
          "class " + quoted(pending.cls->name) + " is abstract and cannot have instances");
    valid = false;
  }
  if (!syntax.alias.empty()) {
    const auto [position, added] =
        _aliases.try_emplace(foldName(TOVString(syntax.alias)), _pending.size());
    if (!added) {
      error(syntax.aliasLocation, "alias $" + syntax.alias + " is already declared at " +
                                      _pending[position->second].aliasLocation.toString());
      valid = false;
    }
  }
  // The values are checked even after an error above, so that one pass
  // reports what is wrong with them too.
  if (pending.cls) valid = fillSlots(nameSpace, *pending.cls, syntax, true, pending.slots) && valid;
  if (valid) {
    for (std::size_t i = 0; i < pending.cls->properties.size(); ++i) {
      const Property& property = pending.cls->properties[i];
      const Slot& slot = pending.slots[i];
      if (!property.key || !slot.alias.empty()) continue;
      const TOVSmrPtr<ITovaValue> value = slot.given ? slot.value : property.defaultValue;
      if (!value || value->isNullValue()) {
        error(slot.given ? slot.location : syntax.location,
              "key property " + quoted(property.name) + " of the instance of " +
                  quoted(pending.cls->name) + " has no value");
        valid = false;
      }
    }
  }
  if (!valid) pending.state = Pending::State::Failed;
  _pending.push_back(std::move(pending));
}

TOVSmrPtr<ITovaInstanceName> InstanceSet::resolveAlias(const Pending& from,
                                                       const Property& property, const Slot& slot) {
  const auto found = _aliases.find(foldName(TOVString(slot.alias)));
  if (found == _aliases.end()) {
    error(slot.location, "unknown alias $" + slot.alias);
    return TOVSmrPtr<ITovaInstanceName>();
  }
  const Pending& target = _pending[found->second];
  if (target.state == Pending::State::Naming) {
    error(slot.location, "alias $" + slot.alias + " refers back to the instance that uses it");
    return TOVSmrPtr<ITovaInstanceName>();
  }
  TOVSmrPtr<ITovaInstanceName> name = nameOf(found->second);
  if (!name) return name;
  if (!inherits(target.nameSpace, target.cls->name, property.type.referenceClass)) {
    error(slot.location, "property " + quoted(property.name) + " of the instance of " +
                             quoted(from.cls->name) + " refers to an instance of " +
                             quoted(target.cls->name) + ", which is not a " +
                             quoted(property.type.referenceClass));
    return TOVSmrPtr<ITovaInstanceName>();
  }
  return name;
}

TOVSmrPtr<ITovaInstanceName> InstanceSet::nameOf(std::size_t index) {
  Pending& pending = _pending[index];
  if (pending.state == Pending::State::Named) return pending.name;
  if (pending.state != Pending::State::Open) return TOVSmrPtr<ITovaInstanceName>();
  pending.state = Pending::State::Naming;
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  const ClassDefinition& cls = *pending.cls;
  for (std::size_t i = 0; i < cls.properties.size(); ++i) {
    const Property& property = cls.properties[i];
    Slot& slot = pending.slots[i];
    if (!property.key) continue;
    if (!slot.alias.empty()) {
      const TOVSmrPtr<ITovaInstanceName> target = resolveAlias(pending, property, slot);
      if (!target) {
        pending.state = Pending::State::Failed;
        return target;
      }
      slot.value = TOVSmrPtr<ITovaValue>(new CTovaValue(target));
    }
    const TOVSmrPtr<ITovaValue> value = slot.given ? slot.value : property.defaultValue;
    keys->append(TOVSmrPtr<ITovaProperty>(
        new CTovaProperty(property.name, property.hostType(), value, false)));
  }
  pending.name = TOVSmrPtr<ITovaInstanceName>(new CTovaInstanceName(
      cls.name, keys,
      TOVSmrPtr<ITovaNameSpacePath>(new CTovaNameSpacePath(TOVString(), pending.nameSpace))));
  pending.state = Pending::State::Named;
  return pending.name;
}

std::vector<ClassRepository::Update::InstanceEntry> InstanceSet::finish() {
  std::vector<ClassRepository::Update::InstanceEntry> entries;
  // Folded namespace and canonical name -> the instance that has it.
  std::map<std::pair<std::string, std::string>, std::size_t> seen;
  for (std::size_t index = 0; index < _pending.size(); ++index) {
    const TOVSmrPtr<ITovaInstanceName> name = nameOf(index);
    if (!name) continue;
    Pending& pending = _pending[index];
    bool valid = true;
    for (std::size_t i = 0; i < pending.slots.size(); ++i) {
      Slot& slot = pending.slots[i];
      if (slot.alias.empty() || pending.cls->properties[i].key) continue;
      const TOVSmrPtr<ITovaInstanceName> target =
          resolveAlias(pending, pending.cls->properties[i], slot);
      if (!target) {
        valid = false;
        continue;
      }
      slot.value = TOVSmrPtr<ITovaValue>(new CTovaValue(target));
    }
    const std::string text = name->toString().toStdString();
    const auto [position, added] = seen.try_emplace({foldName(pending.nameSpace), text}, index);
    if (!added) {
      error(pending.location, "an instance " + quoted(text) + " is already declared at " +
                                  _pending[position->second].location.toString());
      valid = false;
    } else if (const InstancePointer existing =
                   _repository.findInstance(pending.nameSpace, *name)) {
      std::string message =
          "an instance " + quoted(text) + " is already in namespace " + quoted(pending.nameSpace);
      if (existing->location.isKnown())
        message += " (declared at " + existing->location.toString() + ")";
      error(pending.location, message);
      valid = false;
    }
    if (!valid) continue;
    auto instance = std::make_shared<CompiledInstance>();
    instance->object = buildObject(*pending.cls, pending.slots, name);
    instance->location = pending.location;
    entries.push_back(
        ClassRepository::Update::InstanceEntry{pending.nameSpace, std::move(instance)});
  }
  return entries;
}

}  // namespace kest::repository
