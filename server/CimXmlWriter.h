#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "host/InstanceName.h"
#include "host/Object.h"
#include "host/Property.h"
#include "host/String.h"
#include "host/Value.h"
#include "server/repository/ClassDefinition.h"

namespace kest::server {

// ResponseBody: where the bytes of one response go, in order.
class ResponseBody {
 public:
  virtual ~ResponseBody();
  // Appends bytes; returns false when the receiver is gone (nothing more is
  // delivered after that).
  virtual bool write(std::string_view bytes) = 0;
};

// A ResponseBody that keeps everything in a string.
class StringBody : public ResponseBody {
 public:
  bool write(std::string_view bytes) override;
  const std::string& text() const { return _text; }

 private:
  std::string _text;
};

// Thrown by CimXmlWriter when its ResponseBody refuses bytes: the client has
// gone, and the operation that produced the output should stop.
class ClientGone : public std::exception {
 public:
  const char* what() const noexcept override;
};

// PropertySelection: which properties of an instance a response carries, and
// the class origin reported for each.
class PropertySelection {
 public:
  virtual ~PropertySelection();
  virtual bool includes(const TOVString& className, const TOVString& propertyName) const = 0;
  // The CLASSORIGIN to report; empty for none.
  virtual TOVString classOrigin(const TOVString& className, const TOVString& propertyName) const;
};

// Every property, no class origins.
class AllProperties : public PropertySelection {
 public:
  bool includes(const TOVString& className, const TOVString& propertyName) const override;
};

// CimXmlWriter: writes one CIM-XML response message (DSP0201) into a
// ResponseBody, element by element, as the results come.
//
// Output is buffered; flushIfFull() passes the buffer on once it holds at
// least the flush threshold, so memory stays bounded whatever the size of the
// result. Nothing is passed on except by flushIfFull() and finish(); callers
// call flushIfFull() between whole objects, so a mark() taken before an
// object can be rewound if writing it fails.
//
// Every text and attribute value is escaped. Bytes that are not valid UTF-8
// and characters that XML 1.0 does not allow (control characters other than
// tab, line feed and carriage return) are written as U+FFFD. In attribute
// values, tab, line feed and carriage return are written as character
// references so that they survive attribute normalisation.
//
// The forms follow what strict CIM-XML clients accept: elements that may hold
// content are always written with an end tag (never <VALUE/>), a NULL value
// is written by leaving the VALUE out (VALUE.NULL is never written; NULL
// elements of arrays are left out), embedded objects are string values whose
// text is the escaped INSTANCE element, marked EmbeddedObject="instance" on
// PROPERTY and PARAMVALUE only, and KEYVALUE always carries TYPE.
//
// Paths: a name without a host or namespace gets the writer's host and
// namespace where the element needs them (INSTANCEPATH, references).
//
// Throws ClientGone when the body refuses bytes, CimError (CIM_ERR_FAILED)
// when embedded objects nest deeper than kMaxEmbeddingDepth, and whatever the
// object model accessors throw.
// Threads: one writer per response, used by one thread at a time.
// The CIM protocol version the server speaks: every response message's
// PROTOCOLVERSION, and the CIMProtocolVersion it announces.
inline constexpr std::string_view kCimProtocolVersion = "1.0";

class CimXmlWriter {
 public:
  static constexpr std::size_t kDefaultFlushThreshold = 32 * 1024;
  static constexpr int kMaxEmbeddingDepth = 16;

  // A position to rewind to.
  struct Mark {
    std::size_t bufferSize;
    std::size_t openElements;
    std::size_t flushedBytes;
  };

  CimXmlWriter(ResponseBody& body, const TOVString& host, const TOVString& nameSpace,
               std::size_t flushThreshold = kDefaultFlushThreshold);
  CimXmlWriter(const CimXmlWriter&) = delete;
  CimXmlWriter& operator=(const CimXmlWriter&) = delete;

  // <?xml ...?><CIM ...><MESSAGE ID=.. PROTOCOLVERSION="1.0"><SIMPLERSP>
  void beginMessage(std::string_view messageId);
  void beginIMethodResponse(std::string_view methodName);
  void beginMethodResponse(std::string_view methodName);
  void beginIReturnValue();
  // Closes the innermost open element.
  void end();
  // Closes open elements until depth() == depth.
  void endTo(std::size_t depth);
  std::size_t depth() const { return _open.size(); }

  // <ERROR CODE=.. DESCRIPTION=../>
  void error(int code, std::string_view description);

  void className(const TOVString& name);
  // CLASS from a class definition, as it is (apply
  // kest::repository::ClassDefinition::filtered first for a request's
  // options): every qualifier with its value and flavors, properties with
  // their default values, methods and their parameters. CLASSORIGIN where a
  // class origin is set, PROPAGATED for propagated elements; a string marked
  // EmbeddedObject or EmbeddedInstance gets the EmbeddedObject attribute on
  // PROPERTY.
  void classDefinition(const kest::repository::ClassDefinition& cls);
  void instance(const ITovaObject& object, const PropertySelection& selection);
  // VALUE.NAMEDINSTANCE: the object's INSTANCENAME, then the INSTANCE.
  void namedInstance(const ITovaObject& object, const PropertySelection& selection);
  // VALUE.OBJECTWITHPATH: the object's INSTANCEPATH, then the INSTANCE.
  void objectWithPath(const ITovaObject& object, const PropertySelection& selection);
  void instanceName(const ITovaInstanceName& name);
  void instancePath(const ITovaInstanceName& name);
  // OBJECTPATH around the INSTANCEPATH.
  void objectPath(const ITovaInstanceName& name);
  // VALUE, VALUE.ARRAY or VALUE.REFERENCE; nothing for a NULL value.
  void value(const ITovaValue& value);
  // RETURNVALUE with PARAMTYPE; nothing for a null or NULL value.
  void returnValue(const ITovaValue& value);
  // PARAMVALUE with PARAMTYPE (and EmbeddedObject for embedded objects);
  // nothing for a null or NULL value.
  void paramValue(const TOVString& name, const ITovaValue& value);

  Mark mark() const;
  // True when nothing was passed on since mark was taken.
  bool canRewind(const Mark& mark) const;
  // Drops what was written since mark and reopens nothing; requires
  // canRewind(mark).
  void rewind(const Mark& mark);

  // Passes the buffer on when it holds at least the flush threshold.
  void flushIfFull();
  // Closes every open element and passes everything on.
  void finish();
  // Bytes passed on so far.
  std::size_t flushedBytes() const { return _flushed; }

 private:
  void open(const char* element);
  void flush();
  void attribute(const char* name, std::string_view value);
  void text(std::string_view value);
  void property(const ITovaProperty& property, const TOVString& classOrigin);
  void keyBindings(const ITovaInstanceName& name);
  void localNameSpacePath(std::string_view nameSpace);
  void scalarValue(const ITovaValue& value, const ITovaType& type);
  void referenceValue(const ITovaInstanceName* name);
  void embeddedInstanceText(const ITovaObject& object);
  void compiledQualifiers(const kest::repository::QualifierList& qualifiers);
  void compiledProperty(const kest::repository::Property& property);
  void compiledParameter(const kest::repository::Parameter& parameter);
  void typeAttributes(const kest::repository::DataType& type);
  TOVString nameSpaceOf(const ITovaInstanceName& name) const;
  TOVString hostOf(const ITovaInstanceName& name) const;

  ResponseBody& _body;
  const TOVString _host;
  const TOVString _nameSpace;
  const std::size_t _flushThreshold;
  std::string _buffer;
  std::size_t _flushed = 0;
  std::vector<const char*> _open;
  int _embeddingDepth = 0;
};

}  // namespace kest::server
