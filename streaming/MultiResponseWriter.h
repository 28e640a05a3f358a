#pragma once

#include <utility>

#include "host/SmartPointer.h"
#include "streaming/IMarker.h"
#include "streaming/IResponse.h"
#include "streaming/MultiResponseCollection.h"

namespace kest {

// MultiResponseWriter<T>: one registered writer of a MultiResponseCollection.
// Construction registers it with the collection (and throws what
// registerWriter() throws, once the collection is complete; the writer then
// does not exist). add(), add(marker) and setErrorCode() forward to the
// collection and fail as it does. Close() unregisters the writer the first
// time and does nothing afterwards; the last writer to close completes the
// collection. The destructor closes the writer and drops its reference to the
// collection.
//
// Ownership: the writer shares the collection, which therefore outlives it.
// The framework holds a writer as TOVSmrPtr<IMultiResponse<T>>, so the
// writer closes when its last holder lets go.
//
// Threads: add() and setErrorCode() may be called from several threads at
// once (the collection is thread-safe); Close() and destruction must not
// overlap any other call on the same writer.
//
// Misuse: unregisterWriter() throws only when the collection's writer count
// is already 0, which well-behaved writers cannot cause (each one removes
// only itself). Should it happen in the destructor's Close(), the exception
// leaves a noexcept destructor and the program terminates.
template <typename T>
class MultiResponseWriter : public IMultiResponse<T> {
 public:
  explicit MultiResponseWriter(const TOVSmrPtr<MultiResponseCollection<T>>& c)
      : collection(c), _closed(false) {
    c->registerWriter();
  }

  void Close() override {
    if (!_closed) {
      collection->unregisterWriter();
      _closed = true;
    }
  }

  ~MultiResponseWriter() override {
    Close();
    collection.reset();
  }

  bool add(T value, bool throwOnAbort) override {
    return collection->add(std::move(value), throwOnAbort);
  }

  void setErrorCode(int ec) override { collection->setErrorCode(ec); }

  virtual bool add(TOVSmrPtr<IMarker<T>> value, bool throwOnAbort) {
    return collection->add(std::move(value), throwOnAbort);
  }

 private:
  TOVSmrPtr<MultiResponseCollection<T>> collection;
  bool _closed;
};

}  // namespace kest
