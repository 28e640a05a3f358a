#pragma once

namespace kest {

// IResponse: one open channel into a response. Close() says that the holder
// will send nothing more through it; what closing means beyond that belongs
// to the implementation (see MultiResponseWriter).
// Ownership: held through TOVSmrPtr by whoever produces the response.
class IResponse {
 public:
  virtual void Close() = 0;
  virtual ~IResponse() = default;
};

// IMultiResponse<T>: a channel through which a producer sends any number of
// values of T, and an error code that ends the response.
//   add(value, throwOnAbort): sends value. Returns true when the value was
//     accepted (or deliberately discarded because nobody reads any more).
//     When the response can take no more values (closed, or failed with an
//     error), it throws TovaBaseException if throwOnAbort is true and returns
//     false otherwise.
//   setErrorCode(code): records that the response failed with code; 0 means
//     no error and changes nothing.
// Threads: as the implementation states.
template <typename T>
class IMultiResponse : public IResponse {
 public:
  ~IMultiResponse() override = default;
  virtual bool add(T value, bool throwOnAbort) = 0;
  virtual void setErrorCode(int code) = 0;
};

}  // namespace kest
