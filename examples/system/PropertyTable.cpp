#include "examples/system/PropertyTable.h"

#include <type_traits>

namespace kest::examples {

namespace {

template <typename T>
struct Unwrapped {
  using type = T;
};
template <typename T>
struct Unwrapped<std::optional<T>> {
  using type = T;
};

// The CIM type of a field type.
template <typename T>
TOVSmrPtr<ITovaType> typeOf() {
  using U = typename Unwrapped<T>::type;
  if constexpr (std::is_same_v<U, TOVString>) return CTovaType::string;
  if constexpr (std::is_same_v<U, CimDateTime>) return CTovaType::datetime;
  if constexpr (std::is_same_v<U, bool>) return CTovaType::boolean;
  if constexpr (std::is_same_v<U, TOVuint16>) return CTovaType::uint16;
  if constexpr (std::is_same_v<U, TOVuint32>) return CTovaType::uint32;
  if constexpr (std::is_same_v<U, TOVsint32>) return CTovaType::sint32;
  if constexpr (std::is_same_v<U, TOVuint64>) return CTovaType::uint64;
  if constexpr (std::is_same_v<U, TOVreal64>) return CTovaType::real64;
}

TOVSmrPtr<ITovaValue> valueOf(const TOVString& text) {
  if (text.isNullBuffer()) return CTovaValue::nullOf(CTovaType::string);
  return TOVSmrPtr<ITovaValue>(new CTovaValue(text));
}

TOVSmrPtr<ITovaValue> valueOf(const CimDateTime& time) {
  if (time.text.isNull()) return CTovaValue::nullOf(CTovaType::datetime);
  return CTovaValue::dateTime(time.text);
}

template <typename T>
TOVSmrPtr<ITovaValue> valueOf(const T& number) {
  return TOVSmrPtr<ITovaValue>(new CTovaValue(number));
}

template <typename T>
TOVSmrPtr<ITovaValue> valueOf(const std::optional<T>& number) {
  if (!number) return CTovaValue::nullOf(typeOf<T>());
  return valueOf(*number);
}

// Field equality; strings compare their text and their NULL state.
template <typename T>
bool sameValue(const T& a, const T& b) {
  return a == b;
}
bool sameValue(const TOVString& a, const TOVString& b) {
  return a.isNullBuffer() == b.isNullBuffer() && a == b;
}

}  // namespace

template <typename Record>
PropertyTable<Record>::PropertyTable(const std::vector<Column>& columns) {
  for (const Column& column : columns) {
    _names.emplace_back(column.name);
    _fields.push_back(column.field);
    _keys.push_back(column.key);
    _types.push_back(std::visit(
        [](auto member) {
          using T = std::remove_cvref_t<decltype(std::declval<Record>().*member)>;
          return typeOf<T>();
        },
        column.field));
  }
}

template <typename Record>
std::size_t PropertyTable<Record>::indexOf(const TOVString& name) const {
  for (std::size_t i = 0; i < _names.size(); ++i) {
    if (_names[i].compareTo(name, 0) == 0) return i;
  }
  return _names.size();
}

template <typename Record>
TOVSmrPtr<ITovaValue> PropertyTable<Record>::valueAt(std::size_t index,
                                                     const Record& record) const {
  return std::visit([&](auto member) { return valueOf(record.*member); }, _fields[index]);
}

template <typename Record>
TOVSmrPtr<ITovaProperty> PropertyTable<Record>::propertyAt(std::size_t index,
                                                           const Record& record) const {
  return TOVSmrPtr<ITovaProperty>(
      new CTovaProperty(_names[index], _types[index], valueAt(index, record), false));
}

template <typename Record>
TOVSmrPtr<ITovaInstanceName> PropertyTable<Record>::instanceName(const TOVString& className,
                                                                 const Record& record) const {
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  for (std::size_t i = 0; i < _names.size(); ++i) {
    if (_keys[i]) keys->append(propertyAt(i, record));
  }
  return TOVSmrPtr<ITovaInstanceName>(
      new CTovaInstanceName(className, keys, TOVSmrPtr<ITovaNameSpacePath>()));
}

template <typename Record>
bool PropertyTable<Record>::differsAt(std::size_t index, const Record& a, const Record& b) const {
  return std::visit([&](auto member) { return !sameValue(a.*member, b.*member); }, _fields[index]);
}

template <typename Record>
bool PropertyTable<Record>::differs(const Record& a, const Record& b) const {
  for (std::size_t i = 0; i < _fields.size(); ++i) {
    if (differsAt(i, a, b)) return true;
  }
  return false;
}

template <typename Record>
TOVValSlist<TOVString> PropertyTable<Record>::changedNames(const Record& a, const Record& b) const {
  TOVValSlist<TOVString> names;
  for (std::size_t i = 0; i < _fields.size(); ++i) {
    if (differsAt(i, a, b)) names.append(_names[i]);
  }
  return names;
}

template class PropertyTable<ComputerSystemRecord>;
template class PropertyTable<ProcessRecord>;
template class PropertyTable<FileSystemRecord>;
template class PropertyTable<NetworkInterfaceRecord>;

}  // namespace kest::examples
