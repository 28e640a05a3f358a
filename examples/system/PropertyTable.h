#pragma once

#include <cstddef>
#include <optional>
#include <variant>
#include <vector>

#include "examples/system/SystemRecords.h"
#include "host/CimType.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Property.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Types.h"
#include "host/Value.h"

namespace kest::examples {

// PropertyTable: the properties of one class as columns over the fields of
// its record type: each column has the property's name, the record field it
// shows, and whether it is a key. The CIM type follows from the field's C++
// type:
//   TOVString string (NULL without a buffer)   CimDateTime datetime (NULL
//   without text)   bool boolean   TOVuint16 uint16   TOVuint32 uint32
//   TOVsint32 sint32   TOVuint64 uint64   TOVreal64 real64
//   std::optional<T> the type of T (NULL when empty).
// Property values are built on each read; equality of two records is read
// field by field without building values.
//
// Threads: immutable after construction; const calls may run concurrently.
template <typename Record>
class PropertyTable {
 public:
  using Field =
      std::variant<TOVString Record::*, CimDateTime Record::*, bool Record::*, TOVuint16 Record::*,
                   TOVuint32 Record::*, TOVsint32 Record::*, TOVuint64 Record::*,
                   TOVreal64 Record::*, std::optional<TOVuint16> Record::*,
                   std::optional<TOVuint32> Record::*, std::optional<TOVuint64> Record::*,
                   std::optional<TOVreal64> Record::*>;

  struct Column {
    const char* name;
    Field field;
    bool key = false;
  };

  explicit PropertyTable(const std::vector<Column>& columns);

  std::size_t size() const { return _names.size(); }
  const TOVString& nameAt(std::size_t index) const { return _names[index]; }
  // The column named name (ASCII case-insensitive); size() when none is.
  std::size_t indexOf(const TOVString& name) const;

  // The property of column index (index < size()) with record's value, its
  // declared type being the column's type.
  TOVSmrPtr<ITovaProperty> propertyAt(std::size_t index, const Record& record) const;
  TOVSmrPtr<ITovaValue> valueAt(std::size_t index, const Record& record) const;
  // A name of className whose keys are the key columns, in column order.
  TOVSmrPtr<ITovaInstanceName> instanceName(const TOVString& className, const Record& record) const;

  // Whether column index, or any column, differs between a and b.
  bool differsAt(std::size_t index, const Record& a, const Record& b) const;
  bool differs(const Record& a, const Record& b) const;
  // The names of the columns that differ, in column order.
  TOVValSlist<TOVString> changedNames(const Record& a, const Record& b) const;

 private:
  std::vector<TOVString> _names;
  std::vector<Field> _fields;
  std::vector<bool> _keys;
  std::vector<TOVSmrPtr<ITovaType>> _types;
};

}  // namespace kest::examples
